#pragma once
// The steps of the lenient JSON reader (NSObject+JSON.h), one scanner over a
// text it does not copy. Each step answers whether it succeeded and, where it
// yields a value, stores it through its argument. Token readers skip white
// space first; the string reader does not skip inside the string.
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "KQFoundation/Foundation/Value.h"

namespace kq::json {

class Scanner {
public:
    /// Objects and arrays nested deeper than this fail the whole text, so
    /// hostile input cannot exhaust the stack (the same bound as property lists).
    static constexpr std::size_t kMaximumDepth = 512;

    explicit Scanner(std::string_view text) noexcept : text_(text) {}

    /// Skips everything up to the first "{", then reads the object.
    bool scanJSONObject(Dictionary& object, bool ignoreNull);
    /// The opening "[" may be missing; the closing one may not.
    bool scanJSONArray(Array& array, bool ignoreNull);
    /// Succeeds without a value (`value` left empty) for a string left open
    /// at the end of the text.
    bool scanJSONValue(std::optional<Value>& value, bool ignoreNull);
    /// Likewise: a string left open succeeds and stores nothing.
    bool scanJSONString(std::optional<std::string>& string);
    /// Sign, digits, fraction, exponent, read as a double.
    bool scanJSONNumber(double& number);
    /// Four hexadecimal digits, one UTF-16 unit.
    bool scanUnicodeCharacter(char16_t& unit);

    bool scanJSONKeyValueSeparator() { return scanToken(':'); }
    bool scanJSONValueSeparator() { return scanToken(','); }
    bool scanJSONObjectStartString() { return scanToken('{'); }
    bool scanJSONObjectEndString() { return scanToken('}'); }
    bool scanJSONArrayStartString() { return scanToken('['); }
    bool scanJSONArrayEndString() { return scanToken(']'); }
    bool scanJSONStringDelimiterString() { return scanToken('"'); }

    /// True once nesting went past kMaximumDepth; the text is then unreadable.
    bool tooDeep() const noexcept { return tooDeep_; }
    std::size_t location() const noexcept { return position_; }

private:
    void skipWhitespace() noexcept;
    bool scanToken(char token) noexcept;
    bool scanWord(std::string_view word) noexcept;
    bool enter() noexcept;

    std::string_view text_;
    std::size_t position_ = 0;
    std::size_t depth_ = 0;
    bool tooDeep_ = false;
};

}  // namespace kq::json
