#pragma once
// Rendered text and the pixels it leaves, for the drawing tests.
#include <algorithm>
#include <climits>
#include <memory>
#include <string>

#include "KQFoundation/Graphics/AttributedString.h"
#include "KQFoundation/Graphics/GraphicsContext.h"

namespace kqtest {

inline kq::AttributedString fontText(std::string_view string, double size = 24,
                                     const std::string& family = "DejaVu Sans") {
    return kq::AttributedString(string, {{std::string(kq::NSFontAttributeName), kq::Font{family, size}}});
}

// The rows and columns that hold alpha above the threshold (top -1 when none).
struct Extent {
    int top = -1, bottom = -1, left = INT_MAX, right = -1;
};

inline Extent extentOf(const kq::BitmapImage& image, std::uint8_t threshold = 0) {
    Extent extent;
    for (int y = 0; y < static_cast<int>(image.height()); ++y) {
        for (int x = 0; x < static_cast<int>(image.width()); ++x) {
            if (image.alphaAt(x, y) <= threshold) continue;
            if (extent.top < 0) extent.top = y;
            extent.bottom = y, extent.left = std::min(extent.left, x), extent.right = std::max(extent.right, x);
        }
    }
    return extent;
}

// Alpha summed over the columns [from, to).
inline std::uint64_t alphaSum(const kq::BitmapImage& image, std::uint32_t from = 0, std::uint32_t to = UINT32_MAX) {
    std::uint64_t sum = 0;
    for (std::uint32_t y = 0; y < image.height(); ++y) {
        for (std::uint32_t x = from; x < std::min(to, image.width()); ++x) sum += image.alphaAt(x, y);
    }
    return sum;
}

// No colour component above its alpha.
inline bool isPremultiplied(const kq::BitmapImage& image) {
    const auto& p = image.bytes();
    for (std::size_t i = 0; i < p.size(); i += 4) {
        if (std::max({p[i], p[i + 1], p[i + 2]}) > p[i + 3]) return false;
    }
    return true;
}

// A bitmap context, the current one while this lives.
struct CurrentBitmap {
    std::shared_ptr<kq::GraphicsContext> context;
    CurrentBitmap(std::uint32_t width, std::uint32_t height, bool flipped, double scale = 1)
        : context(kq::GraphicsContext::bitmapContext(width, height, flipped)) {
        context->scaleBy(scale, scale);
        kq::GraphicsContext::setCurrentContext(context);
    }
    ~CurrentBitmap() { kq::GraphicsContext::setCurrentContext(nullptr); }
};

}  // namespace kqtest
