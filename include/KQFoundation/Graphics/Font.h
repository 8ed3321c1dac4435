#pragma once
// kq::Font and kq::FontManager: a font as a description (family, size,
// weight, slant) that pango resolves when text is laid out, and the shared
// manager that converts fonts and knows the system font.
#include <string>
#include <string_view>

#include "KQFoundation/Export.h"

namespace kq {

struct KQ_EXPORT Font {
    static constexpr int kNormalWeight = 400;
    static constexpr int kBoldWeight = 700;

    std::string family;
    double pointSize = 12;
    int weight = kNormalWeight;  // CSS/pango weights, 100..1000
    bool italic = false;

    bool isBold() const { return weight >= kBoldWeight; }

    /// A pango font description string: "DejaVu Sans 24", "DejaVu Sans Bold
    /// Italic 10.5". Standard weights get their names; others are left out.
    /// A family that pango could misread (one ending in a number or a style
    /// word) gets a trailing comma, which pango takes as the family's end.
    std::string description() const;

    friend bool operator==(const Font&, const Font&) = default;
};

class KQ_EXPORT FontManager {
public:
    /// The process-wide manager.
    static FontManager& sharedFontManager();

    /// The font with the new size; everything else kept.
    Font convertFont(const Font& font, double toSize) const;
    /// The system font of the given size: fontconfig's default sans-serif
    /// family ("Sans" when fontconfig finds none).
    Font systemFontOfSize(double size) const;
    Font boldSystemFontOfSize(double size) const;
    /// The family systemFontOfSize uses, looked up once.
    const std::string& systemFontFamily() const;

private:
    FontManager() = default;
};

}  // namespace kq
