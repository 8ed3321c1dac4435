#pragma once
// kq::Shadow: a text shadow (the platform's NSShadow).
#include "KQFoundation/Export.h"
#include "KQFoundation/Graphics/Color.h"
#include "KQFoundation/Graphics/Geometry.h"

namespace kq {

struct KQ_EXPORT Shadow {
    /// Offset in points, in the unflipped sense: positive height is up.
    Size shadowOffset;
    double shadowBlurRadius = 0;
    /// Black at one third opacity unless set, as the platform's default.
    Color shadowColor = Color::colorWithCalibratedRed(0, 0, 0, 1.0 / 3.0);

    friend bool operator==(const Shadow&, const Shadow&) = default;
};

}  // namespace kq
