#include "KQFoundation/NSAttributedString+KQFoundation.h"

#include <gtest/gtest.h>

#include <cmath>

#include "Support/Pixels.h"

namespace {

using kq::AttributedString;
using kq::BitmapImage;
using kq::Color;
using kq::Rect;
using kqtest::alphaSum;
using kqtest::CurrentBitmap;
using kqtest::Extent;
using kqtest::extentOf;
using kqtest::fontText;

TEST(KQCreateRGBABitmapContext, MakesUnflippedRGBABitmapsWithinLimits) {
    auto context = KQCreateRGBABitmapContext(3, 2);
    ASSERT_NE(context, nullptr);
    EXPECT_FALSE(context->isFlipped());
    EXPECT_EQ(context->makeImage().bytes(), kq::Data(24, 0));
    EXPECT_EQ(KQCreateRGBABitmapContext(0, 1), nullptr);
    EXPECT_EQ(KQCreateRGBABitmapContext((std::size_t{1} << 32) + 1, 1), nullptr);
}

TEST(KQCreateTextMask, CentresTheGlyphsScalesAndRefusesBadSizes) {
    const AttributedString hello = fontText("Hello");
    const kq::Size size = hello.size();
    for (bool flipped : {false, true}) {
        CurrentBitmap current(1, 1, flipped);
        const Extent extent = extentOf(KQCreateTextMask(hello, Rect{{0, 0}, {200, 60}}, 1).value());
        const double boxTop = (60 - size.height) / 2;
        EXPECT_GE(extent.top, std::floor(boxTop)) << flipped;
        EXPECT_LE(extent.bottom, std::ceil(boxTop + size.height)) << flipped;
        EXPECT_LE(extent.right, std::ceil(size.width)) << flipped;
        EXPECT_GT(extent.bottom - extent.top, size.height / 2) << flipped;
        EXPECT_GT(extent.right - extent.left, size.width * 0.8) << flipped;
    }

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
    EXPECT_EQ(extentOf(KQCreateTextMask(fontText(""), Rect{{0, 0}, {10, 10}}, 1).value()).top, -1);
}

const kq::Gradient kRedToBlue(Color::colorWithDeviceRed(1, 0, 0, 1), Color::colorWithDeviceRed(0, 0, 1, 1));

TEST(GradientText, FillsTheGlyphsTopToBottomPremultiplied) {
    CurrentBitmap current(200, 60, true);
    fontText("HIH", 40).drawInRect(Rect{{0, 0}, {200, 60}}, kRedToBlue, 0 /* ignored */);
    const BitmapImage image = current.context->makeImage();
    const Extent extent = extentOf(image, 250);
    ASSERT_GE(extent.top, 0);
    // The first stem's top pixels lean to the first colour, its bottom ones to the second.
    const auto top = image.pixelAt(extent.left + 2, extent.top), bottom = image.pixelAt(extent.left + 2, extent.bottom);
    EXPECT_GT(top[0], 150);
    EXPECT_LT(top[2], 105);
    EXPECT_GT(bottom[2], 150);
    EXPECT_LT(bottom[0], 105);
    EXPECT_TRUE(kqtest::isPremultiplied(image));
}

TEST(GradientText, FadesOnlyTextWiderThanItsBox) {
    const Rect box{{0, 0}, {150, 40}};
    auto draw = [&](const AttributedString& string, bool fade, double scale) {
        CurrentBitmap current(150 * scale, 40 * scale, true, scale);
        string.drawInRect(box, kRedToBlue, 90, fade);
        return current.context->makeImage();
    };
    const AttributedString wide = fontText("Wide wide wide wide");
    ASSERT_GT(wide.size().width, box.width());
    for (double scale : {1.0, 2.0}) {
        const BitmapImage faded = draw(wide, true, scale), plain = draw(wide, false, scale);
        // The fade runs diagonally: the left half is untouched and the text
        // thins out column by column towards its right end.
        const std::uint32_t tenth = faded.width() / 10;
        EXPECT_EQ(alphaSum(faded, 0, 5 * tenth), alphaSum(plain, 0, 5 * tenth)) << scale;
        std::uint64_t previous = 1000;
        for (std::uint32_t from = 7 * tenth; from < faded.width(); from += tenth) {
            const std::uint64_t ratio = 1000 * alphaSum(faded, from, from + tenth) / alphaSum(plain, from, from + tenth);
            EXPECT_LT(ratio, previous) << scale << " from column " << from;
            previous = ratio;
        }
        EXPECT_LT(previous, 500u) << scale;
        EXPECT_EQ(draw(fontText("Hi"), true, scale), draw(fontText("Hi"), false, scale)) << scale;
    }
}

TEST(GradientText, WholeTextShadowIsCastByTheFinishedImage) {
    kq::MutableAttributedString shadowed(fontText("Hi"));
    shadowed.addAttribute(kq::NSShadowAttributeName, kq::Shadow{{10, 0}, 0, Color::colorWithDeviceRed(0, 1, 0, 1)},
                          kq::Range{0, 2});
    CurrentBitmap current(100, 40, true);
    shadowed.drawInRect(Rect{{0, 0}, {100, 40}}, kRedToBlue);
    const BitmapImage image = current.context->makeImage();
    // Solid green beside the glyphs: the shadow did not go through the mask.
    int green = 0;
    for (std::size_t i = 0; i < image.bytes().size(); i += 4) green += image.bytes()[i + 1] == 255;
    EXPECT_GT(green, 20);
    EXPECT_GT(extentOf(image).right, extentOf(KQCreateTextMask(fontText("Hi"), Rect{{0, 0}, {100, 40}}, 1).value()).right + 8);
}

TEST(GradientText, NeverCrashesOnOddInput) {
    fontText("Hello").drawInRect(Rect{{0, 0}, {100, 40}}, kRedToBlue, 90, true);  // no current context
    CurrentBitmap current(50, 20, false);
    AttributedString("").drawInRect(Rect{{0, 0}, {50, 20}}, kRedToBlue);
    for (Rect rect : {Rect{{0, 0}, {0, 20}}, Rect{{0, 0}, {1e12, 1e12}}, Rect{{0, 0}, {NAN, 20}}}) {
        fontText("Hello").drawInRect(rect, kRedToBlue, 90, true);
    }
    fontText("Hello", 12, "No Such Family").drawInRect(Rect{{0, 0}, {50, 20}}, kRedToBlue, 90, true);
    EXPECT_GT(extentOf(current.context->makeImage()).right, 0);
}

}  // namespace
