#pragma once
// kq::AttributedString and kq::MutableAttributedString: UTF-8 text with
// attribute runs (the platform's NSAttributedString/NSMutableAttributedString).
//
// Lengths, indexes and ranges count UTF-16 units, as the platform does; the
// text itself is kept as UTF-8 (malformed bytes become U+FFFD on the way in).
// A range or index past the end, or one that would cut a surrogate pair in
// two, throws kq::RangeException before anything changes, as the platform
// raises NSRangeException. Runs are always coalesced: no empty runs, no two
// neighbours with equal attributes.
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Value.h"
#include "KQFoundation/Graphics/Color.h"
#include "KQFoundation/Graphics/Font.h"
#include "KQFoundation/Graphics/Shadow.h"

namespace kq {

/// The platform's NSRange: a location and a length in UTF-16 units.
struct KQ_EXPORT Range {
    /// The platform's not-found location, the largest signed 64-bit value.
    static constexpr std::uint64_t NotFound = INT64_MAX;

    std::uint64_t location = 0;
    std::uint64_t length = 0;

    std::uint64_t end() const { return location + length; }
    friend bool operator==(const Range&, const Range&) = default;
};

/// Attribute names as the platform spells them.
inline constexpr std::string_view NSFontAttributeName = "NSFont";
inline constexpr std::string_view NSForegroundColorAttributeName = "NSColor";
inline constexpr std::string_view NSShadowAttributeName = "NSShadow";

/// One attribute's value: the typed values the drawing side understands, or
/// any property-list value for the rest.
using AttributeValue = std::variant<Font, Color, Shadow, Value>;

/// The attributes of a run (the platform's attribute dictionary), ordered by
/// name so that equal sets compare equal.
class KQ_EXPORT Attributes {
public:
    Attributes() = default;
    /// {{NSForegroundColorAttributeName, color}, {"tag", kq::Value(1)}}; a
    /// repeated name keeps its last value.
    Attributes(std::initializer_list<std::pair<std::string_view, AttributeValue>> values) {
        for (const auto& [name, value] : values) setObject(value, name);
    }

    bool empty() const { return values_.empty(); }
    std::size_t count() const { return values_.size(); }
    /// nullptr when absent.
    const AttributeValue* objectForKey(std::string_view name) const;
    void setObject(AttributeValue value, std::string_view name);
    void removeObjectForKey(std::string_view name);
    /// Adds or replaces every attribute of `other`.
    void addEntriesFromAttributes(const Attributes& other);

    /// The typed attributes; nullptr when absent or of another type.
    const Font* font() const;
    const Color* foregroundColor() const;
    const Shadow* shadow() const;

    const std::map<std::string, AttributeValue, std::less<>>& values() const { return values_; }

    friend bool operator==(const Attributes&, const Attributes&) = default;

private:
    std::map<std::string, AttributeValue, std::less<>> values_;
};

/// One run for the drawing side: its text as a UTF-8 byte range of string()
/// and its UTF-16 range, with the attributes over it.
struct KQ_EXPORT AttributedTextRun {
    std::size_t byteOffset = 0;
    std::size_t byteLength = 0;
    Range range;
    const Attributes* attributes = nullptr;  // valid until the string changes
};

class KQ_EXPORT AttributedString {
public:
    AttributedString() = default;
    explicit AttributedString(std::string_view text, Attributes attributes = {});

    const std::string& string() const { return text_; }
    /// In UTF-16 units.
    std::uint64_t length() const { return length_; }

    /// The attributes at `index` and, when asked, the whole run they cover.
    /// Throws kq::RangeException when index >= length().
    const Attributes& attributesAtIndex(std::uint64_t index, Range* effectiveRange = nullptr) const;
    /// The attribute at `index` (nullptr when the character has none; the
    /// pointer is valid until the string changes) and,
    /// when asked, the longest range around it with the same value (runs that
    /// differ only in other attributes are joined). Throws like attributesAtIndex.
    const AttributeValue* attribute(std::string_view name, std::uint64_t index,
                                    Range* effectiveRange = nullptr) const;

    /// Calls `block` for each stretch of `range` over which the attribute's
    /// value stays the same (nullptr where absent), in order; `stop` ends early.
    using AttributeBlock = std::function<void(const AttributeValue* value, Range range, bool& stop)>;
    void enumerateAttribute(std::string_view name, Range range, const AttributeBlock& block) const;
    /// The same for whole runs.
    using AttributesBlock = std::function<void(const Attributes& attributes, Range range, bool& stop)>;
    void enumerateAttributesInRange(Range range, const AttributesBlock& block) const;

    /// Every run over the whole text, in order, with UTF-8 byte ranges.
    std::vector<AttributedTextRun> runs() const;

    /// Throws kq::RangeException for a range outside the text.
    AttributedString attributedSubstringFromRange(Range range) const;

    friend KQ_EXPORT bool operator==(const AttributedString& a, const AttributedString& b);

protected:
    friend class MutableAttributedString;  // edits read the runs of the text they insert

    struct Run {
        std::uint64_t length = 0;  // UTF-16 units
        Attributes attributes;
        friend bool operator==(const Run&, const Run&) = default;
    };

    // Byte offset of a UTF-16 index; throws when it is past the end or inside
    // a surrogate pair.
    std::size_t byteOffsetOfIndex(std::uint64_t index) const;
    void checkRange(Range range) const;

    std::string text_;
    std::uint64_t length_ = 0;
    std::vector<Run> runs_;  // lengths add up to length_
};

class KQ_EXPORT MutableAttributedString : public AttributedString {
public:
    using AttributedString::AttributedString;
    MutableAttributedString(const AttributedString& other) : AttributedString(other) {}

    /// New plain text takes the attributes of the first replaced character,
    /// or for an empty range those of the character before (after, at 0).
    void replaceCharactersInRange(Range range, std::string_view text);
    /// New attributed text keeps its own attributes.
    void replaceCharactersInRange(Range range, const AttributedString& text);
    void insertAttributedString(const AttributedString& text, std::uint64_t location);
    void appendAttributedString(const AttributedString& text);
    void deleteCharactersInRange(Range range);
    void setAttributedString(const AttributedString& text);

    /// Replaces the attributes over the range entirely.
    void setAttributes(const Attributes& attributes, Range range);
    /// Adds (or replaces) attributes over the range, keeping the others.
    void addAttribute(std::string_view name, AttributeValue value, Range range);
    void addAttributes(const Attributes& attributes, Range range);
    void removeAttribute(std::string_view name, Range range);

    // ---- Category NSMutableAttributedString(KQFoundation): NSMutableAttributedString+KQFoundation.h/.cpp ----
    void setFontSize(double pointSize);
    void setAttribute(std::string_view name, AttributeValue value);
    void removeAttribute(std::string_view name);
    void setColor(const Color& color);
    void replaceString(std::string_view text, const AttributedString& attributedText);
    Range unfoldTag(std::string_view tag);
    void unfoldTagsWithAttributes(const std::vector<std::pair<std::string, Attributes>>& tags);
    void unfoldTagsWithAttributed(const std::vector<std::pair<std::string, Attributes>>& tags);
    // ---- end of category ----

private:
    // Applies `change` to the attributes of every run over the range.
    void editAttributes(Range range, const std::function<void(Attributes&)>& change);
    void coalesce();
};

}  // namespace kq
