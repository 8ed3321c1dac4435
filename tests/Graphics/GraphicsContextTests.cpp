#include "KQFoundation/Graphics/GraphicsContext.h"

#include <gtest/gtest.h>

#include <cmath>
#include <thread>
#include <tuple>

#include "Support/Pixels.h"

namespace {

using kq::BitmapImage;
using kq::Color;
using kq::GraphicsContext;
using kq::Rect;
using kqtest::fontText;
using Pixel = std::array<std::uint8_t, 4>;

const Color kRed = Color::colorWithDeviceRed(1, 0, 0, 1);
const Color kBlue = Color::colorWithDeviceRed(0, 0, 1, 1);
const Rect kAll{{0, 0}, {1000, 1000}};

std::shared_ptr<GraphicsContext> bitmap(std::uint32_t width, std::uint32_t height, bool flipped) {
    auto context = GraphicsContext::bitmapContext(width, height, flipped);
    EXPECT_NE(context, nullptr);
    return context;
}

// Opaque white where `opaque(x, y)` holds, transparent elsewhere.
template <class Predicate>
BitmapImage maskImage(std::uint32_t width, std::uint32_t height, Predicate opaque) {
    kq::Data rgba(std::size_t{width} * height * 4, 0);
    for (std::uint32_t i = 0; i < width * height; ++i) {
        if (opaque(i % width, i / width)) std::fill_n(rgba.begin() + i * 4, 4, 255);
    }
    return *BitmapImage::imageWithRGBA(width, height, std::move(rgba));
}

TEST(GraphicsContext, RefusesEmptyAndHugeBitmaps) {
    for (auto [width, height] : {std::pair{0u, 10u}, {10u, 0u}, {16385u, 1u}, {16384u, 4097u}}) {
        EXPECT_EQ(GraphicsContext::bitmapContext(width, height, false), nullptr) << width << "x" << height;
    }
    EXPECT_EQ(bitmap(16384, 1, false)->makeImage().bytes().size(), 16384u * 4);
    EXPECT_FALSE(BitmapImage::imageWithRGBA(2, 2, kq::Data(15)));
}

TEST(GraphicsContext, FlippednessMovesTheOriginButKeepsImagesUpright) {
    const BitmapImage topRow = maskImage(2, 2, [](auto, auto y) { return y == 0; });
    for (bool flipped : {false, true}) {
        auto context = bitmap(4, 4, flipped);
        context->fillRect(Rect{{0, 0}, {1, 1}}, Color::colorWithDeviceRed(1, 0.5, 0.25, 0.5));
        context->drawImage(topRow, Rect{{2, 0}, {2, 4}});
        const BitmapImage image = context->makeImage();
        // Premultiplied, at the bottom left unless flipped.
        EXPECT_EQ(image.pixelAt(0, flipped ? 0 : 3), (Pixel{128, 64, 32, 128})) << flipped;
        EXPECT_EQ(image.alphaAt(0, flipped ? 3 : 0), 0) << flipped;
        // The image's top row stays on top (stretched, so the middle rows blend).
        EXPECT_EQ(image.alphaAt(3, 0), 255) << flipped;
        EXPECT_EQ(image.alphaAt(3, 3), 0) << flipped;
    }
    // Out-of-range and NaN components are clamped, never passed on.
    auto context = bitmap(1, 1, true);
    context->fillRect(kAll, Color::colorWithDeviceRed(2, -1, std::nan(""), 1));
    EXPECT_EQ(context->makeImage().pixelAt(0, 0), (Pixel{255, 0, 0, 255}));
}

TEST(GraphicsContext, CurrentContextStackIsPerThreadAndBalanced) {
    auto outer = bitmap(1, 1, false), inner = bitmap(1, 1, true);
    GraphicsContext::setCurrentContext(outer);
    GraphicsContext::saveCurrentGraphicsState();
    GraphicsContext::setCurrentContext(inner);
    std::thread([] { EXPECT_EQ(GraphicsContext::currentContext(), nullptr); }).join();
    GraphicsContext::restoreCurrentGraphicsState();
    EXPECT_EQ(GraphicsContext::currentContext(), outer);
    // Nothing saved: ignored, as are unbalanced instance restores.
    GraphicsContext::restoreCurrentGraphicsState();
    outer->restoreGraphicsState();
    EXPECT_EQ(GraphicsContext::currentContext(), outer);
    GraphicsContext::setCurrentContext(nullptr);
}

TEST(GraphicsContext, RestoreUndoesTransformClipMaskAndShadow) {
    auto context = bitmap(8, 8, true);
    context->saveGraphicsState();
    context->scaleBy(2, 2);
    context->clipToRect(Rect{{0, 0}, {1, 1}});
    context->clipToMask(BitmapImage(), kAll);
    context->setShadow({1, 1}, 2, kBlue);
    // Singular scales would break cairo's context for good: ignored.
    context->scaleBy(0, 1);
    context->scaleBy(1e300, 1e300);
    // So would images stretched over rectangles too large or too small to invert.
    const BitmapImage dot = maskImage(1, 1, [](auto, auto) { return true; });
    for (double side : {1e300, 1e-300}) context->drawImage(dot, Rect{{0, 0}, {side, side}});
    EXPECT_DOUBLE_EQ(context->deviceScale(), 2);
    context->restoreGraphicsState();
    EXPECT_DOUBLE_EQ(context->deviceScale(), 1);
    context->fillRect(kAll, kRed);
    EXPECT_EQ(kqtest::alphaSum(context->makeImage()), 8u * 8 * 255);
}

TEST(GraphicsContext, MasksClipByAlphaUprightAndIntersect) {
    for (bool flipped : {false, true}) {
        auto context = bitmap(8, 8, flipped);
        // Opaque in the mask's top half, stretched over the left 6 columns.
        context->clipToMask(maskImage(4, 4, [](auto, auto y) { return y < 2; }), Rect{{0, 0}, {6, 8}});
        context->fillRect(kAll, kRed);
        // Then only the left half of that.
        context->clipToMask(maskImage(2, 1, [](auto x, auto) { return x == 0; }), Rect{{0, 0}, {6, 8}});
        context->fillRect(kAll, kBlue);
        const BitmapImage image = context->makeImage();
        EXPECT_EQ(image.pixelAt(1, 1), (Pixel{0, 0, 255, 255})) << flipped;
        EXPECT_EQ(image.pixelAt(4, 1), (Pixel{255, 0, 0, 255})) << flipped;
        EXPECT_EQ(image.alphaAt(7, 1), 0) << flipped;
        EXPECT_EQ(image.alphaAt(1, 6), 0) << flipped;
    }
}

TEST(GraphicsContext, GradientAnglesFollowThePlatform) {
    const kq::Gradient gradient(kRed, kBlue);
    // angle, flipped -> where the first colour lies
    const std::tuple<double, bool, std::uint32_t, std::uint32_t> cases[] = {
        {0, false, 0, 10}, {180, true, 19, 10}, {90, false, 10, 19}, {90, true, 10, 0}, {-90, false, 10, 0},
    };
    for (auto [angle, flipped, x, y] : cases) {
        auto context = bitmap(20, 20, flipped);
        context->drawLinearGradient(gradient, Rect{{0, 0}, {20, 20}}, angle);
        const BitmapImage image = context->makeImage();
        EXPECT_GT(image.pixelAt(x, y)[0], 230) << angle << " " << flipped;
        EXPECT_GT(image.pixelAt(19 - x, 19 - y)[2], 230) << angle << " " << flipped;
    }
}

TEST(GraphicsContext, ShadowGoesUpWhateverTheFlippednessAndBlurs) {
    for (bool flipped : {false, true}) {
        SCOPED_TRACE(flipped);
        const auto shadowed = [&](kq::Size offset, double blur) {
            auto context = bitmap(40, 40, flipped);
            context->setShadow(offset, blur, kBlue);
            context->fillRect(Rect{{15, 15}, {10, 10}}, kRed);
            return context->makeImage();
        };
        const BitmapImage sharp = shadowed({6, 6}, 0), blurred = shadowed({0, 0}, 8);
        EXPECT_EQ(sharp.pixelAt(20, 20), (Pixel{255, 0, 0, 255}));
        EXPECT_EQ(sharp.pixelAt(29, 11), (Pixel{0, 0, 255, 255}));
        EXPECT_EQ(sharp.alphaAt(29, 27), 0);
        EXPECT_GT(blurred.alphaAt(27, 20), 0);
        EXPECT_LT(blurred.alphaAt(27, 20), 255);
    }
}

TEST(AttributedStringDrawing, SizeGrowsWithTextAndFont) {
    EXPECT_EQ(fontText("").size(), (kq::Size{0, 0}));
    const kq::Size one = fontText("M").size();
    EXPECT_NEAR(fontText("MMM").size().width, 3 * one.width, 0.5);
    EXPECT_GE(one.height, 24);
    EXPECT_LT(one.height, 36);
    EXPECT_NEAR(fontText("M", 48).size().height, 2 * one.height, 1);
    // Beyond two million points pango's own extents wrap around.
    EXPECT_NEAR(fontText(std::string(200000, 'M')).size().width, 200000 * one.width, 100);
    // Unknown families fall back to a font that has glyphs; NULs do no harm;
    // no font is the system font at 12 points.
    EXPECT_GT(fontText("abc", 12, "No Such Family 123").size().width, 10);
    EXPECT_GT(fontText(std::string_view("a\0b", 3)).size().width, 10);
    EXPECT_NEAR(kq::AttributedString("M").size().height, one.height / 2, 1);
}

TEST(AttributedStringDrawing, DrawsFromTheTopLeftCutAtTheRightEdge) {
    const kq::AttributedString hello = fontText("Hello");
    const kq::Size size = hello.size();
    for (bool flipped : {false, true}) {
        for (double width : {size.width, 20.0}) {
            SCOPED_TRACE(testing::Message() << flipped << " " << width);
            kqtest::CurrentBitmap current(200, 60, flipped);
            // Its top 5 from the bitmap's top on screen.
            hello.drawInRect(Rect{{10, flipped ? 5 : 55 - size.height}, {width, size.height}});
            const kqtest::Extent extent = kqtest::extentOf(current.context->makeImage());
            EXPECT_GE(extent.left, 10);
            EXPECT_GE(extent.top, 5);
            EXPECT_LT(extent.top, 15);
            EXPECT_GT(extent.right, 10 + width - 15);
            EXPECT_LT(extent.right, 10 + width);
        }
    }
    // Many paragraphs (laid out in pieces) follow each other without gaps;
    // every separator counts once.
    std::string lines = "M";
    const char* separators[] = {"\n", "\r\n", "\xE2\x80\xA9", "\r"};
    for (int i = 1; i < 1000; ++i) lines += std::string(separators[i % 4]) + "M";
    const kq::AttributedString many = fontText(lines, 4);
    const double lineHeight = fontText("M", 4).size().height;
    EXPECT_NEAR(many.size().height, 1000 * lineHeight, 0.01);
    kqtest::CurrentBitmap tall(10, static_cast<std::uint32_t>(many.size().height) + 10, true);
    many.drawInRect(Rect{{0, 0}, {10, many.size().height}});
    const kqtest::Extent extent = kqtest::extentOf(tall.context->makeImage());
    EXPECT_NEAR(extent.bottom, 1000 * lineHeight, lineHeight);

    // No current context, empty text, an empty rectangle: nothing, no crash.
    hello.drawInRect(Rect{{0, 0}, {10, 10}});
    auto context = bitmap(10, 10, true);
    context->drawAttributedString(fontText(""), Rect{{0, 0}, {10, 10}});
    context->drawAttributedString(hello, Rect{{0, 0}, {0, 10}});
    EXPECT_EQ(kqtest::alphaSum(context->makeImage()), 0u);
}

TEST(AttributedStringDrawing, RunsKeepTheirColours) {
    kq::MutableAttributedString string(fontText("RRRBBB"));
    string.addAttribute(kq::NSForegroundColorAttributeName, kRed, kq::Range{0, 3});
    string.addAttribute(kq::NSForegroundColorAttributeName, kBlue, kq::Range{3, 3});
    auto context = bitmap(200, 40, true);
    context->drawAttributedString(string, Rect{{0, 0}, {200, 40}});
    const BitmapImage image = context->makeImage();
    const double half = string.attributedSubstringFromRange(kq::Range{0, 3}).size().width;
    for (std::uint32_t i = 0; i < 200 * 40; ++i) {
        const Pixel pixel = image.pixelAt(i % 200, i / 200);
        ASSERT_EQ(pixel[i % 200 < half ? 2 : 0], 0) << i % 200;
    }
    EXPECT_TRUE(kqtest::isPremultiplied(image));
}

}  // namespace
