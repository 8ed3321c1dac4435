#include "KQFoundation/Graphics/GraphicsContext.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "Graphics/GraphicsContextPrivate.h"

namespace kq {

namespace {

using SurfacePointer = std::shared_ptr<cairo_surface_t>;

SurfacePointer adoptSurface(cairo_surface_t* surface) {
    return SurfacePointer(surface, cairo_surface_destroy);
}

// Shadow in device pixels, fixed when it is set.
struct DeviceShadow {
    double dx = 0;
    double dy = 0;
    double blur = 0;
    CGColor color;
};

// Colours are never clamped on the way in; cairo needs them in range, and NaN
// would reach an integer conversion inside it.
double unit(double value) { return std::isnan(value) ? 0.0 : std::clamp(value, 0.0, 1.0); }

bool isFinite(Rect rect) {
    return std::isfinite(rect.origin.x) && std::isfinite(rect.origin.y) && std::isfinite(rect.size.width) &&
           std::isfinite(rect.size.height);
}

bool isDrawable(Rect rect) { return isFinite(rect) && rect.size.width > 0 && rect.size.height > 0; }

void setSourceColor(cairo_t* cr, const Color& color) {
    cairo_set_source_rgba(cr, unit(color.redComponent()), unit(color.greenComponent()),
                          unit(color.blueComponent()), unit(color.alphaComponent()));
}

// Three box blurs approximate a Gaussian of sigma = radius / 2, run on the
// alpha channel alone.
void blurAlpha(std::vector<std::uint8_t>& alpha, int width, int height, double radius) {
    const double sigma = std::min(radius / 2, 1e6);
    if (!(sigma >= 0.5)) return;
    int half = static_cast<int>(std::lround((std::sqrt(4 * sigma * sigma + 1) - 1) / 2));
    half = std::min(half, std::max(width, height));
    if (half < 1) return;
    const int window = 2 * half + 1;
    std::vector<std::uint8_t> line(static_cast<std::size_t>(std::max(width, height)));
    auto pass = [&](int count, int length, std::size_t step, std::size_t lineStep) {
        for (int i = 0; i < count; ++i) {
            std::uint8_t* base = alpha.data() + static_cast<std::size_t>(i) * lineStep;
            for (int k = 0; k < length; ++k) line[static_cast<std::size_t>(k)] = base[k * step];
            int sum = 0;
            for (int k = 0; k <= std::min(half, length - 1); ++k) sum += line[static_cast<std::size_t>(k)];
            for (int k = 0; k < length; ++k) {
                base[k * step] = static_cast<std::uint8_t>((sum + window / 2) / window);
                if (k + half + 1 < length) sum += line[static_cast<std::size_t>(k + half + 1)];
                if (k - half >= 0) sum -= line[static_cast<std::size_t>(k - half)];
            }
        }
    };
    for (int round = 0; round < 3; ++round) {
        pass(height, width, 1, static_cast<std::size_t>(width));
        pass(width, height, static_cast<std::size_t>(width), 1);
    }
}

// The layer with its shadow behind it, as a new surface of the same size.
cairo_surface_t* withShadow(cairo_surface_t* layer, const DeviceShadow& shadow) {
    const int width = cairo_image_surface_get_width(layer);
    const int height = cairo_image_surface_get_height(layer);
    const int stride = cairo_image_surface_get_stride(layer);
    cairo_surface_flush(layer);
    const unsigned char* pixels = cairo_image_surface_get_data(layer);
    std::vector<std::uint8_t> alpha(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (int y = 0; y < height; ++y) {
        const auto* row = reinterpret_cast<const std::uint32_t*>(pixels + static_cast<std::ptrdiff_t>(y) * stride);
        for (int x = 0; x < width; ++x) alpha[static_cast<std::size_t>(y) * width + x] = row[x] >> 24;
    }
    blurAlpha(alpha, width, height, shadow.blur);

    cairo_surface_t* tinted = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
    const int tintedStride = cairo_image_surface_get_stride(tinted);
    unsigned char* out = cairo_image_surface_get_data(tinted);
    const double a = unit(shadow.color.alpha);
    const double r = unit(shadow.color.red), g = unit(shadow.color.green), b = unit(shadow.color.blue);
    for (int y = 0; y < height; ++y) {
        auto* row = reinterpret_cast<std::uint32_t*>(out + static_cast<std::ptrdiff_t>(y) * tintedStride);
        for (int x = 0; x < width; ++x) {
            const double coverage = a * alpha[static_cast<std::size_t>(y) * width + x];
            const auto channel = [&](double c) { return static_cast<std::uint32_t>(std::lround(c * coverage)); };
            row[x] = channel(1.0) << 24 | channel(r) << 16 | channel(g) << 8 | channel(b);
        }
    }
    cairo_surface_mark_dirty(tinted);

    cairo_surface_t* composed = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
    cairo_t* cr = cairo_create(composed);
    cairo_set_source_surface(cr, tinted, shadow.dx, shadow.dy);
    cairo_paint(cr);
    cairo_set_source_surface(cr, layer, 0, 0);
    cairo_paint(cr);
    cairo_destroy(cr);
    cairo_surface_destroy(tinted);
    return composed;
}

struct SavedContexts {
    std::shared_ptr<GraphicsContext> current;
    std::vector<std::shared_ptr<GraphicsContext>> stack;
};

SavedContexts& threadContexts() {
    thread_local SavedContexts contexts;
    return contexts;
}

}  // namespace

struct GraphicsContext::State {
    cairo_surface_t* surface = nullptr;
    cairo_t* cr = nullptr;
    // A8 surface of the bitmap's size; drawing is multiplied by it.
    SurfacePointer mask;
    std::optional<DeviceShadow> shadow;
    struct Saved {
        SurfacePointer mask;
        std::optional<DeviceShadow> shadow;
    };
    std::vector<Saved> saved;

