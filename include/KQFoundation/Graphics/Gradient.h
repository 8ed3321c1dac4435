#pragma once
// kq::Gradient: colour stops along 0..1 (the platform's NSGradient without
// the drawing, which kq::GraphicsContext does).
#include <cstddef>
#include <optional>
#include <vector>

#include "KQFoundation/Export.h"
#include "KQFoundation/Graphics/Color.h"

namespace kq {

struct KQ_EXPORT GradientStop {
    Color color;
    double location = 0;  // 0..1
    friend bool operator==(const GradientStop&, const GradientStop&) = default;
};

class KQ_EXPORT Gradient {
public:
    /// From the starting colour at 0 to the ending colour at 1.
    Gradient(const Color& startingColor, const Color& endingColor);
    /// Stops in any order; they are kept sorted by location (stable for equal
    /// locations). nullopt with fewer than two stops, a location outside 0..1
    /// or a NaN location.
    static std::optional<Gradient> create(std::vector<GradientStop> stops);
    /// Colours at the given locations; nullopt when the counts differ or
    /// create() would refuse them.
    static std::optional<Gradient> create(const std::vector<Color>& colors, const std::vector<double>& locations);
    /// Colours spread evenly from 0 to 1; nullopt with fewer than two.
    static std::optional<Gradient> create(const std::vector<Color>& colors);

    std::size_t numberOfColorStops() const { return stops_.size(); }
    const std::vector<GradientStop>& stops() const { return stops_; }

    /// The colour at `location`, linearly interpolated component by component
    /// between the stops around it; before the first stop the first colour,
    /// after the last the last colour. The result is in the calibrated space.
    Color interpolatedColorAtLocation(double location) const;

    friend bool operator==(const Gradient&, const Gradient&) = default;

private:
    explicit Gradient(std::vector<GradientStop> stops) : stops_(std::move(stops)) {}
    std::vector<GradientStop> stops_;
};

}  // namespace kq
