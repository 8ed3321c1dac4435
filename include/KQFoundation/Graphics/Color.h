#pragma once
// kq::Color: an RGBA colour in the calibrated or the device RGB space (the
// platform's NSColor, for what the library needs of it). Components are
// doubles and are never clamped: out-of-range values are kept and left to the
// renderer (cairo clamps when it paints).
#include <string>
#include <string_view>

#include "KQFoundation/Export.h"

namespace kq {

enum class ColorSpace {
    calibratedRGB,  // NSCalibratedRGBColorSpace
    deviceRGB,      // NSDeviceRGBColorSpace
};

/// A colour as the graphics library takes it: plain RGBA components in the
/// device RGB space (what the platform calls a CGColor).
struct KQ_EXPORT CGColor {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 1;
    friend bool operator==(const CGColor&, const CGColor&) = default;
};

class KQ_EXPORT Color {
public:
    /// Opaque black in the calibrated space.
    Color() = default;

    static Color colorWithCalibratedRed(double red, double green, double blue, double alpha);
    static Color colorWithDeviceRed(double red, double green, double blue, double alpha);
    /// Hue, saturation and brightness as the platform takes them: hue in
    /// turns (0..1, wrapped), saturation and brightness as given, unclamped.
    static Color colorWithCalibratedHue(double hue, double saturation, double brightness, double alpha);
    static Color colorWithDeviceHue(double hue, double saturation, double brightness, double alpha);

    static Color blackColor() { return colorWithCalibratedRed(0, 0, 0, 1); }
    static Color whiteColor() { return colorWithCalibratedRed(1, 1, 1, 1); }
    static Color clearColor() { return colorWithCalibratedRed(0, 0, 0, 0); }

    ColorSpace colorSpace() const { return space_; }
    /// "NSCalibratedRGBColorSpace" or "NSDeviceRGBColorSpace".
    std::string colorSpaceName() const;
    double redComponent() const { return red_; }
    double greenComponent() const { return green_; }
    double blueComponent() const { return blue_; }
    double alphaComponent() const { return alpha_; }

    /// Brightness is the largest of red, green and blue; saturation is
    /// (largest - smallest) / largest (0 when the largest is 0); hue in turns
    /// 0..1 (0 for greys).
    double hueComponent() const;
    double saturationComponent() const;
    double brightnessComponent() const;
    void getHue(double* hue, double* saturation, double* brightness, double* alpha) const;
    void getRed(double* red, double* green, double* blue, double* alpha) const;

    /// The colour in the other RGB space: both spaces are treated as the
    /// same here, so the components are kept and only the tag changes.
    Color colorUsingColorSpace(ColorSpace space) const;

    /// Same space and every component within `tolerance`.
    bool isApproximatelyEqual(const Color& other, double tolerance = 1e-9) const;

    /// "NSCalibratedRGBColorSpace 1 0 0 1", as the platform describes a colour.
    std::string description() const;

    friend bool operator==(const Color&, const Color&) = default;

    // ---- Category NSColor(KQFoundation): NSColor+KQFoundation.h/.cpp ----
    static Color colorWithHexString(std::string_view text);
    Color darknedBy(double amount) const;
    CGColor CGColorObject() const;
    // ---- end of category ----

private:
    Color(ColorSpace space, double red, double green, double blue, double alpha)
        : space_(space), red_(red), green_(green), blue_(blue), alpha_(alpha) {}

    ColorSpace space_ = ColorSpace::calibratedRGB;
    double red_ = 0;
    double green_ = 0;
    double blue_ = 0;
    double alpha_ = 1;
};

}  // namespace kq
