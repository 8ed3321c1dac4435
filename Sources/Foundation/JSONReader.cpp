// The lenient JSON reader: one pass over the text, no copy of it. Nothing is
// undone on failure: a step that fails leaves the position where it stopped,
// so even hostile input is read in linear time.
#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <new>

#include "Foundation/JSONScanner.h"
#include "Foundation/UnicodeText.h"
#include "KQFoundation/NSObject+JSON.h"

namespace kq::json {

namespace {

bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }

int hexDigit(char c) noexcept {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// White space and line breaks in the Unicode sense (separators Zs, Zl, Zp,
// and the controls tab to carriage return and U+0085).
bool isUnicodeWhitespace(char32_t c) noexcept {
    return c == 0x85 || c == 0xA0 || c == 0x1680 || (c >= 0x2000 && c <= 0x200A) || c == 0x2028 ||
           c == 0x2029 || c == 0x202F || c == 0x205F || c == 0x3000;
}

bool isHighSurrogate(char16_t unit) noexcept { return unit >= 0xD800 && unit <= 0xDBFF; }
bool isLowSurrogate(char16_t unit) noexcept { return unit >= 0xDC00 && unit <= 0xDFFF; }

// The value a number too large or too small for a double stands for: its
// decimal magnitude decides between infinity and zero.
double outOfRange(std::string_view mantissa, std::string_view exponent) {
    long long magnitude = 0;
    const std::size_t point = std::min(mantissa.find('.'), mantissa.size());
    const std::size_t firstNonZero = mantissa.find_first_not_of("0.");
    if (firstNonZero == std::string_view::npos) return 0.0;
    magnitude = firstNonZero < point ? static_cast<long long>(point - firstNonZero) - 1
                                     : -static_cast<long long>(firstNonZero - point);
    long long power = 0;
    bool negativePower = false;
    for (char c : exponent) {
        if (c == '-') negativePower = true;
        if (isDigit(c)) power = std::min(power * 10 + (c - '0'), 1'000'000'000LL);
    }
    magnitude += negativePower ? -power : power;
    return magnitude >= 0 ? std::numeric_limits<double>::infinity() : 0.0;
}

}  // namespace

void Scanner::skipWhitespace() noexcept {
    while (position_ < text_.size()) {
        const auto c = static_cast<unsigned char>(text_[position_]);
        if (c == ' ' || (c >= '\t' && c <= '\r')) {
            ++position_;
        } else if (c >= 0x80) {
            const UTF8Sequence sequence = decodeUTF8(text_, position_);
            if (sequence.length == 0 || !isUnicodeWhitespace(sequence.codePoint)) return;
            position_ += sequence.length;
        } else {
            return;
        }
    }
}

bool Scanner::scanToken(char token) noexcept {
    skipWhitespace();
    if (position_ >= text_.size() || text_[position_] != token) return false;
    ++position_;
    return true;
}

bool Scanner::scanWord(std::string_view word) noexcept {
    if (text_.substr(position_, word.size()) != word) return false;
    position_ += word.size();
    return true;
}

bool Scanner::enter() noexcept {
    if (depth_ >= kMaximumDepth) {
        tooDeep_ = true;
        return false;
    }
    ++depth_;
    return true;
}

bool Scanner::scanJSONObject(Dictionary& object, bool ignoreNull) {
    const std::size_t brace = text_.find('{', position_);
    if (brace == std::string_view::npos) {
        position_ = text_.size();
        return false;
    }
    position_ = brace + 1;
    if (!enter()) return false;
    Dictionary result;
    std::optional<std::string> key;
    if (scanJSONString(key)) {
        for (;;) {
            if (!scanJSONKeyValueSeparator()) break;
            std::optional<Value> value;
            if (!scanJSONValue(value, ignoreNull)) break;
            if (key && value && !(ignoreNull && value->isNull())) result.setObject(*key, std::move(*value));
            scanJSONValueSeparator();  // optional
            key.reset();
            if (!scanJSONString(key)) break;
        }
    }
    --depth_;
    if (tooDeep_ || !scanJSONObjectEndString()) return false;
    object = std::move(result);
    return true;
}

bool Scanner::scanJSONArray(Array& array, bool ignoreNull) {
    if (!enter()) return false;
    scanJSONArrayStartString();  // optional
    Array result;
    for (;;) {
        std::optional<Value> value;
        if (!scanJSONValue(value, ignoreNull)) break;
        if (value && !(ignoreNull && value->isNull())) result.push_back(std::move(*value));
        scanJSONValueSeparator();  // optional
    }
    --depth_;
    if (tooDeep_ || !scanJSONArrayEndString()) return false;
    array = std::move(result);
    return true;
}

bool Scanner::scanJSONValue(std::optional<Value>& value, bool ignoreNull) {
    if (tooDeep_) return false;
    skipWhitespace();
    if (position_ >= text_.size()) return false;
    const char c = text_[position_];
    if (c == '{') {
        Dictionary object;
        if (!scanJSONObject(object, ignoreNull)) return false;
        value.emplace(std::move(object));
        return true;
    }
    if (c == '[') {
        Array array;
        if (!scanJSONArray(array, ignoreNull)) return false;
        value.emplace(std::move(array));
        return true;
    }
    if (c == '"') {
        std::optional<std::string> string;
        if (!scanJSONString(string)) return false;
        if (string) value.emplace(std::move(*string));
        return true;
    }
    if (scanWord("true")) {
        value.emplace(true);
        return true;
    }
    if (scanWord("false")) {
        value.emplace(false);
        return true;
    }
    if (scanWord("null")) {
        value.emplace(nullptr);
        return true;
    }
    if (c == '-' || isDigit(c)) {
        double number = 0;
        if (!scanJSONNumber(number)) return false;
        value.emplace(number);
        return true;
    }
    return false;
}

bool Scanner::scanJSONNumber(double& number) {
    skipWhitespace();
    const char* const begin = text_.data() + position_;
    const char* const end = text_.data() + text_.size();
    const char* p = begin;
    bool negative = false;
    if (p < end && (*p == '-' || *p == '+')) negative = *p++ == '-';
    const char* const mantissa = p;
    while (p < end && isDigit(*p)) ++p;
    std::size_t digits = static_cast<std::size_t>(p - mantissa);
    if (p < end && *p == '.') {
        const char* fraction = p + 1;
        while (fraction < end && isDigit(*fraction)) ++fraction;
        digits += static_cast<std::size_t>(fraction - p - 1);
        if (digits) p = fraction;
    }
    if (!digits) return false;
    const char* const mantissaEnd = p;
    if (p < end && (*p == 'e' || *p == 'E')) {
        const char* e = p + 1;
        if (e < end && (*e == '+' || *e == '-')) ++e;
        const char* const exponentDigits = e;
        while (e < end && isDigit(*e)) ++e;
        if (e > exponentDigits) p = e;
    }
    double value = 0;
    const auto result = std::from_chars(mantissa, p, value, std::chars_format::general);
    if (result.ec == std::errc::result_out_of_range) {
        value = outOfRange({mantissa, static_cast<std::size_t>(mantissaEnd - mantissa)},
                           {mantissaEnd, static_cast<std::size_t>(p - mantissaEnd)});
    } else if (result.ec != std::errc{}) {
        return false;
    }
    p = result.ptr;
    number = negative ? -value : value;
    position_ += static_cast<std::size_t>(p - begin);
    return true;
}

bool Scanner::scanUnicodeCharacter(char16_t& unit) {
    if (text_.size() - position_ < 4) return false;
    unsigned value = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        const int digit = hexDigit(text_[position_ + i]);
        if (digit < 0) return false;
        value = value * 16 + static_cast<unsigned>(digit);
    }
    position_ += 4;
    unit = static_cast<char16_t>(value);
    return true;
}

bool Scanner::scanJSONString(std::optional<std::string>& string) {
    if (!scanJSONStringDelimiterString()) return false;
    std::string result;
    char16_t pendingHigh = 0;  // a \u high surrogate waiting for its low half
    const auto flushPending = [&] {
        if (pendingHigh) appendUTF8(result, 0xFFFD);
        pendingHigh = 0;
    };
    std::size_t chunk = position_;  // start of bytes not yet copied
    const std::size_t size = text_.size();
    while (position_ < size) {
        const char c = text_[position_];
        if (c != '"' && c != '\\') {
            ++position_;
            continue;
        }
        if (position_ > chunk) {
            flushPending();
            result.append(text_.data() + chunk, position_ - chunk);
        }
        if (c == '"') {
            flushPending();
            ++position_;
            string = std::move(result);
            return true;
        }
        if (position_ + 1 >= size) break;  // a backslash ends the text: left open
        const char escaped = text_[position_ + 1];
        position_ += 2;
        chunk = position_;
        char replacement = 0;
        switch (escaped) {
            case '"':
            case '/':
            case '\\': replacement = escaped; break;
            case 'b': replacement = '\b'; break;
            case 'f': replacement = '\f'; break;
            case 'n': replacement = '\n'; break;
            case 'r': replacement = '\r'; break;
            case 't': replacement = '\t'; break;
            case 'u': {
                char16_t unit = 0;
                if (!scanUnicodeCharacter(unit)) return false;
                chunk = position_;
                if (pendingHigh && isLowSurrogate(unit)) {
                    appendUTF8(result, 0x10000 + ((char32_t(pendingHigh) - 0xD800) << 10) + (unit - 0xDC00));
                    pendingHigh = 0;
                } else {
                    flushPending();
                    if (isHighSurrogate(unit))
                        pendingHigh = unit;
                    else
                        appendUTF8(result, unit);  // a lone low surrogate becomes U+FFFD
                }
                continue;
            }
            default:
                // Unknown escapes keep their backslash; the character after it
                // is copied with the next run of plain bytes.
                flushPending();
                result += '\\';
                position_ -= 1;
                chunk = position_;
                continue;
        }
        flushPending();
        result += replacement;
    }
    // The text ended inside the string: success, but nothing to store.
    position_ = size;
    return true;
}

}  // namespace kq::json