    ~State() {
        if (cr) cairo_destroy(cr);
        if (surface) cairo_surface_destroy(surface);
    }
};

namespace detail {

bool userSpaceIsUnflipped(cairo_t* cr) {
    double dx = 0, dy = 1;
    cairo_user_to_device_distance(cr, &dx, &dy);
    return dy < 0;
}

cairo_surface_t* createSurfaceFromImage(const BitmapImage& image) {
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, static_cast<int>(image.width()),
                                                          static_cast<int>(image.height()));
    if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) return surface;
    const int stride = cairo_image_surface_get_stride(surface);
    unsigned char* data = cairo_image_surface_get_data(surface);
    const std::uint8_t* in = image.bytes().data();
    for (std::uint32_t y = 0; y < image.height(); ++y) {
        auto* row = reinterpret_cast<std::uint32_t*>(data + static_cast<std::ptrdiff_t>(y) * stride);
        for (std::uint32_t x = 0; x < image.width(); ++x, in += 4) {
            // Premultiplied colour can never exceed alpha; clamp rather than trust the caller.
            const std::uint32_t a = in[3];
            const std::uint32_t r = std::min<std::uint32_t>(in[0], a);
            const std::uint32_t g = std::min<std::uint32_t>(in[1], a);
            const std::uint32_t b = std::min<std::uint32_t>(in[2], a);
            row[x] = a << 24 | r << 16 | g << 8 | b;
        }
    }
    cairo_surface_mark_dirty(surface);
    return surface;
}

bool transformToImageRect(cairo_t* cr, const BitmapImage& image, Rect rect) {
    const bool up = userSpaceIsUnflipped(cr);
    cairo_matrix_t matrix;
    cairo_get_matrix(cr, &matrix);
    cairo_matrix_translate(&matrix, rect.minX(), up ? rect.maxY() : rect.minY());
    cairo_matrix_scale(&matrix, rect.width() / image.width(), (up ? -1.0 : 1.0) * rect.height() / image.height());
    // A matrix cairo cannot invert would put the context in an error state for good.
    const double determinant = matrix.xx * matrix.yy - matrix.xy * matrix.yx;
    if (!std::isfinite(determinant) || determinant == 0 || !std::isfinite(matrix.x0) || !std::isfinite(matrix.y0)) {
        return false;
    }
    cairo_set_matrix(cr, &matrix);
    return true;
}

}  // namespace detail

void GraphicsContextAccess::paint(GraphicsContext& context, const std::function<void(cairo_t*)>& draw) {
    auto& state = *context.state_;
    if (!state.mask && !state.shadow) {
        cairo_save(state.cr);
        draw(state.cr);
        cairo_restore(state.cr);
        return;
    }
    // cairo can neither clip to a mask nor cast shadows: draw into a layer of
    // the bitmap's size, then composite it.
    cairo_surface_t* layer = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, static_cast<int>(context.width_),
                                                        static_cast<int>(context.height_));
    cairo_t* cr = cairo_create(layer);
    cairo_matrix_t matrix;
    cairo_get_matrix(state.cr, &matrix);
    cairo_set_matrix(cr, &matrix);
    draw(cr);
    cairo_destroy(cr);
    if (state.shadow) {
        cairo_surface_t* composed = withShadow(layer, *state.shadow);
        cairo_surface_destroy(layer);
        layer = composed;
    }
    cairo_save(state.cr);
    cairo_identity_matrix(state.cr);
    cairo_set_source_surface(state.cr, layer, 0, 0);
    if (state.mask) {
        cairo_mask_surface(state.cr, state.mask.get(), 0, 0);
    } else {
        cairo_paint(state.cr);
    }
    cairo_restore(state.cr);
    cairo_surface_destroy(layer);
}

