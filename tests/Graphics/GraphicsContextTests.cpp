#include "KQFoundation/Graphics/GraphicsContext.h"

#include <gtest/gtest.h>

#include <cmath>
#include <thread>
#include <tuple>

#include "KQFoundation/Graphics/AttributedString.h"

namespace {

using kq::BitmapImage;
using kq::Color;
using kq::GraphicsContext;
using kq::Rect;

const Color kRed = Color::colorWithDeviceRed(1, 0, 0, 1);
const Color kBlue = Color::colorWithDeviceRed(0, 0, 1, 1);

std::shared_ptr<GraphicsContext> bitmap(std::uint32_t width, std::uint32_t height, bool flipped) {
    auto context = GraphicsContext::bitmapContext(width, height, flipped);
    EXPECT_NE(context, nullptr);
    return context;
}

// An image whose pixels are opaque white where `opaque(x, y)` holds.
template <class Predicate>
BitmapImage maskImage(std::uint32_t width, std::uint32_t height, Predicate opaque) {
    kq::Data rgba(std::size_t{width} * height * 4, 0);
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            if (opaque(x, y)) std::fill_n(rgba.begin() + (y * width + x) * 4, 4, 255);
        }
    }
    return *BitmapImage::imageWithRGBA(width, height, std::move(rgba));
}

std::uint64_t totalAlpha(const BitmapImage& image) {
    std::uint64_t sum = 0;
    for (std::size_t i = 3; i < image.bytes().size(); i += 4) sum += image.bytes()[i];
    return sum;
}

TEST(GraphicsContext, RefusesEmptyAndHugeBitmaps) {
    for (auto [width, height] : {std::pair{0u, 10u}, {10u, 0u}, {16385u, 1u}, {1u, 16385u}, {16384u, 4097u}}) {
        EXPECT_EQ(GraphicsContext::bitmapContext(width, height, false), nullptr) << width << "x" << height;
    }
    auto wide = GraphicsContext::bitmapContext(16384, 1, false);
    ASSERT_NE(wide, nullptr);
    EXPECT_EQ(wide->bytesPerRow(), 16384u * 4);
    EXPECT_EQ(wide->makeImage().bytes().size(), 16384u * 4);
    EXPECT_FALSE(BitmapImage::imageWithRGBA(2, 2, kq::Data(15)));
}

TEST(GraphicsContext, OriginFollowsFlippedness) {
    for (bool flipped : {false, true}) {
        auto context = bitmap(2, 2, flipped);
        context->fillRect(Rect{{0, 0}, {1, 1}}, kRed);
        const BitmapImage image = context->makeImage();
        // Unflipped, y = 0 is the bottom row.
        const std::uint32_t row = flipped ? 0 : 1;
        EXPECT_EQ(image.pixelAt(0, row), (std::array<std::uint8_t, 4>{255, 0, 0, 255})) << flipped;
        EXPECT_EQ(image.pixelAt(0, 1 - row)[3], 0) << flipped;
        EXPECT_EQ(image.pixelAt(1, row)[3], 0) << flipped;
    }
}

TEST(GraphicsContext, HandsOutPremultipliedRGBA) {
    auto context = bitmap(4, 4, true);
    context->fillRect(Rect{{0, 0}, {4, 4}}, Color::colorWithDeviceRed(1, 0.5, 0.25, 0.5));
    const auto pixel = context->makeImage().pixelAt(2, 2);
    EXPECT_NEAR(pixel[0], 128, 1);
    EXPECT_NEAR(pixel[1], 64, 1);
    EXPECT_NEAR(pixel[2], 32, 1);
    EXPECT_NEAR(pixel[3], 128, 1);
    // Out-of-range and NaN components are clamped, never passed on.
    context->fillRect(Rect{{0, 0}, {4, 4}}, Color::colorWithDeviceRed(2, -1, std::nan(""), 1));
    EXPECT_EQ(context->makeImage().pixelAt(0, 0), (std::array<std::uint8_t, 4>{255, 0, 0, 255}));
}

TEST(GraphicsContext, CurrentContextStackIsPerThreadAndBalanced) {
    auto outer = bitmap(1, 1, false);
    auto inner = bitmap(1, 1, true);
    GraphicsContext::setCurrentContext(outer);
    GraphicsContext::saveCurrentGraphicsState();
    GraphicsContext::setCurrentContext(inner);
    EXPECT_EQ(GraphicsContext::currentContext(), inner);
    std::thread([] { EXPECT_EQ(GraphicsContext::currentContext(), nullptr); }).join();
    GraphicsContext::restoreCurrentGraphicsState();
    EXPECT_EQ(GraphicsContext::currentContext(), outer);
    // Nothing saved: ignored, as are unbalanced instance restores.
    GraphicsContext::restoreCurrentGraphicsState();
    EXPECT_EQ(GraphicsContext::currentContext(), outer);
    outer->restoreGraphicsState();
    GraphicsContext::setCurrentContext(nullptr);
}

