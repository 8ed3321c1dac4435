#include "KQFoundation/NSMutableAttributedString+KQFoundation.h"

#include <algorithm>

#include "Foundation/UnicodeText.h"

namespace kq {

namespace {

// UTF-16 length of a byte prefix of well-formed text.
std::uint64_t unitsBefore(const std::string& text, std::size_t byteOffset) {
    return lengthInUTF16Units(std::string_view(text).substr(0, byteOffset));
}

}  // namespace

void MutableAttributedString::setFontSize(double pointSize) {
    // Each run's font depends only on its own, so the runs are changed in one
    // pass; a range edit per run would copy all runs once per run.
    FontManager& manager = FontManager::sharedFontManager();
    std::vector<Run> newRuns = runs_;
    for (Run& run : newRuns) {
        const Font* font = run.attributes.font();
        run.attributes.setObject(font ? manager.convertFont(*font, pointSize) : manager.systemFontOfSize(pointSize),
                                 NSFontAttributeName);
    }
    runs_ = std::move(newRuns);
    coalesce();
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
        // Does what calling unfoldTag until the tag is gone does, adding the
        // attributes to each span, but on plain bytes: a long text with
        // thousands of tags must not be decoded and copied once per tag.
        const std::string name = AttributedString(tag).string();
        const std::string opening = "<" + name + ">";
        const std::string closing = "</" + name + ">";
        if (text_.find(opening) == std::string::npos) continue;

        // Per byte: the number of its run, with the top bit set once a span covers it.
        constexpr std::uint32_t kStyled = 0x80000000u;
        std::string text = text_;
        std::vector<std::uint32_t> marks(text.size());
        std::uint32_t number = 0;
        for (const AttributedTextRun& run : runs()) {
            std::fill_n(marks.begin() + static_cast<std::ptrdiff_t>(run.byteOffset), run.byteLength, number++);
        }
        const auto erase = [&](std::size_t at, std::size_t count) {
            text.erase(at, count);
            const auto first = marks.begin() + static_cast<std::ptrdiff_t>(at);
            marks.erase(first, first + static_cast<std::ptrdiff_t>(count));
        };
        std::size_t from = 0;
        for (std::size_t open = text.find(opening); open != std::string::npos; open = text.find(opening, from)) {
            const std::size_t inner = open + opening.size();
            std::size_t close = text.find(closing, inner);
            const std::size_t closeLength = close == std::string::npos ? 0 : closing.size();
            if (close == std::string::npos) close = text.size();
            for (std::size_t i = inner; i < close; ++i) marks[i] |= kStyled;
            erase(close, closeLength);
            erase(open, opening.size());
            // The text before the removed tag is as it was and held no opening
            // tag, so the next one starts at most a tag's length before it.
            from = open - std::min(open, opening.size() - 1);
        }

        std::vector<Run> newRuns;
        std::uint64_t length = 0;
        for (std::size_t start = 0, end = 0; start < text.size(); start = end) {
            while (end < text.size() && marks[end] == marks[start]) ++end;
            Run run{lengthInUTF16Units(std::string_view(text).substr(start, end - start)),
                    runs_[marks[start] & ~kStyled].attributes};
            if (marks[start] & kStyled) run.attributes.addEntriesFromAttributes(attributes);
            length += run.length;
            newRuns.push_back(std::move(run));
        }
        text_ = std::move(text);
        runs_ = std::move(newRuns);
        length_ = length;
        coalesce();
    }
}

void MutableAttributedString::unfoldTagsWithAttributed(const std::vector<std::pair<std::string, Attributes>>& tags) {
    unfoldTagsWithAttributes(tags);
}

}  // namespace kq
