#include "KQFoundation/NSMutableAttributedString+KQFoundation.h"

#include "Foundation/UnicodeText.h"

namespace kq {

namespace {

// UTF-16 length of a byte prefix of well-formed text.
std::uint64_t unitsBefore(const std::string& text, std::size_t byteOffset) {
    return lengthInUTF16Units(std::string_view(text).substr(0, byteOffset));
}

}  // namespace

void MutableAttributedString::setFontSize(double pointSize) {
    std::vector<std::pair<Range, Font>> changes;
    FontManager& manager = FontManager::sharedFontManager();
    enumerateAttribute(NSFontAttributeName, Range{0, length()},
                       [&](const AttributeValue* value, Range range, bool&) {
                           const Font* font = value ? std::get_if<Font>(value) : nullptr;
                           changes.emplace_back(range, font ? manager.convertFont(*font, pointSize)
                                                            : manager.systemFontOfSize(pointSize));
                       });
    for (const auto& [range, font] : changes) addAttribute(NSFontAttributeName, font, range);
}

void MutableAttributedString::setAttribute(std::string_view name, AttributeValue value) {
    addAttribute(name, std::move(value), Range{0, length()});
}

void MutableAttributedString::removeAttribute(std::string_view name) {
    removeAttribute(name, Range{0, length()});
}

void MutableAttributedString::setColor(const Color& color) { setAttribute(NSForegroundColorAttributeName, color); }

void MutableAttributedString::replaceString(std::string_view text, const AttributedString& attributedText) {
    // Searching the UTF-8 bytes finds what a literal UTF-16 search finds: a
    // well-formed needle only matches on character boundaries.
    const AttributedString needle(text);
    if (needle.length() == 0) return;
    const std::size_t found = string().find(needle.string());
    if (found == std::string::npos) return;
    const std::uint64_t location = unitsBefore(string(), found);
    replaceCharactersInRange(Range{location, needle.length()}, attributedText);
}

Range MutableAttributedString::unfoldTag(std::string_view tag) {
    const std::string name = AttributedString(tag).string();
    const std::string opening = "<" + name + ">";
    const std::string closing = "</" + name + ">";
    const std::size_t openingByte = string().find(opening);
    if (openingByte == std::string::npos) return Range{Range::NotFound, 0};
    const std::size_t openingEndByte = openingByte + opening.size();
    std::size_t closingByte = string().find(closing, openingEndByte);
    std::uint64_t closingLength = lengthInUTF16Units(closing);
    if (closingByte == std::string::npos) {
        closingByte = string().size();
        closingLength = 0;
    }
    const std::uint64_t openingLocation = unitsBefore(string(), openingByte);
    const std::uint64_t openingEnd = unitsBefore(string(), openingEndByte);
    const std::uint64_t closingLocation = unitsBefore(string(), closingByte);
    // The closing tag goes first so that the opening tag's position stays valid.
    deleteCharactersInRange(Range{closingLocation, closingLength});
    deleteCharactersInRange(Range{openingLocation, openingEnd - openingLocation});
    return Range{openingLocation, closingLocation - openingEnd};
}

void MutableAttributedString::unfoldTagsWithAttributes(const std::vector<std::pair<std::string, Attributes>>& tags) {
    for (const auto& [tag, attributes] : tags) {
        // Each round removes at least the opening tag, so this ends.
        for (Range range = unfoldTag(tag); range.location != Range::NotFound; range = unfoldTag(tag)) {
            addAttributes(attributes, range);
        }
    }
}

void MutableAttributedString::unfoldTagsWithAttributed(const std::vector<std::pair<std::string, Attributes>>& tags) {
    unfoldTagsWithAttributes(tags);
}

}  // namespace kq
