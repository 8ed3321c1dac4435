#include "KQFoundation/Graphics/AttributedString.h"

#include <algorithm>

#include "Foundation/UnicodeText.h"
#include "KQFoundation/Foundation/Exceptions.h"

namespace kq {

namespace {

// Malformed bytes become U+FFFD, so that the text always has a UTF-16 form
// and every byte offset we hand out sits on a character boundary.
std::string sanitizedUTF8(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    std::size_t offset = 0;
    while (offset < text.size()) {
        const UTF8Sequence sequence = decodeUTF8(text, offset);
        if (sequence.length == 0) {
            appendUTF8(result, U'\uFFFD');
            ++offset;
        } else {
            result.append(text.substr(offset, sequence.length));
            offset += sequence.length;
        }
    }
    return result;
}

// UTF-16 units of the well-formed character whose lead byte this is.
std::uint64_t unitsOfLeadByte(unsigned char lead) { return lead >= 0xF0 ? 2 : 1; }

std::size_t bytesOfLeadByte(unsigned char lead) {
    if (lead < 0x80) return 1;
    if (lead < 0xE0) return 2;
    if (lead < 0xF0) return 3;
    return 4;
}

[[noreturn]] void throwRange(const std::string& what) { throw RangeException(what); }

std::string describe(Range range) {
    return "{" + std::to_string(range.location) + ", " + std::to_string(range.length) + "}";
}

}  // namespace

// ---- Attributes ----

const AttributeValue* Attributes::objectForKey(std::string_view name) const {
    const auto found = values_.find(name);
    return found == values_.end() ? nullptr : &found->second;
}

void Attributes::setObject(AttributeValue value, std::string_view name) {
    const auto found = values_.find(name);
    if (found != values_.end()) {
        found->second = std::move(value);
    } else {
        values_.emplace(std::string(name), std::move(value));
    }
}

void Attributes::removeObjectForKey(std::string_view name) {
    const auto found = values_.find(name);
    if (found != values_.end()) values_.erase(found);
}

void Attributes::addEntriesFromAttributes(const Attributes& other) {
    for (const auto& [name, value] : other.values_) setObject(value, name);
}

const Font* Attributes::font() const {
    const AttributeValue* value = objectForKey(NSFontAttributeName);
    return value ? std::get_if<Font>(value) : nullptr;
}

const Color* Attributes::foregroundColor() const {
    const AttributeValue* value = objectForKey(NSForegroundColorAttributeName);
    return value ? std::get_if<Color>(value) : nullptr;
}

const Shadow* Attributes::shadow() const {
    const AttributeValue* value = objectForKey(NSShadowAttributeName);
    return value ? std::get_if<Shadow>(value) : nullptr;
}

// ---- AttributedString ----

AttributedString::AttributedString(std::string_view text, Attributes attributes)
    : text_(sanitizedUTF8(text)), length_(lengthInUTF16Units(text_)) {
    if (length_ > 0) runs_.push_back({length_, std::move(attributes)});
}

std::size_t AttributedString::byteOffsetOfIndex(std::uint64_t index) const {
    if (index > length_) throwRange("index " + std::to_string(index) + " beyond bounds " + std::to_string(length_));
    std::size_t byte = 0;
    std::uint64_t units = 0;
    while (units < index) {
        const auto lead = static_cast<unsigned char>(text_[byte]);
        units += unitsOfLeadByte(lead);
        byte += bytesOfLeadByte(lead);
    }
    if (units != index) throwRange("index " + std::to_string(index) + " splits a surrogate pair");
    return byte;
}

void AttributedString::checkRange(Range range) const {
    if (range.location > length_ || range.length > length_ - range.location) {
        throwRange("range " + describe(range) + " out of bounds; string length " + std::to_string(length_));
    }
    byteOffsetOfIndex(range.location);
    byteOffsetOfIndex(range.end());
}

const Attributes& AttributedString::attributesAtIndex(std::uint64_t index, Range* effectiveRange) const {
    if (index >= length_) throwRange("index " + std::to_string(index) + " beyond bounds " + std::to_string(length_));
    std::uint64_t start = 0;
    for (const Run& run : runs_) {
        if (index < start + run.length) {
            if (effectiveRange) *effectiveRange = {start, run.length};
            return run.attributes;
        }
        start += run.length;
    }
    throwRange("runs do not cover index " + std::to_string(index));  // unreachable while runs are kept right
}

const AttributeValue* AttributedString::attribute(std::string_view name, std::uint64_t index,
                                                  Range* effectiveRange) const {
    if (index >= length_) throwRange("index " + std::to_string(index) + " beyond bounds " + std::to_string(length_));
    std::size_t runIndex = 0;
    std::uint64_t start = 0;
    while (index >= start + runs_[runIndex].length) start += runs_[runIndex++].length;
    const AttributeValue* value = runs_[runIndex].attributes.objectForKey(name);
    if (effectiveRange) {
        const auto same = [&](std::size_t i) {
            const AttributeValue* other = runs_[i].attributes.objectForKey(name);
            return value == nullptr ? other == nullptr : other != nullptr && *other == *value;
        };
        std::uint64_t first = start;
        std::uint64_t end = start + runs_[runIndex].length;
        for (std::size_t i = runIndex; i > 0 && same(i - 1); --i) first -= runs_[i - 1].length;
        for (std::size_t i = runIndex + 1; i < runs_.size() && same(i); ++i) end += runs_[i].length;
        *effectiveRange = {first, end - first};
    }
    return value;
}

void AttributedString::enumerateAttributesInRange(Range range, const AttributesBlock& block) const {
    checkRange(range);
    std::uint64_t start = 0;
    bool stop = false;
    for (const Run& run : runs_) {
        const std::uint64_t end = start + run.length;
        const std::uint64_t from = std::max(start, range.location);
        const std::uint64_t to = std::min(end, range.end());
        if (from < to) {
            block(run.attributes, {from, to - from}, stop);
            if (stop) return;
        }
        if (end >= range.end()) return;
        start = end;
    }
}

void AttributedString::enumerateAttribute(std::string_view name, Range range, const AttributeBlock& block) const {
    checkRange(range);
    // Neighbouring runs that differ only in other attributes form one stretch.
    const AttributeValue* current = nullptr;
    Range stretch{range.location, 0};
    bool stop = false;
    enumerateAttributesInRange(range, [&](const Attributes& attributes, Range part, bool& innerStop) {
        const AttributeValue* value = attributes.objectForKey(name);
        const bool same = stretch.length > 0 && (value == nullptr ? current == nullptr
                                                                  : current != nullptr && *current == *value);
        if (same) {
            stretch.length += part.length;
            return;
        }
        if (stretch.length > 0) {
            block(current, stretch, stop);
            if (stop) {
                innerStop = true;
                return;
            }
        }
        current = value;
        stretch = part;
    });
    if (!stop && stretch.length > 0) block(current, stretch, stop);
}

std::vector<AttributedTextRun> AttributedString::runs() const {
    std::vector<AttributedTextRun> result;
    result.reserve(runs_.size());
    std::size_t byte = 0;
    std::uint64_t start = 0;
    for (const Run& run : runs_) {
        const std::size_t firstByte = byte;
        std::uint64_t units = 0;
        while (units < run.length) {
            const auto lead = static_cast<unsigned char>(text_[byte]);
            units += unitsOfLeadByte(lead);
            byte += bytesOfLeadByte(lead);
        }
        result.push_back({firstByte, byte - firstByte, {start, run.length}, &run.attributes});
        start += run.length;
    }
    return result;
}

AttributedString AttributedString::attributedSubstringFromRange(Range range) const {
    checkRange(range);
    AttributedString result;
    const std::size_t from = byteOffsetOfIndex(range.location);
    const std::size_t to = byteOffsetOfIndex(range.end());
    result.text_ = text_.substr(from, to - from);
    result.length_ = range.length;
    enumerateAttributesInRange(range, [&](const Attributes& attributes, Range part, bool&) {
        result.runs_.push_back({part.length, attributes});
    });
    return result;
}

bool operator==(const AttributedString& a, const AttributedString& b) {
    return a.text_ == b.text_ && a.runs_ == b.runs_;
}

// ---- MutableAttributedString ----

namespace {

// Makes a run boundary at `index` (0..total) and returns the number of the
// run that starts there (runs.size() at the end).
template <typename Runs>
std::size_t splitRunsAt(Runs& runs, std::uint64_t index) {
    std::uint64_t start = 0;
    for (std::size_t i = 0; i < runs.size(); ++i) {
        if (start == index) return i;
        const std::uint64_t end = start + runs[i].length;
        if (index < end) {
            auto tail = runs[i];
            tail.length = end - index;
            runs[i].length = index - start;
            runs.insert(runs.begin() + static_cast<std::ptrdiff_t>(i) + 1, std::move(tail));
            return i + 1;
        }
        start = end;
    }
    return runs.size();
}

}  // namespace

void MutableAttributedString::coalesce() {
    std::vector<Run> merged;
    merged.reserve(runs_.size());
    for (Run& run : runs_) {
        if (run.length == 0) continue;
        if (!merged.empty() && merged.back().attributes == run.attributes) {
            merged.back().length += run.length;
        } else {
            merged.push_back(std::move(run));
        }
    }
    runs_ = std::move(merged);
}

void MutableAttributedString::replaceCharactersInRange(Range range, const AttributedString& text) {
    if (&text == this) {
        const AttributedString copy = text;
        replaceCharactersInRange(range, copy);
        return;
    }
    checkRange(range);
    const AttributedString& source = text;
    const std::size_t from = byteOffsetOfIndex(range.location);
    const std::size_t to = byteOffsetOfIndex(range.end());
    // Build everything first, so that a failed allocation leaves us unchanged.
    std::string newText = text_;
    newText.replace(from, to - from, source.text_);
    std::vector<Run> newRuns = runs_;
    const std::size_t first = splitRunsAt(newRuns, range.location);
    const std::size_t last = splitRunsAt(newRuns, range.end());
    newRuns.erase(newRuns.begin() + static_cast<std::ptrdiff_t>(first),
                  newRuns.begin() + static_cast<std::ptrdiff_t>(last));
    newRuns.insert(newRuns.begin() + static_cast<std::ptrdiff_t>(first), source.runs_.begin(), source.runs_.end());
    text_ = std::move(newText);
    runs_ = std::move(newRuns);
    length_ = length_ - range.length + source.length_;
    coalesce();
}

void MutableAttributedString::replaceCharactersInRange(Range range, std::string_view text) {
    checkRange(range);
    Attributes inherited;
    if (range.length > 0) {
        inherited = attributesAtIndex(range.location);
    } else if (range.location > 0) {
        inherited = attributesAtIndex(range.location - 1);
    } else if (length_ > 0) {
        inherited = attributesAtIndex(0);
    }
    replaceCharactersInRange(range, AttributedString(text, std::move(inherited)));
}

void MutableAttributedString::insertAttributedString(const AttributedString& text, std::uint64_t location) {
    replaceCharactersInRange(Range{location, 0}, text);
}

void MutableAttributedString::appendAttributedString(const AttributedString& text) {
    replaceCharactersInRange(Range{length_, 0}, text);
}

void MutableAttributedString::deleteCharactersInRange(Range range) {
    replaceCharactersInRange(range, AttributedString());
}

void MutableAttributedString::setAttributedString(const AttributedString& text) {
    if (&text == this) return;
    AttributedString::operator=(text);
}

void MutableAttributedString::editAttributes(Range range, const std::function<void(Attributes&)>& change) {
    checkRange(range);
    if (range.length == 0) return;
    std::vector<Run> newRuns = runs_;
    const std::size_t first = splitRunsAt(newRuns, range.location);
    const std::size_t last = splitRunsAt(newRuns, range.end());
    for (std::size_t i = first; i < last; ++i) change(newRuns[i].attributes);
    runs_ = std::move(newRuns);
    coalesce();
}

void MutableAttributedString::setAttributes(const Attributes& attributes, Range range) {
    editAttributes(range, [&](Attributes& current) { current = attributes; });
}

void MutableAttributedString::addAttribute(std::string_view name, AttributeValue value, Range range) {
    editAttributes(range, [&](Attributes& current) { current.setObject(value, name); });
}

void MutableAttributedString::addAttributes(const Attributes& attributes, Range range) {
    editAttributes(range, [&](Attributes& current) { current.addEntriesFromAttributes(attributes); });
}

void MutableAttributedString::removeAttribute(std::string_view name, Range range) {
    editAttributes(range, [&](Attributes& current) { current.removeObjectForKey(name); });
}

}  // namespace kq
