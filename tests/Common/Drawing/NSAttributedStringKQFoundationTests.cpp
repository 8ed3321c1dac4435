#include "KQFoundation/NSAttributedString+KQFoundation.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using kq::AttributedString;
using kq::BitmapImage;
using kq::Color;
using kq::GraphicsContext;
using kq::Rect;

AttributedString text(std::string_view string, double size = 24) {
    return AttributedString(string, {{std::string(kq::NSFontAttributeName), kq::Font{"DejaVu Sans", size}}});
}

// Rows and columns that hold any alpha: {first row, last row, first column, last column}.
struct Extent {
    int top = -1, bottom = -1, left = -1, right = -1;
};

Extent extentOf(const BitmapImage& image, std::uint8_t threshold = 0) {
    Extent extent;
    for (std::uint32_t y = 0; y < image.height(); ++y) {
        for (std::uint32_t x = 0; x < image.width(); ++x) {
            if (image.alphaAt(x, y) <= threshold) continue;
            const int ix = static_cast<int>(x), iy = static_cast<int>(y);
            if (extent.top < 0) extent.top = iy, extent.left = ix, extent.right = ix;
            extent.bottom = iy;
            extent.left = std::min(extent.left, ix);
            extent.right = std::max(extent.right, ix);
        }
    }
    return extent;
}

bool isPremultiplied(const BitmapImage& image) {
    const auto& bytes = image.bytes();
    for (std::size_t i = 0; i < bytes.size(); i += 4) {
        if (std::max({bytes[i], bytes[i + 1], bytes[i + 2]}) > bytes[i + 3]) return false;
    }
    return true;
}

// Draws with a fresh bitmap context of the given flippedness made current.
class CurrentBitmap {
public:
    CurrentBitmap(std::uint32_t width, std::uint32_t height, bool flipped, double scale = 1)
        : context_(GraphicsContext::bitmapContext(width, height, flipped)) {
        context_->scaleBy(scale, scale);
        GraphicsContext::setCurrentContext(context_);
    }
    ~CurrentBitmap() { GraphicsContext::setCurrentContext(nullptr); }
    BitmapImage image() const { return context_->makeImage(); }

private:
    std::shared_ptr<GraphicsContext> context_;
};

TEST(KQCreateRGBABitmapContext, MakesUnflippedRGBABitmapsWithinLimits) {
    auto context = KQCreateRGBABitmapContext(3, 2);
    ASSERT_NE(context, nullptr);
    EXPECT_FALSE(context->isFlipped());
    EXPECT_EQ(context->bytesPerRow(), 12u);
    EXPECT_EQ(context->makeImage().bytes(), kq::Data(24, 0));
    for (auto [width, height] : {std::pair<std::size_t, std::size_t>{0, 1}, {1, 0}, {std::size_t{1} << 32, 1},
                                 {100000, 100000}}) {
        EXPECT_EQ(KQCreateRGBABitmapContext(width, height), nullptr) << width << "x" << height;
    }
}

TEST(KQCreateTextMask, CentresTheTextAndCoversOnlyItsGlyphs) {
    const AttributedString hello = text("Hello");
    const kq::Size size = hello.size();
    for (bool flipped : {false, true}) {
        CurrentBitmap current(1, 1, flipped);
        const auto mask = KQCreateTextMask(hello, Rect{{0, 0}, {200, 60}}, 1);
        ASSERT_TRUE(mask);
        EXPECT_EQ(mask->width(), 200u);
        EXPECT_EQ(mask->height(), 60u);
        EXPECT_TRUE(isPremultiplied(*mask));
        // Empty outside the line's box, which sits in the middle.
        const Extent extent = extentOf(*mask);
        const double boxTop = (60 - size.height) / 2;
        EXPECT_GE(extent.top, std::floor(boxTop)) << flipped;
        EXPECT_LE(extent.bottom, std::ceil(boxTop + size.height)) << flipped;
        EXPECT_LE(extent.right, std::ceil(size.width)) << flipped;
        // Glyphs take their room: the text is not squeezed into a corner.
        EXPECT_GT(extent.bottom - extent.top, size.height / 2) << flipped;
        EXPECT_GT(extent.right - extent.left, size.width * 0.8) << flipped;
    }
}

TEST(KQCreateTextMask, ScaleMultipliesPixelsAndRefusesBadSizes) {
    const AttributedString hello = text("Hello");
    const auto single = KQCreateTextMask(hello, Rect{{0, 0}, {100.7, 40}}, 1);
    const auto twice = KQCreateTextMask(hello, Rect{{0, 0}, {100.7, 40}}, 2);
    ASSERT_TRUE(single && twice);
    EXPECT_EQ(single->width(), 100u);  // truncated
    EXPECT_EQ(twice->width(), 201u);
    EXPECT_EQ(twice->height(), 80u);
    const Extent a = extentOf(*single), b = extentOf(*twice);
    EXPECT_NEAR(b.right - b.left, 2 * (a.right - a.left), 3);
    EXPECT_NEAR(b.bottom - b.top, 2 * (a.bottom - a.top), 3);

    for (double scale : {0.0, -1.0, std::nan(""), 1e9, double{INFINITY}}) {
        EXPECT_FALSE(KQCreateTextMask(hello, Rect{{0, 0}, {100, 40}}, scale)) << scale;
    }
    EXPECT_FALSE(KQCreateTextMask(hello, Rect{{0, 0}, {0.5, 40}}, 1));
    EXPECT_FALSE(KQCreateTextMask(hello, Rect{{0, 0}, {20000, 40}}, 1));
    // Empty text gives an empty mask, not a failure.
    const auto empty = KQCreateTextMask(text(""), Rect{{0, 0}, {10, 10}}, 1);
    ASSERT_TRUE(empty);
    EXPECT_EQ(extentOf(*empty).top, -1);
}

