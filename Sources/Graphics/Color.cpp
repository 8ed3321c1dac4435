#include "KQFoundation/Graphics/Color.h"

#include <algorithm>
#include <cmath>

#include "Graphics/NumberText.h"

namespace kq {

namespace {

using detail::shortestNumberText;

struct RGB {
    double red, green, blue;
};

// The usual hexcone conversion; hue in turns. A non-finite hue counts as 0 so
// that the sector index below is always 0..5.
RGB rgbFromHSB(double hue, double saturation, double brightness) {
    if (!std::isfinite(hue)) hue = 0;
    hue -= std::floor(hue);
    if (saturation == 0) return {brightness, brightness, brightness};
    const double scaled = hue * 6.0;
    const int sector = std::clamp(static_cast<int>(scaled), 0, 5);
    const double fraction = scaled - sector;
    const double p = brightness * (1.0 - saturation);
    const double q = brightness * (1.0 - saturation * fraction);
    const double t = brightness * (1.0 - saturation * (1.0 - fraction));
    switch (sector) {
        case 0: return {brightness, t, p};
        case 1: return {q, brightness, p};
        case 2: return {p, brightness, t};
        case 3: return {p, q, brightness};
        case 4: return {t, p, brightness};
        default: return {brightness, p, q};
    }
}

}  // namespace

Color Color::colorWithCalibratedRed(double red, double green, double blue, double alpha) {
    return Color(ColorSpace::calibratedRGB, red, green, blue, alpha);
}

Color Color::colorWithDeviceRed(double red, double green, double blue, double alpha) {
    return Color(ColorSpace::deviceRGB, red, green, blue, alpha);
}

Color Color::colorWithCalibratedHue(double hue, double saturation, double brightness, double alpha) {
    const RGB rgb = rgbFromHSB(hue, saturation, brightness);
    return Color(ColorSpace::calibratedRGB, rgb.red, rgb.green, rgb.blue, alpha);
}

Color Color::colorWithDeviceHue(double hue, double saturation, double brightness, double alpha) {
    const RGB rgb = rgbFromHSB(hue, saturation, brightness);
    return Color(ColorSpace::deviceRGB, rgb.red, rgb.green, rgb.blue, alpha);
}

std::string Color::colorSpaceName() const {
    return space_ == ColorSpace::calibratedRGB ? "NSCalibratedRGBColorSpace" : "NSDeviceRGBColorSpace";
}

void Color::getHue(double* hue, double* saturation, double* brightness, double* alpha) const {
    const double maximum = std::max({red_, green_, blue_});
    const double minimum = std::min({red_, green_, blue_});
    const double delta = maximum - minimum;
    double h = 0;
    if (delta > 0) {
        if (maximum == red_) {
            h = (green_ - blue_) / delta;
        } else if (maximum == green_) {
            h = (blue_ - red_) / delta + 2.0;
        } else {
            h = (red_ - green_) / delta + 4.0;
        }
        h /= 6.0;
        if (h < 0) h += 1.0;
    }
    if (hue) *hue = h;
    if (saturation) *saturation = maximum != 0 ? delta / maximum : 0;
    if (brightness) *brightness = maximum;
    if (alpha) *alpha = alpha_;
}

void Color::getRed(double* red, double* green, double* blue, double* alpha) const {
    if (red) *red = red_;
    if (green) *green = green_;
    if (blue) *blue = blue_;
    if (alpha) *alpha = alpha_;
}

double Color::hueComponent() const {
    double hue = 0;
    getHue(&hue, nullptr, nullptr, nullptr);
    return hue;
}

double Color::saturationComponent() const {
    double saturation = 0;
    getHue(nullptr, &saturation, nullptr, nullptr);
    return saturation;
}

double Color::brightnessComponent() const {
    double brightness = 0;
    getHue(nullptr, nullptr, &brightness, nullptr);
    return brightness;
}

Color Color::colorUsingColorSpace(ColorSpace space) const {
    Color converted = *this;
    converted.space_ = space;
    return converted;
}

bool Color::isApproximatelyEqual(const Color& other, double tolerance) const {
    const auto close = [tolerance](double a, double b) { return std::fabs(a - b) <= tolerance; };
    return space_ == other.space_ && close(red_, other.red_) && close(green_, other.green_) &&
           close(blue_, other.blue_) && close(alpha_, other.alpha_);
}

std::string Color::description() const {
    return colorSpaceName() + " " + shortestNumberText(red_) + " " + shortestNumberText(green_) + " " + shortestNumberText(blue_) + " " +
           shortestNumberText(alpha_);
}

}  // namespace kq
