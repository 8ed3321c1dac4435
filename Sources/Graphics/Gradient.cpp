#include "KQFoundation/Graphics/Gradient.h"

#include <algorithm>
#include <cmath>

namespace kq {

Gradient::Gradient(const Color& startingColor, const Color& endingColor)
    : stops_{{startingColor, 0.0}, {endingColor, 1.0}} {}

std::optional<Gradient> Gradient::create(std::vector<GradientStop> stops) {
    if (stops.size() < 2) return std::nullopt;
    for (const GradientStop& stop : stops) {
        if (!(stop.location >= 0.0 && stop.location <= 1.0)) return std::nullopt;
    }
    std::stable_sort(stops.begin(), stops.end(),
                     [](const GradientStop& a, const GradientStop& b) { return a.location < b.location; });
    return Gradient(std::move(stops));
}

std::optional<Gradient> Gradient::create(const std::vector<Color>& colors, const std::vector<double>& locations) {
    if (colors.size() != locations.size()) return std::nullopt;
    std::vector<GradientStop> stops;
    stops.reserve(colors.size());
    for (std::size_t i = 0; i < colors.size(); ++i) stops.push_back({colors[i], locations[i]});
    return create(std::move(stops));
}

std::optional<Gradient> Gradient::create(const std::vector<Color>& colors) {
    if (colors.size() < 2) return std::nullopt;
    std::vector<double> locations;
    for (std::size_t i = 0; i < colors.size(); ++i) {
        locations.push_back(static_cast<double>(i) / static_cast<double>(colors.size() - 1));
    }
    return create(colors, locations);
}

Color Gradient::interpolatedColorAtLocation(double location) const {
    const auto calibrated = [](const Color& color) { return color.colorUsingColorSpace(ColorSpace::calibratedRGB); };
    if (!(location > stops_.front().location)) return calibrated(stops_.front().color);
    if (location >= stops_.back().location) return calibrated(stops_.back().color);
    // The first stop beyond the location; the one before it is at or below.
    const auto after = std::upper_bound(stops_.begin(), stops_.end(), location,
                                        [](double value, const GradientStop& stop) { return value < stop.location; });
    const GradientStop& high = *after;
    const GradientStop& low = *(after - 1);
    const double t = (location - low.location) / (high.location - low.location);
    const auto mix = [t](double a, double b) { return a + (b - a) * t; };
    return Color::colorWithCalibratedRed(mix(low.color.redComponent(), high.color.redComponent()),
                                         mix(low.color.greenComponent(), high.color.greenComponent()),
                                         mix(low.color.blueComponent(), high.color.blueComponent()),
                                         mix(low.color.alphaComponent(), high.color.alphaComponent()));
}

}  // namespace kq
