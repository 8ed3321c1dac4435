#include "KQFoundation/NSAttributedString+KQFoundation.h"

#include <cmath>
#include <limits>

namespace kq {
namespace {

// A side in pixels, truncated; nullopt when it cannot be a bitmap's side.
std::optional<std::size_t> pixels(double points, double scale) {
    const double value = points * scale;
    if (!(value >= 0) || value >= static_cast<double>(std::numeric_limits<std::uint32_t>::max())) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(value);
}

std::shared_ptr<GraphicsContext> bitmapContext(std::size_t width, std::size_t height, bool flipped) {
    if (width > GraphicsContext::kMaximumPixelsPerSide || height > GraphicsContext::kMaximumPixelsPerSide) {
        return nullptr;
    }
    return GraphicsContext::bitmapContext(static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height),
                                          flipped);
}

bool currentContextIsFlipped() {
    const auto current = GraphicsContext::currentContext();
    return current && current->isFlipped();
}

// Runs `draw` with `context` current, as a bitmap is drawn into.
template <class Draw>
void drawWithCurrentContext(const std::shared_ptr<GraphicsContext>& context, Draw draw) {
    GraphicsContext::saveCurrentGraphicsState();
    GraphicsContext::setCurrentContext(context);
    draw(*context);
    GraphicsContext::restoreCurrentGraphicsState();
}

}  // namespace

void AttributedString::drawInRect(Rect rect, const Gradient& gradient, double /*angle*/, bool clippingByFade) const {
    const auto caller = GraphicsContext::currentContext();
    if (!caller || length() == 0) return;

    // A shadow over the whole text would blur the mask; it is cast by the
    // finished image instead.
    const AttributedString* text = this;
    std::optional<MutableAttributedString> withoutShadow;
    std::optional<Shadow> shadow;
    Range shadowRun;
    if (const AttributeValue* value = attribute(NSShadowAttributeName, 0, &shadowRun);
        value && std::holds_alternative<Shadow>(*value) && shadowRun.location == 0 && shadowRun.length == length()) {
        shadow = std::get<Shadow>(*value);
        withoutShadow.emplace(*this);
        withoutShadow->removeAttribute(NSShadowAttributeName, Range{0, length()});
        text = &*withoutShadow;
    }

    // The width factor serves both directions.
    const double scale = caller->deviceScale();
    const auto mask = KQCreateTextMask(*text, Rect{{0, 0}, rect.size}, scale);
    if (!mask) return;
    const bool flipped = caller->isFlipped();
    const Rect pixelRect{{0, 0}, {static_cast<double>(mask->width()), static_cast<double>(mask->height())}};
    const auto drawing = bitmapContext(mask->width(), mask->height(), flipped);
    if (!drawing) return;

    if (clippingByFade && text->size().width > rect.width()) {
        const auto fade = bitmapContext(mask->width(), mask->height(), flipped);
        if (!fade) return;
        fade->clipToMask(*mask, pixelRect);
        const auto fadeGradient = Gradient::create({{Color::colorWithCalibratedRed(0, 0, 0, 1.0), 0.7},
                                                    {Color::colorWithCalibratedRed(0, 0, 0, 0.0), 0.95}});
        drawWithCurrentContext(fade, [&](GraphicsContext& context) {
            context.drawLinearGradient(*fadeGradient, pixelRect, 45.0);
        });
        drawing->clipToMask(fade->makeImage(), pixelRect);
    } else {
        drawing->clipToMask(*mask, pixelRect);
    }
    drawWithCurrentContext(drawing, [&](GraphicsContext& context) {
        context.drawLinearGradient(gradient, pixelRect, 90.0);
    });
    const BitmapImage image = drawing->makeImage();

    caller->saveGraphicsState();
    if (shadow) caller->setShadow(shadow->shadowOffset, shadow->shadowBlurRadius, shadow->shadowColor);
    caller->drawImage(image, rect);
    caller->restoreGraphicsState();
}

void AttributedString::drawInRect(Rect rect, const Gradient& gradient, double angle) const {
    drawInRect(rect, gradient, angle, false);
}

void AttributedString::drawInRect(Rect rect, const Gradient& gradient) const {
    drawInRect(rect, gradient, currentContextIsFlipped() ? 90.0 : -90.0);
}

}  // namespace kq

std::shared_ptr<kq::GraphicsContext> KQCreateRGBABitmapContext(std::size_t width, std::size_t height) {
    return kq::bitmapContext(width, height, false);
}

std::optional<kq::BitmapImage> KQCreateTextMask(const kq::AttributedString& text, kq::Rect rect, double scale) {
    using namespace kq;
    const auto width = pixels(rect.width(), scale);
    const auto height = pixels(rect.height(), scale);
    if (!width || !height || !std::isfinite(scale)) return std::nullopt;
    const bool flipped = currentContextIsFlipped();
    const auto bitmap = bitmapContext(*width, *height, flipped);
    if (!bitmap) return std::nullopt;
    drawWithCurrentContext(bitmap, [&](GraphicsContext& context) {
        context.scaleBy(scale, scale);
        // The text is laid out from the rectangle's top; moving the rectangle
        // by half the spare height centres one line (y runs the other way
        // when unflipped).
        const double spare = rect.height() - text.size().height;
        const double y = flipped ? spare / 2 : -spare / 2;
        text.drawInRect(Rect{{0, y}, {rect.width(), rect.height()}});
    });
    return bitmap->makeImage();
}
