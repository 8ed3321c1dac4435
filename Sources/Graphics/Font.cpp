#include "KQFoundation/Graphics/Font.h"

#include <fontconfig/fontconfig.h>

#include <array>
#include <memory>
#include <strings.h>

#include "Graphics/NumberText.h"

namespace kq {

namespace {

using detail::shortestNumberText;

const char* weightName(int weight) {
    switch (weight) {
        case 100: return "Thin";
        case 200: return "Ultra-Light";
        case 300: return "Light";
        case 500: return "Medium";
        case 600: return "Semi-Bold";
        case 700: return "Bold";
        case 800: return "Ultra-Bold";
        case 900: return "Heavy";
        default: return nullptr;
    }
}

// Words pango reads as style or size rather than as part of a family when
// they end the description.
bool pangoCouldMisread(std::string_view lastWord) {
    if (lastWord.empty()) return false;
    if (lastWord.find_first_not_of("0123456789.,px") == std::string_view::npos) return true;
    static constexpr std::array<std::string_view, 40> kStyleWords = {
        "Normal", "Roman", "Regular", "Oblique", "Italic", "Small-Caps", "All-Small-Caps", "Petite-Caps",
        "All-Petite-Caps", "Unicase", "Title-Caps", "Thin", "Ultra-Light", "Extra-Light", "Light",
        "Semi-Light", "Demi-Light", "Book", "Medium", "Semi-Bold", "Demi-Bold", "Bold", "Ultra-Bold",
        "Extra-Bold", "Heavy", "Black", "Ultra-Black", "Extra-Black", "Ultra-Heavy", "Ultra-Condensed",
        "Extra-Condensed", "Condensed", "Semi-Condensed", "Semi-Expanded", "Expanded", "Extra-Expanded",
        "Ultra-Expanded", "Hairline", "Not-Rotated", "Upside-Down"};
    const std::string word(lastWord);
    for (std::string_view style : kStyleWords) {
        if (style.size() == word.size() && strncasecmp(style.data(), word.c_str(), word.size()) == 0) return true;
    }
    // Variations ("@wght=...") and gravities are also taken from the end.
    return word.front() == '@' || strcasecmp(word.c_str(), "South") == 0 || strcasecmp(word.c_str(), "North") == 0 ||
           strcasecmp(word.c_str(), "East") == 0 || strcasecmp(word.c_str(), "West") == 0 ||
           strcasecmp(word.c_str(), "Rotated-Left") == 0 || strcasecmp(word.c_str(), "Rotated-Right") == 0;
}

std::string defaultSansSerifFamily() {
    struct PatternDeleter {
        void operator()(FcPattern* pattern) const { FcPatternDestroy(pattern); }
    };
    std::unique_ptr<FcPattern, PatternDeleter> pattern(FcPatternCreate());
    if (!pattern) return "Sans";
    FcPatternAddString(pattern.get(), FC_FAMILY, reinterpret_cast<const FcChar8*>("sans-serif"));
    FcConfigSubstitute(nullptr, pattern.get(), FcMatchPattern);
    FcDefaultSubstitute(pattern.get());
    FcResult result = FcResultNoMatch;
    std::unique_ptr<FcPattern, PatternDeleter> match(FcFontMatch(nullptr, pattern.get(), &result));
    FcChar8* family = nullptr;
    if (!match || FcPatternGetString(match.get(), FC_FAMILY, 0, &family) != FcResultMatch || !family ||
        !*family) {
        return "Sans";
    }
    return reinterpret_cast<const char*>(family);
}

}  // namespace

std::string Font::description() const {
    std::string text = family;
    const std::size_t lastSpace = text.find_last_of(' ');
    const std::string_view lastWord =
        lastSpace == std::string::npos ? std::string_view(text) : std::string_view(text).substr(lastSpace + 1);
    if (pangoCouldMisread(lastWord)) text += ',';
    if (const char* name = weightName(weight)) text += std::string(text.empty() ? "" : " ") + name;
    if (italic) text += text.empty() ? "Italic" : " Italic";
    if (!text.empty()) text += ' ';
    return text + shortestNumberText(pointSize);
}

FontManager& FontManager::sharedFontManager() {
    static FontManager manager;
    return manager;
}

Font FontManager::convertFont(const Font& font, double toSize) const {
    Font converted = font;
    converted.pointSize = toSize;
    return converted;
}

const std::string& FontManager::systemFontFamily() const {
    static const std::string family = defaultSansSerifFamily();
    return family;
}

Font FontManager::systemFontOfSize(double size) const { return Font{systemFontFamily(), size}; }

Font FontManager::boldSystemFontOfSize(double size) const {
    return Font{systemFontFamily(), size, Font::kBoldWeight};
}

}  // namespace kq
