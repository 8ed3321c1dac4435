// kqu render-text TEXT --width W --height H -o OUT.png: tagged text drawn as
// gradient text (or, with --mask, as its text mask) into an RGBA PNG of
// (W * scale) x (H * scale) pixels.
#include <pango/pango.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Command.h"
#include "KQFoundation/NSAttributedString+KQFoundation.h"
#include "KQFoundation/NSColor+KQFoundation.h"
#include "KQFoundation/NSMutableAttributedString+KQFoundation.h"

namespace {

struct RenderTextOptions {
    std::string text;
    double width = 0;
    double height = 0;
    double scale = 1;
    std::string font = "Sans 24";
    std::string gradient = "#4a4a4a,#000000";
    std::vector<std::string> tags;
    bool fade = false;
    bool shadow = false;
    bool mask = false;
    std::string output;
};

[[noreturn]] void fail(const std::string& message) { throw kqu::CommandFailure{kqu::kExitInputFailure, message}; }

// "#RRGGBB" or "#RRGGBBAA"; the "#" may be left out.
kq::Color parseColor(const std::string& given) {
    std::string text = given;
    if (!text.empty() && text.front() == '#') text.erase(0, 1);
    const bool hex = !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) {
        return std::isxdigit(c) != 0;
    });
    if (!hex || (text.size() != 6 && text.size() != 8)) fail("malformed colour '" + given + "' (expected #RRGGBB or #RRGGBBAA)");
    return kq::Color::colorWithHexString(text);
}

kq::Gradient parseGradient(const std::string& text) {
    std::vector<kq::Color> colors;
    std::size_t start = 0;
    while (true) {
        const std::size_t comma = text.find(',', start);
        colors.push_back(parseColor(text.substr(start, comma - start)));
        if (comma == std::string::npos) break;
        start = comma + 1;
    }
    if (colors.size() == 1) colors.push_back(colors.front());
    return *kq::Gradient::create(colors);
}

// A pango font description ("Sans 24", "DejaVu Serif Bold Italic 18"); the
// size defaults to 24 points.
kq::Font parseFont(const std::string& text) {
    PangoFontDescription* description = pango_font_description_from_string(text.c_str());
    kq::Font font;
    const char* family = pango_font_description_get_family(description);
    font.family = family ? family : "";
    const int size = pango_font_description_get_size(description);
    font.pointSize = size > 0 ? static_cast<double>(size) / PANGO_SCALE : 24;
    font.weight = pango_font_description_get_weight(description);
    font.italic = pango_font_description_get_style(description) != PANGO_STYLE_NORMAL;
    pango_font_description_free(description);
    if (font.family.empty()) font.family = kq::FontManager::sharedFontManager().systemFontFamily();
    return font;
}

std::vector<std::pair<std::string, kq::Attributes>> parseTags(const std::vector<std::string>& tags) {
    std::vector<std::pair<std::string, kq::Attributes>> result;
    for (const std::string& tag : tags) {
        const std::size_t equals = tag.find('=');
        if (equals == 0 || equals == std::string::npos) fail("malformed tag '" + tag + "' (expected NAME=#RRGGBB)");
        kq::Attributes attributes;
        attributes.setObject(parseColor(tag.substr(equals + 1)), kq::NSForegroundColorAttributeName);
        result.emplace_back(tag.substr(0, equals), std::move(attributes));
    }
    return result;
}

// Truncated; anything past the limits counts as one more than the largest side.
std::uint64_t pixels(double points, double scale) {
    const double value = points * scale;
    const auto beyond = kq::GraphicsContext::kMaximumPixelsPerSide + 1;
    return value < beyond ? static_cast<std::uint64_t>(value) : beyond;
}

