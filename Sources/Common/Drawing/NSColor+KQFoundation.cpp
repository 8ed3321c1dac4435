#include "KQFoundation/NSColor+KQFoundation.h"

#include <cstdio>
#include <string>

#include "KQFoundation/KQUSystemInformation.h"

namespace kq {

Color Color::colorWithHexString(std::string_view text) {
    // scanf's own reading of "%02x" (leading blanks, a sign, at most two
    // characters each) is what callers' colour strings were written against.
    const std::string terminated(text.substr(0, text.find('\0')));
    unsigned int red = 0, green = 0, blue = 0, alpha = 0;
    const int read = std::sscanf(terminated.c_str(), "%02x%02x%02x%02x", &red, &green, &blue, &alpha);
    if (read == 3) alpha = 255;
    return colorWithCalibratedRed(red / 255.0, green / 255.0, blue / 255.0, alpha / 255.0);
}

Color Color::darknedBy(double amount) const {
    double hue = 0, saturation = 0, brightness = 0, alpha = 0;
    colorUsingColorSpace(ColorSpace::calibratedRGB).getHue(&hue, &saturation, &brightness, &alpha);
    return colorWithDeviceHue(hue, saturation, brightness - amount, alpha);
}

CGColor Color::CGColorObject() const {
    // Newer systems convert the colour themselves, older ones build it from
    // the space and components; with RGB spaces both come to the same values.
    if (KQUSystemInformation::isMountainLionOrGreater()) {
        const Color device = colorUsingColorSpace(ColorSpace::deviceRGB);
        return {device.redComponent(), device.greenComponent(), device.blueComponent(), device.alphaComponent()};
    }
    double red = 0, green = 0, blue = 0, alpha = 0;
    getRed(&red, &green, &blue, &alpha);
    return {red, green, blue, alpha};
}

}  // namespace kq
