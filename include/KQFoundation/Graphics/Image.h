#pragma once
// kq::Image: an image with several representations (an icon in several
// sizes), each kept as its encoded bytes with its format and pixel size.
// Files are opened only far enough to know they are valid images of a known
// size; nothing is decoded to pixels until someone asks.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Value.h"

namespace kq {

struct KQ_EXPORT ImageRepresentation {
    std::string format;  // "png", "jpeg", "gif", "bmp", "webp", "svg", ...
    std::uint32_t pixelsWide = 0;
    std::uint32_t pixelsHigh = 0;
    Data bytes;  // the encoded file contents
    friend bool operator==(const ImageRepresentation&, const ImageRepresentation&) = default;
};

class KQ_EXPORT Image {
public:
    Image() = default;

    /// The image of a file; nullopt when the file cannot be read or is not an
    /// image of a supported format.
    static std::optional<Image> imageWithContentsOfFile(std::string_view path);
    /// The same for bytes in memory.
    static std::optional<Image> imageWithData(const Data& bytes);

    const std::vector<ImageRepresentation>& representations() const { return representations_; }
    bool empty() const { return representations_.empty(); }
    void addRepresentation(ImageRepresentation representation);
    /// Appends every representation of `other` (an icon gathered from several files).
    void addRepresentations(const Image& other);

    /// The image as a property-list value (an array of dictionaries with
    /// "format", "pixelsWide", "pixelsHigh" and "data"), for dictionaries and
    /// archives; imageWithPropertyList reads it back (nullopt when malformed).
    Value propertyList() const;
    static std::optional<Image> imageWithPropertyList(const Value& value);

    friend bool operator==(const Image&, const Image&) = default;

private:
    std::vector<ImageRepresentation> representations_;
};

}  // namespace kq
