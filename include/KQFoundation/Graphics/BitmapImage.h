#pragma once
// kq::BitmapImage: an immutable image of a bitmap's pixels, as a bitmap
// context hands them out: 8-bit RGBA, alpha last and premultiplied, rows
// from the top, 4 * width bytes per row.
#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <system_error>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Value.h"

namespace kq {

class KQ_EXPORT BitmapImage {
public:
    BitmapImage() = default;
    /// nullopt unless `rgba` holds exactly width * height premultiplied pixels.
    static std::optional<BitmapImage> imageWithRGBA(std::uint32_t width, std::uint32_t height, Data rgba);

    std::uint32_t width() const { return width_; }
    std::uint32_t height() const { return height_; }
    std::size_t bytesPerRow() const { return std::size_t{width_} * 4; }
    bool empty() const { return width_ == 0 || height_ == 0; }
    const Data& bytes() const { return bytes_; }

    /// {r, g, b, a} of the pixel at column x, row y (row 0 on top); zeros outside.
    std::array<std::uint8_t, 4> pixelAt(std::uint32_t x, std::uint32_t y) const;
    std::uint8_t alphaAt(std::uint32_t x, std::uint32_t y) const { return pixelAt(x, y)[3]; }

    /// The image as a PNG file's bytes (empty for an empty image).
    Data PNGRepresentation() const;
    /// Writes the PNG whole or not at all.
    bool writePNGToFile(std::string_view path, std::error_code* error = nullptr) const;

    friend bool operator==(const BitmapImage&, const BitmapImage&) = default;

private:
    std::uint32_t width_ = 0;
    std::uint32_t height_ = 0;
    Data bytes_;
};

}  // namespace kq