const kq::Gradient kRedToBlue(Color::colorWithDeviceRed(1, 0, 0, 1), Color::colorWithDeviceRed(0, 0, 1, 1));

TEST(GradientText, FillsTheGlyphsWithTheGradientTopToBottom) {
    CurrentBitmap current(200, 60, true);
    text("HIH", 40).drawInRect(Rect{{0, 0}, {200, 60}}, kRedToBlue, 0 /* ignored */);
    const BitmapImage image = current.image();
    EXPECT_TRUE(isPremultiplied(image));
    const Extent extent = extentOf(image, 250);
    ASSERT_GE(extent.top, 0);
    // The stems' top pixels lean to the first colour, the bottom ones to the second.
    const auto topPixel = image.pixelAt(static_cast<std::uint32_t>(extent.left) + 2, static_cast<std::uint32_t>(extent.top));
    const auto bottomPixel =
        image.pixelAt(static_cast<std::uint32_t>(extent.left) + 2, static_cast<std::uint32_t>(extent.bottom));
    EXPECT_GT(topPixel[0], 150);
    EXPECT_LT(topPixel[2], 105);
    EXPECT_GT(bottomPixel[2], 150);
    EXPECT_LT(bottomPixel[0], 105);
    // Nothing outside the glyphs.
    EXPECT_EQ(image.alphaAt(199, 0), 0);
    EXPECT_EQ(image.alphaAt(199, 59), 0);
}

TEST(GradientText, FadesOnlyTextWiderThanItsBox) {
    const AttributedString wide = text("Wide wide wide wide");
    const AttributedString narrow = text("Hi");
    const Rect box{{0, 0}, {150, 40}};
    ASSERT_GT(wide.size().width, box.width());

    auto draw = [&](const AttributedString& string, bool fade, double scale) {
        CurrentBitmap current(static_cast<std::uint32_t>(150 * scale), static_cast<std::uint32_t>(40 * scale), true,
                              scale);
        string.drawInRect(box, kRedToBlue, 90, fade);
        return current.image();
    };
    for (double scale : {1.0, 2.0}) {
        const BitmapImage faded = draw(wide, true, scale), plain = draw(wide, false, scale);
        const std::uint32_t width = faded.width();
        auto coverage = [&](const BitmapImage& image, std::uint32_t from, std::uint32_t to) {
            std::uint64_t sum = 0;
            for (std::uint32_t x = from; x < to; ++x) {
                for (std::uint32_t y = 0; y < image.height(); ++y) sum += image.alphaAt(x, y);
            }
            return sum;
        };
        // The fade runs diagonally: the left part is untouched and the text
        // thins out towards its right end, where the plain text is as strong.
        const std::uint32_t tenth = width / 10;
        EXPECT_EQ(coverage(faded, 0, width / 2), coverage(plain, 0, width / 2)) << scale;
        std::uint64_t previous = UINT64_MAX;
        for (std::uint32_t from = 7 * tenth; from < width; from += tenth) {
            const std::uint64_t ratio = 1000 * coverage(faded, from, from + tenth) / coverage(plain, from, from + tenth);
            EXPECT_LT(ratio, previous) << scale << " from column " << from;
            previous = ratio;
        }
        EXPECT_LT(previous, 500u) << scale;
        EXPECT_EQ(draw(narrow, true, scale), draw(narrow, false, scale)) << scale;
    }
}

TEST(GradientText, ShadowOverTheWholeTextIsCastByTheResult) {
    kq::MutableAttributedString shadowed(text("Hi"));
    shadowed.addAttribute(kq::NSShadowAttributeName,
                          kq::Shadow{{10, 0}, 0, Color::colorWithDeviceRed(0, 1, 0, 1)}, kq::Range{0, 2});
    CurrentBitmap current(100, 40, true);
    shadowed.drawInRect(Rect{{0, 0}, {100, 40}}, kRedToBlue);
    const BitmapImage image = current.image();
    // The shadow is solid green, beside the gradient glyphs, not blurred into the mask.
    bool green = false;
    for (std::uint32_t y = 0; y < 40; ++y) {
        for (std::uint32_t x = 0; x < 100; ++x) {
            const auto pixel = image.pixelAt(x, y);
            green = green || (pixel[1] == 255 && pixel[3] == 255);
        }
    }
    EXPECT_TRUE(green);
    EXPECT_GT(extentOf(image).right, extentOf(KQCreateTextMask(text("Hi"), Rect{{0, 0}, {100, 40}}, 1).value()).right + 8);
}

TEST(GradientText, NeverCrashesOnOddInput) {
    // No current context, empty text, unknown fonts, empty or huge rectangles.
    text("Hello").drawInRect(Rect{{0, 0}, {100, 40}}, kRedToBlue, 90, true);
    CurrentBitmap current(50, 20, false);
    AttributedString("", {}).drawInRect(Rect{{0, 0}, {50, 20}}, kRedToBlue);
    AttributedString("Hello", {{std::string(kq::NSFontAttributeName), kq::Font{"No Such Family", 12}}})
        .drawInRect(Rect{{0, 0}, {50, 20}}, kRedToBlue, 90, true);
    text("Hello").drawInRect(Rect{{0, 0}, {0, 20}}, kRedToBlue);
    text("Hello").drawInRect(Rect{{0, 0}, {1e12, 1e12}}, kRedToBlue);
    text("Hello").drawInRect(Rect{{0, 0}, {NAN, 20}}, kRedToBlue);
    EXPECT_GT(extentOf(current.image()).right, 0);
}

}  // namespace
