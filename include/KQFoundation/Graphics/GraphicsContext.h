#pragma once
// kq::GraphicsContext: drawing into a bitmap with cairo (the platform's
// graphics context and its bitmap context in one).
//
// A flipped context has its origin at the top left with y growing down, as
// cairo draws; an unflipped one has the platform's default origin at the
// bottom left with y growing up. Images and text always come out upright.
// Each thread has its own current context and a stack of saved ones.
#include <cstdint>
#include <memory>
#include <optional>

#include "KQFoundation/Export.h"
#include "KQFoundation/Graphics/BitmapImage.h"
#include "KQFoundation/Graphics/Color.h"
#include "KQFoundation/Graphics/Geometry.h"
#include "KQFoundation/Graphics/Gradient.h"

namespace kq {

class AttributedString;

class KQ_EXPORT GraphicsContext {
public:
    /// Bitmaps larger than this are refused rather than allocated.
    static constexpr std::uint32_t kMaximumPixelsPerSide = 16384;
    static constexpr std::uint64_t kMaximumPixels = std::uint64_t{1} << 26;  // 256 MiB of pixels

    /// A context on a new transparent bitmap of width x height pixels;
    /// nullptr when either side is 0 or the bitmap passes the limits above.
    static std::shared_ptr<GraphicsContext> bitmapContext(std::uint32_t width, std::uint32_t height,
                                                          bool flipped);

    ~GraphicsContext();
    GraphicsContext(const GraphicsContext&) = delete;
    GraphicsContext& operator=(const GraphicsContext&) = delete;

    bool isFlipped() const { return flipped_; }
    std::uint32_t pixelsWide() const { return width_; }
    std::uint32_t pixelsHigh() const { return height_; }
    std::size_t bytesPerRow() const { return std::size_t{width_} * 4; }
    /// A copy of the pixels as they are now (RGBA, premultiplied, alpha last).
    BitmapImage makeImage() const;

    // The calling thread's current context (nullptr when none) and its stack.
    static std::shared_ptr<GraphicsContext> currentContext();
    static void setCurrentContext(std::shared_ptr<GraphicsContext> context);
    /// Pushes the current context and saves its state.
    static void saveCurrentGraphicsState();
    /// Pops the context saved last, makes it current again and restores its
    /// state; does nothing when nothing was saved.
    static void restoreCurrentGraphicsState();

    /// Transform, clip and shadow; an unbalanced restore is ignored.
    void saveGraphicsState();
    void restoreGraphicsState();

    void scaleBy(double sx, double sy);
    void translateBy(double dx, double dy);
    Size convertSizeToDeviceSpace(Size size) const;
    /// Pixels per point: the device width of a 1 x 1 size.
    double deviceScale() const { return convertSizeToDeviceSpace({1, 1}).width; }

    void clipToRect(Rect rect);
    /// Later drawing is masked by the image's alpha, stretched over `rect`;
    /// nothing outside `rect` is drawn any more. Masks intersect.
    void clipToMask(const BitmapImage& mask, Rect rect);

    /// Later drawing casts a shadow: offset in points (positive height is up
    /// whatever the flippedness), blur radius in points.
    void setShadow(Size offset, double blurRadius, const Color& color);
    void clearShadow();

    void fillRect(Rect rect, const Color& color);
    /// The image stretched over `rect`, upright.
    void drawImage(const BitmapImage& image, Rect rect);
    /// Fills `rect` with the gradient at `angle` degrees: 0 runs left to
    /// right, 90 along increasing y (bottom to top unflipped, top to bottom
    /// flipped). The end colours extend to the rectangle's corners.
    void drawLinearGradient(const Gradient& gradient, Rect rect, double angle);
    /// The text laid out from the top left of `rect`, one line per paragraph
    /// (no wrapping), cut off at the rectangle's left and right edges.
    void drawAttributedString(const AttributedString& text, Rect rect);

private:
    struct State;
    friend struct GraphicsContextAccess;
    GraphicsContext(std::uint32_t width, std::uint32_t height, bool flipped, State* state);

    std::uint32_t width_;
    std::uint32_t height_;
    bool flipped_;
    std::unique_ptr<State> state_;
};

}  // namespace kq