GraphicsContext::GraphicsContext(std::uint32_t width, std::uint32_t height, bool flipped, State* state)
    : width_(width), height_(height), flipped_(flipped), state_(state) {}

GraphicsContext::~GraphicsContext() = default;

std::shared_ptr<GraphicsContext> GraphicsContext::bitmapContext(std::uint32_t width, std::uint32_t height,
                                                                bool flipped) {
    if (width == 0 || height == 0 || width > kMaximumPixelsPerSide || height > kMaximumPixelsPerSide ||
        std::uint64_t{width} * height > kMaximumPixels) {
        return nullptr;
    }
    auto state = std::make_unique<State>();
    state->surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, static_cast<int>(width),
                                                static_cast<int>(height));
    if (cairo_surface_status(state->surface) != CAIRO_STATUS_SUCCESS) return nullptr;
    state->cr = cairo_create(state->surface);
    if (cairo_status(state->cr) != CAIRO_STATUS_SUCCESS) return nullptr;
    if (!flipped) {
        cairo_translate(state->cr, 0, height);
        cairo_scale(state->cr, 1, -1);
    }
    return std::shared_ptr<GraphicsContext>(new GraphicsContext(width, height, flipped, state.release()));
}

BitmapImage GraphicsContext::makeImage() const {
    cairo_surface_flush(state_->surface);
    const int stride = cairo_image_surface_get_stride(state_->surface);
    const unsigned char* data = cairo_image_surface_get_data(state_->surface);
    Data rgba(bytesPerRow() * height_);
    std::uint8_t* out = rgba.data();
    for (std::uint32_t y = 0; y < height_; ++y) {
        const auto* row = reinterpret_cast<const std::uint32_t*>(data + static_cast<std::ptrdiff_t>(y) * stride);
        for (std::uint32_t x = 0; x < width_; ++x, out += 4) {
            const std::uint32_t pixel = row[x];
            out[0] = static_cast<std::uint8_t>(pixel >> 16);
            out[1] = static_cast<std::uint8_t>(pixel >> 8);
            out[2] = static_cast<std::uint8_t>(pixel);
            out[3] = static_cast<std::uint8_t>(pixel >> 24);
        }
    }
    return *BitmapImage::imageWithRGBA(width_, height_, std::move(rgba));
}

std::shared_ptr<GraphicsContext> GraphicsContext::currentContext() { return threadContexts().current; }

void GraphicsContext::setCurrentContext(std::shared_ptr<GraphicsContext> context) {
    threadContexts().current = std::move(context);
}

void GraphicsContext::saveCurrentGraphicsState() {
    auto& contexts = threadContexts();
    contexts.stack.push_back(contexts.current);
    if (contexts.current) contexts.current->saveGraphicsState();
}

void GraphicsContext::restoreCurrentGraphicsState() {
    auto& contexts = threadContexts();
    if (contexts.stack.empty()) return;
    contexts.current = std::move(contexts.stack.back());
    contexts.stack.pop_back();
    if (contexts.current) contexts.current->restoreGraphicsState();
}

void GraphicsContext::saveGraphicsState() {
    cairo_save(state_->cr);
    state_->saved.push_back({state_->mask, state_->shadow});
}

void GraphicsContext::restoreGraphicsState() {
    if (state_->saved.empty()) return;
    cairo_restore(state_->cr);
    state_->mask = std::move(state_->saved.back().mask);
    state_->shadow = state_->saved.back().shadow;
    state_->saved.pop_back();
}

// A scale that leaves cairo's matrix singular (a zero factor, or one so large
// that the determinant overflows) breaks the context for good; such calls are
// ignored.
void GraphicsContext::scaleBy(double sx, double sy) {
    if (!std::isfinite(sx) || !std::isfinite(sy)) return;
    cairo_matrix_t matrix;
    cairo_get_matrix(state_->cr, &matrix);
    cairo_matrix_scale(&matrix, sx, sy);
    const double determinant = matrix.xx * matrix.yy - matrix.xy * matrix.yx;
    if (!std::isfinite(determinant) || determinant == 0) return;
    cairo_scale(state_->cr, sx, sy);
}

void GraphicsContext::translateBy(double dx, double dy) {
    if (!std::isfinite(dx) || !std::isfinite(dy)) return;
    cairo_translate(state_->cr, dx, dy);
}

Size GraphicsContext::convertSizeToDeviceSpace(Size size) const {
    cairo_user_to_device_distance(state_->cr, &size.width, &size.height);
    return size;
}

void GraphicsContext::clipToRect(Rect rect) {
    if (!isFinite(rect)) rect = {};
    cairo_rectangle(state_->cr, rect.minX(), rect.minY(), std::max(rect.width(), 0.0), std::max(rect.height(), 0.0));
    cairo_clip(state_->cr);
}

