#include "KQFoundation/Graphics/Color.h"
#include "KQFoundation/Graphics/Font.h"
#include "KQFoundation/Graphics/Gradient.h"

#include <gtest/gtest.h>
#include <pango/pango.h>

#include <cmath>
#include <memory>

namespace {

using kq::Color;

TEST(ColorTest, HueSaturationBrightnessRoundTrip) {
    struct Case { double r, g, b, hue, saturation, brightness; };
    const Case cases[] = {
        {1, 0, 0, 0, 1, 1},           {0, 1, 0, 1.0 / 3, 1, 1},       {0, 0, 1, 2.0 / 3, 1, 1},
        {1, 0, 1, 5.0 / 6, 1, 1},     {0.5, 0.5, 0.5, 0, 0, 0.5},     {0, 0, 0, 0, 0, 0},
        {0.8, 0.4, 0.2, 1.0 / 18, 0.75, 0.8},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.r << " " << c.g << " " << c.b);
        const Color color = Color::colorWithCalibratedRed(c.r, c.g, c.b, 0.5);
        double hue, saturation, brightness, alpha;
        color.getHue(&hue, &saturation, &brightness, &alpha);
        EXPECT_NEAR(hue, c.hue, 1e-12);
        EXPECT_NEAR(saturation, c.saturation, 1e-12);
        EXPECT_NEAR(brightness, c.brightness, 1e-12);
        EXPECT_EQ(alpha, 0.5);
        EXPECT_TRUE(Color::colorWithCalibratedHue(hue, saturation, brightness, alpha).isApproximatelyEqual(color));
    }
    // Hue wraps; a non-finite hue never breaks the conversion.
    EXPECT_TRUE(Color::colorWithDeviceHue(1.0, 1, 1, 1).isApproximatelyEqual(Color::colorWithDeviceRed(1, 0, 0, 1)));
    EXPECT_TRUE(Color::colorWithDeviceHue(std::nan(""), 1, 1, 1).isApproximatelyEqual(Color::colorWithDeviceRed(1, 0, 0, 1)));
}

TEST(ColorTest, ColorSpaceConversionKeepsComponents) {
    const Color calibrated = Color::colorWithCalibratedRed(0.1, 0.2, 1.5, -0.25);
    const Color device = calibrated.colorUsingColorSpace(kq::ColorSpace::deviceRGB);
    EXPECT_EQ(device.colorSpace(), kq::ColorSpace::deviceRGB);
    EXPECT_FALSE(device.isApproximatelyEqual(calibrated));
    EXPECT_EQ(device.colorUsingColorSpace(kq::ColorSpace::calibratedRGB), calibrated);
    EXPECT_EQ(calibrated.description(), "NSCalibratedRGBColorSpace 0.1 0.2 1.5 -0.25");
}

TEST(GradientTest, InterpolatesBetweenSortedStops) {
    const auto gradient = kq::Gradient::create(
        {Color::whiteColor(), Color::colorWithDeviceRed(1, 0, 0, 1), Color::clearColor()}, {1.0, 0.0, 0.5});
    ASSERT_TRUE(gradient);
    EXPECT_EQ(gradient->stops()[1].color, Color::clearColor());
    const auto at = [&](double location) { return gradient->interpolatedColorAtLocation(location); };
    EXPECT_TRUE(at(-1).isApproximatelyEqual(Color::colorWithCalibratedRed(1, 0, 0, 1)));
    EXPECT_TRUE(at(0.25).isApproximatelyEqual(Color::colorWithCalibratedRed(0.5, 0, 0, 0.5)));
    EXPECT_TRUE(at(0.75).isApproximatelyEqual(Color::colorWithCalibratedRed(0.5, 0.5, 0.5, 0.5)));
    EXPECT_TRUE(at(2).isApproximatelyEqual(Color::whiteColor()));

    EXPECT_FALSE(kq::Gradient::create({Color::whiteColor()}));
    for (std::vector<double> locations : {std::vector{0.0}, {0.0, 1.5}, {0.0, std::nan("")}}) {
        EXPECT_FALSE(kq::Gradient::create({Color::whiteColor(), Color::clearColor()}, locations));
    }
}

TEST(FontTest, DescriptionReadsBackThroughPango) {
    struct Case { kq::Font font; const char* text; };
    const Case cases[] = {
        {{"DejaVu Sans", 24}, "DejaVu Sans 24"},
        {{"DejaVu Serif", 10.5, 700, true}, "DejaVu Serif Bold Italic 10.5"},
        {{"Foo Bold", 12}, "Foo Bold, 12"},
        {{"Font 3", 9, 650}, "Font 3, 9"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(c.font.description(), c.text);
        std::unique_ptr<PangoFontDescription, decltype(&pango_font_description_free)> parsed(
            pango_font_description_from_string(c.font.description().c_str()), pango_font_description_free);
        EXPECT_STREQ(pango_font_description_get_family(parsed.get()), c.font.family.c_str());
        EXPECT_EQ(pango_font_description_get_size(parsed.get()), static_cast<int>(c.font.pointSize * PANGO_SCALE));
        EXPECT_EQ(pango_font_description_get_style(parsed.get()) == PANGO_STYLE_ITALIC, c.font.italic);
    }
}

TEST(FontTest, SystemFontComesFromFontconfig) {
    auto& manager = kq::FontManager::sharedFontManager();
    EXPECT_FALSE(manager.systemFontOfSize(13).family.empty());
    EXPECT_EQ(manager.convertFont(manager.boldSystemFontOfSize(13), 20), manager.boldSystemFontOfSize(20));
}

}  // namespace