TEST(GraphicsContext, RestoreUndoesTransformClipMaskAndShadow) {
    auto context = bitmap(8, 8, true);
    context->saveGraphicsState();
    context->scaleBy(2, 2);
    context->clipToRect(Rect{{0, 0}, {1, 1}});
    context->clipToMask(maskImage(1, 1, [](auto, auto) { return false; }), Rect{{0, 0}, {4, 4}});
    context->setShadow({1, 1}, 2, kBlue);
    // Singular scales would break cairo's context for good: ignored.
    context->scaleBy(0, 1);
    context->scaleBy(1e300, 1e300);
    EXPECT_DOUBLE_EQ(context->deviceScale(), 2);
    context->restoreGraphicsState();
    EXPECT_DOUBLE_EQ(context->deviceScale(), 1);
    context->fillRect(Rect{{0, 0}, {8, 8}}, kRed);
    EXPECT_EQ(totalAlpha(context->makeImage()), 8u * 8 * 255);
}

TEST(GraphicsContext, MaskClipsByAlphaUprightAndIntersects) {
    for (bool flipped : {false, true}) {
        auto context = bitmap(8, 8, flipped);
        // The mask is 4x4 stretched over the context: opaque in its top half.
        context->clipToMask(maskImage(4, 4, [](auto, auto y) { return y < 2; }), Rect{{0, 0}, {8, 8}});
        context->fillRect(Rect{{0, 0}, {8, 8}}, kRed);
        BitmapImage image = context->makeImage();
        EXPECT_EQ(image.alphaAt(3, 1), 255) << flipped;
        EXPECT_EQ(image.alphaAt(3, 6), 0) << flipped;
        // A second mask (left half) intersects with the first.
        context->clipToMask(maskImage(2, 1, [](auto x, auto) { return x == 0; }), Rect{{0, 0}, {8, 8}});
        context->fillRect(Rect{{0, 0}, {8, 8}}, kBlue);
        image = context->makeImage();
        EXPECT_EQ(image.pixelAt(1, 1)[2], 255) << flipped;
        EXPECT_EQ(image.pixelAt(6, 1)[0], 255) << flipped;
        EXPECT_EQ(image.alphaAt(1, 6), 0) << flipped;
    }
    // Outside the mask's rectangle nothing is drawn; an empty mask stops all drawing.
    auto context = bitmap(8, 8, true);
    context->clipToMask(maskImage(1, 1, [](auto, auto) { return true; }), Rect{{0, 0}, {4, 8}});
    context->fillRect(Rect{{0, 0}, {8, 8}}, kRed);
    EXPECT_EQ(totalAlpha(context->makeImage()), 4u * 8 * 255);
    context->clipToMask(BitmapImage(), Rect{{0, 0}, {8, 8}});
    context->fillRect(Rect{{0, 0}, {8, 8}}, kBlue);
    EXPECT_EQ(context->makeImage().pixelAt(0, 0)[2], 0);
}

TEST(GraphicsContext, DrawsImagesUprightAndScaled) {
    const BitmapImage topRow = maskImage(2, 2, [](auto, auto y) { return y == 0; });
    for (bool flipped : {false, true}) {
        auto context = bitmap(4, 4, flipped);
        context->drawImage(topRow, Rect{{0, 0}, {4, 4}});
        const BitmapImage image = context->makeImage();
        EXPECT_EQ(image.alphaAt(0, 0), 255) << flipped;
        EXPECT_EQ(image.alphaAt(3, 0), 255) << flipped;
        EXPECT_EQ(image.alphaAt(0, 3), 0) << flipped;
    }
}

TEST(GraphicsContext, GradientAnglesFollowThePlatform) {
    const kq::Gradient gradient(kRed, kBlue);
    // angle, flipped -> where the first colour lies: column, row
    const std::tuple<double, bool, std::uint32_t, std::uint32_t> cases[] = {
        {0, false, 0, 10},  {0, true, 0, 10},    {180, false, 19, 10},
        {90, false, 10, 19}, {90, true, 10, 0}, {-90, false, 10, 0},
    };
    for (auto [angle, flipped, x, y] : cases) {
        auto context = bitmap(20, 20, flipped);
        context->drawLinearGradient(gradient, Rect{{0, 0}, {20, 20}}, angle);
        const BitmapImage image = context->makeImage();
        EXPECT_GT(image.pixelAt(x, y)[0], 230) << angle << " " << flipped;
        EXPECT_GT(image.pixelAt(19 - x, 19 - y)[2], 230) << angle << " " << flipped;
    }
}

TEST(GraphicsContext, ShadowIsOffsetUpAndBlurred) {
    for (bool flipped : {false, true}) {
        auto context = bitmap(40, 40, flipped);
        context->setShadow({6, 6}, 0, kBlue);
        // A 10x10 square in the middle; its shadow is 6 right and 6 up on screen.
        context->fillRect(Rect{{15, 15}, {10, 10}}, kRed);
        BitmapImage image = context->makeImage();
        EXPECT_EQ(image.pixelAt(20, 20), (std::array<std::uint8_t, 4>{255, 0, 0, 255})) << flipped;
        EXPECT_EQ(image.pixelAt(29, 11), (std::array<std::uint8_t, 4>{0, 0, 255, 255})) << flipped;
        EXPECT_EQ(image.alphaAt(29, 27), 0) << flipped;

        auto blurred = bitmap(40, 40, flipped);
        blurred->setShadow({0, 0}, 8, kBlue);
        blurred->fillRect(Rect{{15, 15}, {10, 10}}, kRed);
        image = blurred->makeImage();
        EXPECT_GT(image.alphaAt(27, 20), 0) << flipped;
        EXPECT_LT(image.alphaAt(27, 20), 255) << flipped;
    }
}