void GraphicsContext::clipToMask(const BitmapImage& image, Rect rect) {
    cairo_surface_t* mask = cairo_image_surface_create(CAIRO_FORMAT_A8, static_cast<int>(width_),
                                                       static_cast<int>(height_));
    // An empty image or rectangle leaves the mask all zero: nothing is drawn any more.
    if (!image.empty() && isDrawable(rect)) {
        cairo_t* cr = cairo_create(mask);
        cairo_matrix_t matrix;
        cairo_get_matrix(state_->cr, &matrix);
        cairo_set_matrix(cr, &matrix);
        if (!detail::transformToImageRect(cr, image, rect)) {
            cairo_destroy(cr);
            state_->mask = adoptSurface(mask);
            return;
        }
        cairo_surface_t* source = detail::createSurfaceFromImage(image);
        cairo_set_source_surface(cr, source, 0, 0);
        cairo_pattern_set_extend(cairo_get_source(cr), CAIRO_EXTEND_PAD);
        cairo_rectangle(cr, 0, 0, image.width(), image.height());
        cairo_fill(cr);
        cairo_surface_destroy(source);
        if (state_->mask) {
            cairo_identity_matrix(cr);
            cairo_set_operator(cr, CAIRO_OPERATOR_IN);
            cairo_set_source_surface(cr, state_->mask.get(), 0, 0);
            cairo_paint(cr);
        }
        cairo_destroy(cr);
    }
    state_->mask = adoptSurface(mask);
}

void GraphicsContext::setShadow(Size offset, double blurRadius, const Color& color) {
    const double scale = std::abs(deviceScale());
    DeviceShadow shadow;
    shadow.dx = std::isfinite(offset.width) ? offset.width * scale : 0;
    // Positive heights go up on screen; device rows grow downwards.
    shadow.dy = std::isfinite(offset.height) ? -offset.height * scale : 0;
    shadow.blur = std::isfinite(blurRadius) ? std::max(blurRadius, 0.0) * scale : 0;
    shadow.color = {color.redComponent(), color.greenComponent(), color.blueComponent(), color.alphaComponent()};
    state_->shadow = shadow;
}

void GraphicsContext::clearShadow() { state_->shadow.reset(); }

void GraphicsContext::fillRect(Rect rect, const Color& color) {
    if (!isDrawable(rect)) return;
    GraphicsContextAccess::paint(*this, [&](cairo_t* cr) {
        setSourceColor(cr, color);
        cairo_rectangle(cr, rect.minX(), rect.minY(), rect.width(), rect.height());
        cairo_fill(cr);
    });
}

void GraphicsContext::drawImage(const BitmapImage& image, Rect rect) {
    if (image.empty() || !isDrawable(rect)) return;
    cairo_surface_t* source = detail::createSurfaceFromImage(image);
    GraphicsContextAccess::paint(*this, [&](cairo_t* cr) {
        if (!detail::transformToImageRect(cr, image, rect)) return;
        cairo_set_source_surface(cr, source, 0, 0);
        cairo_pattern_set_extend(cairo_get_source(cr), CAIRO_EXTEND_PAD);
        cairo_rectangle(cr, 0, 0, image.width(), image.height());
        cairo_fill(cr);
    });
    cairo_surface_destroy(source);
}

void GraphicsContext::drawLinearGradient(const Gradient& gradient, Rect rect, double angle) {
    if (!isDrawable(rect)) return;
    if (!std::isfinite(angle)) angle = 0;
    // The gradient's line runs through the centre at the angle, just long
    // enough for its ends to touch the rectangle's far corners.
    const double radians = angle * std::numbers::pi / 180.0;
    const double dx = std::cos(radians), dy = std::sin(radians);
    const double half = (std::abs(rect.width() * dx) + std::abs(rect.height() * dy)) / 2;
    const double cx = rect.minX() + rect.width() / 2, cy = rect.minY() + rect.height() / 2;
    cairo_pattern_t* pattern = cairo_pattern_create_linear(cx - dx * half, cy - dy * half, cx + dx * half,
                                                           cy + dy * half);
    for (const GradientStop& stop : gradient.stops()) {
        cairo_pattern_add_color_stop_rgba(pattern, unit(stop.location), unit(stop.color.redComponent()),
                                          unit(stop.color.greenComponent()), unit(stop.color.blueComponent()),
                                          unit(stop.color.alphaComponent()));
    }
    cairo_pattern_set_extend(pattern, CAIRO_EXTEND_PAD);
    GraphicsContextAccess::paint(*this, [&](cairo_t* cr) {
        cairo_set_source(cr, pattern);
        cairo_rectangle(cr, rect.minX(), rect.minY(), rect.width(), rect.height());
        cairo_fill(cr);
    });
    cairo_pattern_destroy(pattern);
}

}  // namespace kq