namespace kq {

std::optional<Dictionary> Dictionary::dictionaryWithJSONString(std::string_view text, bool ignoreNull) {
    if (text.empty()) return std::nullopt;
    try {
        json::Scanner scanner(text);
        Dictionary result;
        if (!scanner.scanJSONObject(result, ignoreNull) || scanner.tooDeep()) return std::nullopt;
        return result;
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

std::optional<Dictionary> Dictionary::dictionaryWithJSONString(std::string_view text) {
    return dictionaryWithJSONString(text, false);
}

std::optional<Dictionary> Dictionary::dictionaryWithJSONStringIgnoringNulls(std::string_view text) {
    return dictionaryWithJSONString(text, true);
}

std::optional<Array> Array::arrayWithJSONString(std::string_view text, bool ignoreNull) {
    if (text.empty()) return std::nullopt;
    try {
        json::Scanner scanner(text);
        Array result;
        if (!scanner.scanJSONArray(result, ignoreNull) || scanner.tooDeep()) return std::nullopt;
        return result;
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

std::optional<Array> Array::arrayWithJSONString(std::string_view text) { return arrayWithJSONString(text, false); }

std::optional<Array> Array::arrayWithJSONStringIgnoringNulls(std::string_view text) {
    return arrayWithJSONString(text, true);
}

}  // namespace kq