int runRenderText(const RenderTextOptions& options) {
    for (double value : {options.width, options.height, options.scale}) {
        if (!std::isfinite(value) || value <= 0) fail("--width, --height and --scale must be positive numbers");
    }
    const std::uint64_t wide = pixels(options.width, options.scale), high = pixels(options.height, options.scale);
    char size[96];
    std::snprintf(size, sizeof size, "%gx%g points at scale %g", options.width, options.height, options.scale);
    if (wide == 0 || high == 0 || wide > kq::GraphicsContext::kMaximumPixelsPerSide ||
        high > kq::GraphicsContext::kMaximumPixelsPerSide || wide * high > kq::GraphicsContext::kMaximumPixels) {
        fail(std::string("cannot render ") + size + ": no pixels, or more than " +
             std::to_string(kq::GraphicsContext::kMaximumPixelsPerSide) + " a side or " +
             std::to_string(kq::GraphicsContext::kMaximumPixels) + " in all");
    }
    const kq::Gradient gradient = parseGradient(options.gradient);
    const auto tags = parseTags(options.tags);

    kq::MutableAttributedString text(options.text);
    text.setAttribute(kq::NSFontAttributeName, parseFont(options.font));
    text.unfoldTagsWithAttributes(tags);
    if (options.shadow) {
        text.setAttribute(kq::NSShadowAttributeName,
                          kq::Shadow{{2, -2}, 3, kq::Color::colorWithCalibratedRed(0, 0, 0, 0.6)});
    }

    // A flipped context: the PNG's first row is the top of the text.
    const auto context = kq::GraphicsContext::bitmapContext(static_cast<std::uint32_t>(wide),
                                                            static_cast<std::uint32_t>(high), true);
    if (!context) fail(std::string("cannot render ") + size);
    context->scaleBy(options.scale, options.scale);
    kq::GraphicsContext::setCurrentContext(context);
    const kq::Rect rect{{0, 0}, {options.width, options.height}};
    std::optional<kq::BitmapImage> image;
    if (options.mask) {
        image = KQCreateTextMask(text, rect, options.scale);
    } else {
        text.drawInRect(rect, gradient, 90, options.fade);
        image = context->makeImage();
    }
    kq::GraphicsContext::setCurrentContext(nullptr);
    if (!image) fail(std::string("cannot render ") + size);

    std::error_code error;
    if (!image->writePNGToFile(options.output, &error)) fail(options.output + ": " + error.message());
    std::printf("%s: %ux%u pixels\n", options.output.c_str(), image->width(), image->height());
    return kqu::kExitSuccess;
}

const kqu::CommandRegistration registration{{
    "render-text",
    "Draw tagged text filled with a gradient into an RGBA PNG",
    [](CLI::App& app) -> std::function<int()> {
        auto options = std::make_shared<RenderTextOptions>();
        app.add_option("TEXT", options->text, "The text; <NAME>...</NAME> tags take colours from --tags")
            ->required();
        app.add_option("--width", options->width, "Width in points")->required();
        app.add_option("--height", options->height, "Height in points")->required();
        app.add_option("--scale", options->scale, "Pixels per point (default 1)");
        app.add_option("--font", options->font, "Pango font description (default \"Sans 24\")");
        app.add_option("--gradient", options->gradient,
                       "Colours from top to bottom, #RRGGBB[AA] separated by commas (default #4a4a4a,#000000)");
        app.add_option("--tags", options->tags, "NAME=#RRGGBB[AA]: colour of the text inside <NAME>...</NAME>")
            ->allow_extra_args(false);
        app.add_flag("--fade", options->fade, "Fade text that is wider than the box out towards its right end");
        app.add_flag("--shadow", options->shadow, "Cast a soft shadow below the text");
        app.add_flag("--mask", options->mask, "Write the text mask (alpha = coverage) instead of gradient text");
        app.add_option("-o,--output", options->output, "PNG file to write")->required();
        app.footer("The text is centred vertically and starts at the left edge. Tag colours show in --mask;\n"
                   "gradient text takes only the glyphs' coverage from them. Sizes beyond 16384 pixels a side\n"
                   "or 67108864 pixels in all, zero sizes and malformed colours end with status 2.");
        return [options] { return runRenderText(*options); };
    },
}};

}  // namespace