kq::AttributedString text(std::string_view string, const std::string& family = "DejaVu Sans", double size = 24) {
    return kq::AttributedString(string, {{std::string(kq::NSFontAttributeName), kq::Font{family, size}}});
}

TEST(AttributedStringDrawing, SizeGrowsWithTextAndFont) {
    EXPECT_EQ(text("").size(), (kq::Size{0, 0}));
    const kq::Size one = text("M").size();
    const kq::Size three = text("MMM").size();
    EXPECT_NEAR(three.width, 3 * one.width, 0.5);
    EXPECT_GE(one.height, 24);
    EXPECT_LT(one.height, 36);
    EXPECT_NEAR(text("M", "DejaVu Sans", 48).size().height, 2 * one.height, 1);
    // Unknown families fall back to a font that has glyphs; NULs do no harm.
    EXPECT_GT(text("abc", "No Such Family 123").size().width, 10);
    EXPECT_GT(text(std::string_view("a\0b", 3)).size().width, 10);
    // No font: the system font at 12 points.
    EXPECT_NEAR(kq::AttributedString("M").size().height, one.height / 2, 1);
}

TEST(AttributedStringDrawing, DrawsInsideTheRectangleInEitherFlippedness) {
    const kq::AttributedString hello = text("Hello");
    const kq::Size size = hello.size();
    for (bool flipped : {false, true}) {
        auto context = bitmap(200, 80, flipped);
        GraphicsContext::setCurrentContext(context);
        // Rectangles by their top on screen: 5 and 40 from the bitmap's top.
        auto at = [&](double top, double width) {
            return Rect{{10, flipped ? top : 80 - top - size.height}, {width, size.height}};
        };
        hello.drawInRect(at(5, size.width));
        // Cut at the rectangle's right edge.
        hello.drawInRect(at(40, 20));
        GraphicsContext::setCurrentContext(nullptr);
        const BitmapImage image = context->makeImage();
        std::uint32_t top = 80, right = 0;
        for (std::uint32_t y = 0; y < 80; ++y) {
            for (std::uint32_t x = 0; x < 200; ++x) {
                if (!image.alphaAt(x, y)) continue;
                EXPECT_GE(x, 10u);
                top = std::min(top, y);
                if (y < 40) right = std::max(right, x);
                if (y >= 40) {
                    EXPECT_LT(x, 30u);
                }
            }
        }
        EXPECT_GE(top, 5u) << flipped;
        EXPECT_LT(top, 15u) << flipped;
        EXPECT_GT(right, 10 + size.width - 15) << flipped;
        EXPECT_LE(right, 10 + size.width) << flipped;
        std::uint64_t cutLine = 0;
        for (std::uint32_t x = 10; x < 30; ++x) cutLine += image.alphaAt(x, 40 + static_cast<std::uint32_t>(size.height / 2));
        EXPECT_GT(cutLine, 0u) << flipped;
    }
    // Without a current context, empty text, an empty rectangle: nothing, no crash.
    hello.drawInRect(Rect{{0, 0}, {10, 10}});
    auto context = bitmap(10, 10, true);
    context->drawAttributedString(text(""), Rect{{0, 0}, {10, 10}});
    context->drawAttributedString(hello, Rect{{0, 0}, {0, 10}});
    EXPECT_EQ(totalAlpha(context->makeImage()), 0u);
}

TEST(AttributedStringDrawing, RunsKeepTheirColours) {
    kq::MutableAttributedString string(text("RRRBBB"));
    string.addAttribute(kq::NSForegroundColorAttributeName, kRed, kq::Range{0, 3});
    string.addAttribute(kq::NSForegroundColorAttributeName, kBlue, kq::Range{3, 3});
    auto context = bitmap(200, 40, true);
    context->drawAttributedString(string, Rect{{0, 0}, {200, 40}});
    const BitmapImage image = context->makeImage();
    const double half = string.attributedSubstringFromRange(kq::Range{0, 3}).size().width;
    for (std::uint32_t y = 0; y < 40; ++y) {
        for (std::uint32_t x = 0; x < 200; ++x) {
            const auto pixel = image.pixelAt(x, y);
            if (x + 1 < half) {
                EXPECT_EQ(pixel[2], 0);
            } else if (x > half + 1) {
                EXPECT_EQ(pixel[0], 0);
            }
            EXPECT_LE(std::max({pixel[0], pixel[1], pixel[2]}), pixel[3]);
        }
    }
}

}  // namespace
