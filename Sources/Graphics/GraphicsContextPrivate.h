#pragma once
// What the drawing sources share about kq::GraphicsContext beyond its header.
#include <cairo.h>

#include <functional>

#include "KQFoundation/Graphics/GraphicsContext.h"

namespace kq {

struct GraphicsContextAccess {
    /// Runs `draw` on the context's cairo context (user space as the context
    /// has it) and composites the result through the mask clip and with the
    /// shadow, when they are set.
    static void paint(GraphicsContext& context, const std::function<void(cairo_t*)>& draw);
};

namespace detail {

/// True when user-space y grows upwards on the device.
bool userSpaceIsUnflipped(cairo_t* cr);
/// A cairo image surface (native premultiplied ARGB) with the image's pixels;
/// the caller destroys it.
cairo_surface_t* createSurfaceFromImage(const BitmapImage& image);
/// Sets the transform so that (0, 0)-(width, height) of the image covers
/// `rect` upright; false, leaving it unchanged, when that has no inverse.
bool transformToImageRect(cairo_t* cr, const BitmapImage& image, Rect rect);

}  // namespace detail
}  // namespace kq
