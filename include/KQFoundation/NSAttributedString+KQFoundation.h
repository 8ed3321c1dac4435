#pragma once
// NSAttributedString(KQFoundation): text filled with a gradient, as members
// of kq::AttributedString, and the two bitmap functions it is built on. All
// of them draw in the calling thread's current graphics context
// (kq::GraphicsContext::currentContext()) and do nothing without one.
//
// void drawInRect(Rect rect, const Gradient& gradient, double angle, bool clippingByFade) const;
//   Draws the text's glyphs filled with the gradient, which always runs at
//   90 degrees in the text's bitmap (its first colour at the top in a flipped
//   context, at the bottom in an unflipped one): `angle` is accepted but does
//   not change the result. A shadow that covers the whole text is cast by the
//   finished gradient text rather than by each glyph. With `clippingByFade`,
//   text wider than the rectangle fades out towards its right end (fully
//   transparent from 95% along a 45-degree line); narrower text never fades.
//   The text is centred vertically in the rectangle and drawn at the
//   context's device scale.
// void drawInRect(Rect rect, const Gradient& gradient, double angle) const;
//   The same without the fade.
// void drawInRect(Rect rect, const Gradient& gradient) const;
//   The same with the angle 90 in a flipped context and -90 otherwise.
#include <cstddef>
#include <memory>
#include <optional>

#include "KQFoundation/Export.h"
#include "KQFoundation/Graphics/AttributedString.h"
#include "KQFoundation/Graphics/BitmapImage.h"
#include "KQFoundation/Graphics/GraphicsContext.h"

/// A new transparent bitmap context of width x height pixels: RGBA, 8 bits
/// per component, alpha premultiplied and last, 4 * width bytes per row, its
/// memory owned by the context, origin at the bottom left (unflipped).
/// nullptr when a side is 0 or the bitmap would pass the limits of
/// kq::GraphicsContext (16384 pixels a side, 2^26 pixels in all).
KQ_EXPORT std::shared_ptr<kq::GraphicsContext> KQCreateRGBABitmapContext(std::size_t width, std::size_t height);

/// The text drawn into a bitmap of (rect width * scale) by (rect height *
/// scale) pixels, each truncated, with the current context's flippedness, at
/// x 0 and centred vertically; its alpha serves as a mask. nullopt when the
/// bitmap cannot be made (a side truncates to 0, or it is too large).
KQ_EXPORT std::optional<kq::BitmapImage> KQCreateTextMask(const kq::AttributedString& text, kq::Rect rect,
                                                          double scale);
