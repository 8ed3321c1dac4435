#include "KQFoundation/NSAttributedString+KQFoundation.h"

#include <gtest/gtest.h>

#include <climits>
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

// The rows and columns that hold alpha above the threshold (-1 when none).
struct Extent {
    int top = -1, bottom = -1, left = INT_MAX, right = -1;
};

Extent extentOf(const BitmapImage& image, std::uint8_t threshold = 0) {
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

// A bitmap context of the given flippedness, current while it lives.
struct CurrentBitmap {
    std::shared_ptr<GraphicsContext> context;
    CurrentBitmap(std::uint32_t width, std::uint32_t height, bool flipped, double scale = 1)
        : context(GraphicsContext::bitmapContext(width, height, flipped)) {
        context->scaleBy(scale, scale);
        GraphicsContext::setCurrentContext(context);
    }
    ~CurrentBitmap() { GraphicsContext::setCurrentContext(nullptr); }
};

TEST(KQCreateRGBABitmapContext, MakesUnflippedRGBABitmapsWithinLimits) {
    auto context = KQCreateRGBABitmapContext(3, 2);
    ASSERT_NE(context, nullptr);
    EXPECT_FALSE(context->isFlipped());
    EXPECT_EQ(context->makeImage().bytes(), kq::Data(24, 0));
    EXPECT_EQ(KQCreateRGBABitmapContext(0, 1), nullptr);
    EXPECT_EQ(KQCreateRGBABitmapContext(std::size_t{1} << 32, 1), nullptr);
}

TEST(KQCreateTextMask, CentresTheLineAndCoversOnlyItsGlyphs) {
    const AttributedString hello = text("Hello");
    const kq::Size size = hello.size();
    for (bool flipped : {false, true}) {
        CurrentBitmap current(1, 1, flipped);
        const auto mask = KQCreateTextMask(hello, Rect{{0, 0}, {200, 60}}, 1);
        ASSERT_TRUE(mask);
        const Extent extent = extentOf(*mask);
        const double boxTop = (60 - size.height) / 2;
        EXPECT_GE(extent.top, std::floor(boxTop)) << flipped;
        EXPECT_LE(extent.bottom, std::ceil(boxTop + size.height)) << flipped;
        EXPECT_LE(extent.right, std::ceil(size.width)) << flipped;
        EXPECT_GT(extent.bottom - extent.top, size.height / 2) << flipped;
        EXPECT_GT(extent.right - extent.left, size.width * 0.8) << flipped;
    }
}

TEST(KQCreateTextMask, ScaleMultipliesPixelsAndBadSizesAreRefused) {
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
    EXPECT_EQ(extentOf(KQCreateTextMask(text(""), Rect{{0, 0}, {10, 10}}, 1).value()).top, -1);
}

const kq::Gradient kRedToBlue(Color::colorWithDeviceRed(1, 0, 0, 1), Color::colorWithDeviceRed(0, 0, 1, 1));

TEST(GradientText, FillsTheGlyphsTopToBottomPremultiplied) {
    CurrentBitmap current(200, 60, true);
    text("HIH", 40).drawInRect(Rect{{0, 0}, {200, 60}}, kRedToBlue, 0 /* ignored */);
    const BitmapImage image = current.context->makeImage();
    const Extent extent = extentOf(image, 250);
    ASSERT_GE(extent.top, 0);
    // The first stem's top pixels lean to the first colour, its bottom ones to the second.
    const auto top = image.pixelAt(extent.left + 2, extent.top), bottom = image.pixelAt(extent.left + 2, extent.bottom);
    EXPECT_GT(top[0], 150);
    EXPECT_LT(top[2], 105);
    EXPECT_GT(bottom[2], 150);
    EXPECT_LT(bottom[0], 105);
    for (std::size_t i = 0; i < image.bytes().size(); i += 4) {
        const auto* p = image.bytes().data() + i;
        ASSERT_LE(std::max({p[0], p[1], p[2]}), p[3]);
    }
}

TEST(GradientText, FadesOnlyTextWiderThanItsBox) {
    const Rect box{{0, 0}, {150, 40}};
    auto draw = [&](const AttributedString& string, bool fade, double scale) {
        CurrentBitmap current(static_cast<std::uint32_t>(150 * scale), static_cast<std::uint32_t>(40 * scale), true,
                              scale);
        string.drawInRect(box, kRedToBlue, 90, fade);
        return current.context->makeImage();
    };
    auto coverage = [](const BitmapImage& image, std::uint32_t from, std::uint32_t to) {
        std::uint64_t sum = 0;
        for (std::uint32_t i = 0; i < image.width() * image.height(); ++i) {
            if (i % image.width() >= from && i % image.width() < to) sum += image.alphaAt(i % image.width(), i / image.width());
        }
        return sum;
    };
    const AttributedString wide = text("Wide wide wide wide");
    ASSERT_GT(wide.size().width, box.width());
    for (double scale : {1.0, 2.0}) {
        const BitmapImage faded = draw(wide, true, scale), plain = draw(wide, false, scale);
        // The fade runs diagonally: the left half is untouched and the text
        // thins out column by column towards its right end.
        const std::uint32_t tenth = faded.width() / 10;
        EXPECT_EQ(coverage(faded, 0, 5 * tenth), coverage(plain, 0, 5 * tenth)) << scale;
        std::uint64_t previous = 1000;
        for (std::uint32_t from = 7 * tenth; from < faded.width(); from += tenth) {
            const std::uint64_t ratio = 1000 * coverage(faded, from, from + tenth) / coverage(plain, from, from + tenth);
            EXPECT_LT(ratio, previous) << scale << " from column " << from;
            previous = ratio;
        }
        EXPECT_LT(previous, 500u) << scale;
        EXPECT_EQ(draw(text("Hi"), true, scale), draw(text("Hi"), false, scale)) << scale;
    }
}

TEST(GradientText, WholeTextShadowIsCastByTheFinishedImage) {
    kq::MutableAttributedString shadowed(text("Hi"));
    shadowed.addAttribute(kq::NSShadowAttributeName, kq::Shadow{{10, 0}, 0, Color::colorWithDeviceRed(0, 1, 0, 1)},
                          kq::Range{0, 2});
    CurrentBitmap current(100, 40, true);
    shadowed.drawInRect(Rect{{0, 0}, {100, 40}}, kRedToBlue);
    const BitmapImage image = current.context->makeImage();
    // Solid green beside the glyphs: the shadow did not go through the mask.
    int green = 0;
    for (std::size_t i = 0; i < image.bytes().size(); i += 4) green += image.bytes()[i + 1] == 255;
    EXPECT_GT(green, 20);
    EXPECT_GT(extentOf(image).right, extentOf(KQCreateTextMask(text("Hi"), Rect{{0, 0}, {100, 40}}, 1).value()).right + 8);
}

TEST(GradientText, NeverCrashesOnOddInput) {
    text("Hello").drawInRect(Rect{{0, 0}, {100, 40}}, kRedToBlue, 90, true);  // no current context
    CurrentBitmap current(50, 20, false);
    AttributedString("").drawInRect(Rect{{0, 0}, {50, 20}}, kRedToBlue);
    for (Rect rect : {Rect{{0, 0}, {0, 20}}, Rect{{0, 0}, {1e12, 1e12}}, Rect{{0, 0}, {NAN, 20}}}) {
        text("Hello").drawInRect(rect, kRedToBlue, 90, true);
    }
    AttributedString("Hello", {{std::string(kq::NSFontAttributeName), kq::Font{"No Such Family", 12}}})
        .drawInRect(Rect{{0, 0}, {50, 20}}, kRedToBlue, 90, true);
    EXPECT_GT(extentOf(current.context->makeImage()).right, 0);
}

}  // namespace
