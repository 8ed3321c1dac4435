#pragma once
// kq::Point, kq::Size, kq::Rect: plane geometry in points, doubles, as the
// platform's NSPoint/NSSize/NSRect. Plain aggregates; no normalisation.
#include "KQFoundation/Export.h"

namespace kq {

struct KQ_EXPORT Point {
    double x = 0;
    double y = 0;
    friend bool operator==(const Point&, const Point&) = default;
};

struct KQ_EXPORT Size {
    double width = 0;
    double height = 0;
    friend bool operator==(const Size&, const Size&) = default;
};

struct KQ_EXPORT Rect {
    Point origin;
    Size size;
    double minX() const { return origin.x; }
    double minY() const { return origin.y; }
    double maxX() const { return origin.x + size.width; }
    double maxY() const { return origin.y + size.height; }
    double width() const { return size.width; }
    double height() const { return size.height; }
    friend bool operator==(const Rect&, const Rect&) = default;
};

}  // namespace kq
