// Attributed strings laid out and drawn with pango.
#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Graphics/GraphicsContextPrivate.h"
#include "KQFoundation/Graphics/AttributedString.h"

namespace kq {

namespace {

// The platform's default for text without a font.
constexpr double kDefaultFontSize = 12;
constexpr double kMaximumFontSize = 4096;

struct GObjectDeleter {
    void operator()(gpointer object) const { g_object_unref(object); }
};
using ContextPointer = std::unique_ptr<PangoContext, GObjectDeleter>;
using LayoutPointer = std::unique_ptr<PangoLayout, GObjectDeleter>;

std::uint16_t channel16(double value) {
    value = std::isnan(value) ? 0.0 : std::clamp(value, 0.0, 1.0);
    return static_cast<std::uint16_t>(std::lround(value * 65535));
}

// Points are pixels at scale 1, and the layout must not depend on the scale
// it is drawn at (the mask and the measured size have to agree), so metrics
// are neither hinted nor rounded.
ContextPointer createPangoContext() {
    ContextPointer context(pango_font_map_create_context(pango_cairo_font_map_get_default()));
    pango_cairo_context_set_resolution(context.get(), 72);
    cairo_font_options_t* options = cairo_font_options_create();
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
    pango_cairo_context_set_font_options(context.get(), options);
    cairo_font_options_destroy(options);
    pango_context_set_round_glyph_positions(context.get(), FALSE);
    return context;
}

PangoFontDescription* fontDescription(const Font* font) {
    const FontManager& manager = FontManager::sharedFontManager();
    PangoFontDescription* description = pango_font_description_new();
    double size = font ? font->pointSize : kDefaultFontSize;
    if (!std::isfinite(size) || size <= 0) size = kDefaultFontSize;
    size = std::min(size, kMaximumFontSize);
    // An unknown family is left to fontconfig, which falls back to a font it has.
    const std::string& family = font && !font->family.empty() ? font->family : manager.systemFontFamily();
    pango_font_description_set_family(description, family.c_str());
    pango_font_description_set_absolute_size(description, size * PANGO_SCALE);
    if (font) {
        pango_font_description_set_weight(description, static_cast<PangoWeight>(std::clamp(font->weight, 100, 1000)));
        pango_font_description_set_style(description, font->italic ? PANGO_STYLE_ITALIC : PANGO_STYLE_NORMAL);
    }
    return description;
}

// pango takes time that grows with the square of the number of paragraphs
// in one layout; longer texts are laid out in pieces of this many.
constexpr std::size_t kParagraphsPerLayout = 256;

// The bytes [from, to) of `plain` with the runs' attributes.
LayoutPointer createLayout(PangoContext* context, const std::string& plain,
                           const std::vector<AttributedTextRun>& runs, std::size_t from, std::size_t to) {
    LayoutPointer layout(pango_layout_new(context));
    pango_layout_set_text(layout.get(), plain.data() + from, static_cast<int>(to - from));
    PangoAttrList* list = pango_attr_list_new();
    // The runs are in order: start at the first that ends past `from`.
    auto run = std::partition_point(runs.begin(), runs.end(), [from](const AttributedTextRun& candidate) {
        return candidate.byteOffset + candidate.byteLength <= from;
    });
    for (; run != runs.end() && run->byteOffset < to; ++run) {
        const std::size_t first = std::max(run->byteOffset, from);
        const std::size_t last = std::min(run->byteOffset + run->byteLength, to);
        auto insert = [&](PangoAttribute* attribute) {
            attribute->start_index = static_cast<guint>(first - from);
            attribute->end_index = static_cast<guint>(last - from);
            pango_attr_list_insert(list, attribute);
        };
        PangoFontDescription* description = fontDescription(run->attributes->font());
        insert(pango_attr_font_desc_new(description));
        pango_font_description_free(description);
        if (const Color* color = run->attributes->foregroundColor()) {
            insert(pango_attr_foreground_new(channel16(color->redComponent()), channel16(color->greenComponent()),
                                             channel16(color->blueComponent())));
            // pango takes 0 as "unset"; the faintest alpha it has is close enough.
            insert(pango_attr_foreground_alpha_new(std::max<std::uint16_t>(channel16(color->alphaComponent()), 1)));
        }
    }
    pango_layout_set_attributes(layout.get(), list);
    pango_attr_list_unref(list);
    return layout;
}

// The text's layouts, top to bottom; a piece ends before a paragraph
// separator, which belongs to neither piece.
std::vector<LayoutPointer> createLayouts(PangoContext* context, const AttributedString& text) {
    // pango refuses NUL bytes as invalid UTF-8; a space keeps the byte offsets.
    std::string plain = text.string();
    std::replace(plain.begin(), plain.end(), '\0', ' ');
    const std::vector<AttributedTextRun> runs = text.runs();
    std::vector<LayoutPointer> layouts;
    std::size_t from = 0, paragraphs = 0;
    for (std::size_t i = 0; i < plain.size();) {
        std::size_t separator = 0;
        if (plain[i] == '\n') {
            separator = 1;
        } else if (plain[i] == '\r') {
            separator = i + 1 < plain.size() && plain[i + 1] == '\n' ? 2 : 1;
        } else if (plain.compare(i, 3, "\xE2\x80\xA9") == 0) {
            separator = 3;
        }
        if (separator == 0) {
            ++i;
            continue;
        }
        if (++paragraphs % kParagraphsPerLayout == 0 && i + separator < plain.size()) {
            layouts.push_back(createLayout(context, plain, runs, from, i));
            from = i + separator;
        }
        i += separator;
    }
    layouts.push_back(createLayout(context, plain, runs, from, plain.size()));
    return layouts;
}

// Width and height in pango units. pango's layout extents are ints that wrap
// past about two million points, so the glyph widths and line heights are
// summed here in 64 bits.
struct Extent {
    std::int64_t width = 0, height = 0;
};

Extent extentOf(PangoLayout* layout) {
    Extent extent;
    for (GSList* item = pango_layout_get_lines_readonly(layout); item; item = item->next) {
        auto* line = static_cast<PangoLayoutLine*>(item->data);
        std::int64_t lineWidth = 0;
        for (GSList* runItem = line->runs; runItem; runItem = runItem->next) {
            const PangoGlyphString* glyphs = static_cast<PangoGlyphItem*>(runItem->data)->glyphs;
            for (int i = 0; i < glyphs->num_glyphs; ++i) lineWidth += glyphs->glyphs[i].geometry.width;
        }
        PangoRectangle logical;
        pango_layout_line_get_extents(line, nullptr, &logical);
        extent.width = std::max(extent.width, lineWidth);
        extent.height += logical.height;
    }
    return extent;
}

// A shadow over the whole text is the text's shadow; partial ones are not drawn.
const Shadow* wholeTextShadow(const AttributedString& text) {
    if (text.length() == 0) return nullptr;
    Range run;
    const AttributeValue* value = text.attribute(NSShadowAttributeName, 0, &run);
    const Shadow* shadow = value ? std::get_if<Shadow>(value) : nullptr;
    return shadow && run.location == 0 && run.length == text.length() ? shadow : nullptr;
}

}  // namespace

Size AttributedString::size() const {
    if (text_.empty()) return {};
    ContextPointer context = createPangoContext();
    Extent total;
    for (const LayoutPointer& layout : createLayouts(context.get(), *this)) {
        const Extent piece = extentOf(layout.get());
        total.width = std::max(total.width, piece.width);
        total.height += piece.height;
    }
    return {static_cast<double>(total.width) / PANGO_SCALE, static_cast<double>(total.height) / PANGO_SCALE};
}

void AttributedString::drawInRect(Rect rect) const {
    if (auto context = GraphicsContext::currentContext()) context->drawAttributedString(*this, rect);
}

void GraphicsContext::drawAttributedString(const AttributedString& text, Rect rect) {
    if (text.string().empty() || !std::isfinite(rect.origin.x) || !std::isfinite(rect.origin.y) ||
        !(rect.width() > 0) || !(rect.height() > 0) || !std::isfinite(rect.width()) ||
        !std::isfinite(rect.height())) {
        return;
    }
    const Shadow* shadow = wholeTextShadow(text);
    if (shadow) {
        saveGraphicsState();
        setShadow(shadow->shadowOffset, shadow->shadowBlurRadius, shadow->shadowColor);
    }
    ContextPointer pango = createPangoContext();
    const std::vector<LayoutPointer> layouts = createLayouts(pango.get(), text);
    GraphicsContextAccess::paint(*this, [&](cairo_t* cr) {
        // Lines are not wrapped, so what passes the right edge is cut off;
        // a line taller than the rectangle is still drawn whole.
        constexpr double kBeyond = 1e5;
        cairo_rectangle(cr, rect.minX(), rect.minY() - kBeyond, rect.width(), rect.height() + 2 * kBeyond);
        cairo_clip(cr);
        // Text runs down from the rectangle's top whatever the flippedness.
        const bool up = detail::userSpaceIsUnflipped(cr);
        cairo_translate(cr, rect.minX(), up ? rect.maxY() : rect.minY());
        if (up) cairo_scale(cr, 1, -1);
        cairo_set_source_rgb(cr, 0, 0, 0);
        pango_cairo_update_context(cr, pango.get());
        double top = 0;
        for (const LayoutPointer& layout : layouts) {
            if (top > rect.height() + kBeyond) break;  // nothing below can show
            pango_layout_context_changed(layout.get());
            cairo_move_to(cr, 0, top);
            pango_cairo_show_layout(cr, layout.get());
            top += static_cast<double>(extentOf(layout.get()).height) / PANGO_SCALE;
        }
    });
    if (shadow) restoreGraphicsState();
}

}  // namespace kq
