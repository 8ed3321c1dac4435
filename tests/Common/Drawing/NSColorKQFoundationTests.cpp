#include "KQFoundation/NSColor+KQFoundation.h"

#include <gtest/gtest.h>

namespace {

using kq::Color;

TEST(NSColorKQFoundationTest, ColorWithHexString) {
    struct Case { const char* text; double r, g, b, a; };
    const Case cases[] = {
        {"ff8000", 1, 128 / 255.0, 0, 1},            // six digits: opaque
        {"FF800040", 1, 128 / 255.0, 0, 64 / 255.0},
        {"00ff00ffee", 0, 1, 0, 1},                  // only four pairs are read
        {"ff", 1, 0, 0, 0},                          // missing components are 0
        {"", 0, 0, 0, 0},
        {"#ff0000", 0, 0, 0, 0},                     // not hex from the start
        {"zz11", 0, 0, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        const Color color = Color::colorWithHexString(c.text);
        EXPECT_TRUE(color.isApproximatelyEqual(Color::colorWithCalibratedRed(c.r, c.g, c.b, c.a)))
            << color.description();
    }
    Color::colorWithHexString(std::string(100000, '-'));  // junk of any length is fine
}

TEST(NSColorKQFoundationTest, DarknedByKeepsHueAndGoesBelowZero) {
    const Color darker = Color::colorWithCalibratedRed(1, 0, 0, 0.5).darknedBy(0.25);
    EXPECT_EQ(darker.colorSpace(), kq::ColorSpace::deviceRGB);
    EXPECT_TRUE(darker.isApproximatelyEqual(Color::colorWithDeviceRed(0.75, 0, 0, 0.5)));

    const Color below = Color::colorWithDeviceRed(0.2, 0.2, 0.2, 1).darknedBy(0.5);
    EXPECT_NEAR(below.brightnessComponent(), -0.3, 1e-12);
    EXPECT_TRUE(below.isApproximatelyEqual(Color::colorWithDeviceRed(-0.3, -0.3, -0.3, 1)));
}

TEST(NSColorKQFoundationTest, CGColorObjectCarriesTheComponents) {
    EXPECT_EQ(Color::colorWithCalibratedRed(0.1, 0.2, 0.3, 0.4).CGColorObject(), (kq::CGColor{0.1, 0.2, 0.3, 0.4}));
}

}  // namespace
