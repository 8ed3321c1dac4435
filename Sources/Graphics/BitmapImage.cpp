#include "KQFoundation/Graphics/BitmapImage.h"

#include <cairo.h>

#include <algorithm>
#include <cstring>

#include "Foundation/SystemHooks.h"
#include "Graphics/GraphicsContextPrivate.h"

namespace kq {

std::optional<BitmapImage> BitmapImage::imageWithRGBA(std::uint32_t width, std::uint32_t height, Data rgba) {
    if (width > GraphicsContext::kMaximumPixelsPerSide || height > GraphicsContext::kMaximumPixelsPerSide ||
        std::uint64_t{width} * height > GraphicsContext::kMaximumPixels ||
        rgba.size() != std::size_t{width} * height * 4) {
        return std::nullopt;
    }
    BitmapImage image;
    image.width_ = width;
    image.height_ = height;
    image.bytes_ = std::move(rgba);
    return image;
}

std::array<std::uint8_t, 4> BitmapImage::pixelAt(std::uint32_t x, std::uint32_t y) const {
    if (x >= width_ || y >= height_) return {0, 0, 0, 0};
    const std::uint8_t* p = bytes_.data() + (std::size_t{y} * width_ + x) * 4;
    return {p[0], p[1], p[2], p[3]};
}

Data BitmapImage::PNGRepresentation() const {
    Data png;
    if (empty()) return png;
    cairo_surface_t* surface = detail::createSurfaceFromImage(*this);
    auto append = [](void* closure, const unsigned char* data, unsigned int length) {
        auto* out = static_cast<Data*>(closure);
        out->insert(out->end(), data, data + length);
        return CAIRO_STATUS_SUCCESS;
    };
    if (cairo_surface_write_to_png_stream(surface, append, &png) != CAIRO_STATUS_SUCCESS) png.clear();
    cairo_surface_destroy(surface);
    return png;
}

bool BitmapImage::writePNGToFile(std::string_view path, std::error_code* error) const {
    const Data png = PNGRepresentation();
    if (png.empty()) {
        if (error) *error = std::make_error_code(std::errc::invalid_argument);
        return false;
    }
    return detail::writeFileAtomically(path, png, error);
}

}  // namespace kq
