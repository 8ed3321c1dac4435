// Reader of old-style text property lists, shared with strings files:
// { key = value; }, ( a, b ), "quoted" or unquoted strings, <0fbd77> data,
// and // or /* */ comments. A strings file is a dictionary's body without its
// braces, where `key;` alone stands for `key = key;`.
#include <cstdint>

#include "Foundation/PropertyListCoding.h"
#include "Foundation/UnicodeText.h"
#include "KQFoundation/Foundation/PathUtilities.h"

namespace kq::plist {
namespace {

bool isUnquotedCharacter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '.' ||
           c == '$' || c == ':' || c == '/' || c == '-';
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool isHighSurrogate(char32_t c) { return c >= 0xD800 && c <= 0xDBFF; }
bool isLowSurrogate(char32_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

class TextParser {
public:
    TextParser(std::string_view text, bool stringsFile) : text_(text), stringsFile_(stringsFile) {}

    std::optional<Value> parse() {
        if (!skipSpaceAndComments()) return std::nullopt;
        if (!stringsFile_ || peek('{')) {
            auto root = value(0);
            if (root && skipSpaceAndComments() && atEnd()) return root;
            // "a = b;" without braces is a dictionary too.
            if (!root || !root->isString()) return std::nullopt;
            pos_ = 0;
            if (!skipSpaceAndComments()) return std::nullopt;
        }
        Dictionary body;
        if (!budget_.take() || !dictionaryBody(body, 0, false)) return std::nullopt;
        return Value(std::move(body));
    }

private:
    bool atEnd() const { return pos_ >= text_.size(); }
    bool peek(char c) const { return pos_ < text_.size() && text_[pos_] == c; }

    /// False only for an unterminated block comment.
    bool skipSpaceAndComments() {
        while (!atEnd()) {
            char c = text_[pos_];
            if (c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v') {
                ++pos_;
            } else if (text_.compare(pos_, 2, "//") == 0) {
                auto end = text_.find('\n', pos_);
                pos_ = end == std::string_view::npos ? text_.size() : end + 1;
            } else if (text_.compare(pos_, 2, "/*") == 0) {
                auto end = text_.find("*/", pos_ + 2);
                if (end == std::string_view::npos) return false;
                pos_ = end + 2;
            } else {
                break;
            }
        }
        return true;
    }

    std::optional<Value> value(std::size_t depth) {
        if (peek('{') || peek('(')) {
            if (depth + 1 > PropertyList::kMaximumDepth || !budget_.take()) return std::nullopt;
            const bool isDictionary = text_[pos_++] == '{';
            if (!skipSpaceAndComments()) return std::nullopt;
            if (isDictionary) {
                Dictionary dictionary;
                if (!dictionaryBody(dictionary, depth, true)) return std::nullopt;
                return Value(std::move(dictionary));
            }
            return array(depth);
        }
        if (peek('<')) return data();
        auto text = string();
        if (!text || !budget_.take(text->size())) return std::nullopt;
        return Value(std::move(*text));
    }

    /// Entries up to the closing brace (or the end of the text when bare).
    bool dictionaryBody(Dictionary& out, std::size_t depth, bool braced) {
        for (;;) {
            if (braced && peek('}')) {
                ++pos_;
                return true;
            }
            if (atEnd()) return !braced;
            auto key = string();
            if (!key || !skipSpaceAndComments()) return false;
            if (stringsFile_ && peek(';')) {
                ++pos_;
                out.setObject(*key, Value(*key));
            } else {
                if (!peek('=')) return false;
                ++pos_;
                if (!skipSpaceAndComments()) return false;
                auto entry = value(depth + 1);
                if (!entry || !skipSpaceAndComments() || !peek(';')) return false;
                ++pos_;
                out.setObject(*key, std::move(*entry));
            }
            if (!skipSpaceAndComments()) return false;
        }
    }

    std::optional<Value> array(std::size_t depth) {
        Array out;
        while (!peek(')')) {
            auto element = value(depth + 1);
            if (!element || !skipSpaceAndComments()) return std::nullopt;
            out.push_back(std::move(*element));
            if (peek(',')) {
                ++pos_;
                if (!skipSpaceAndComments()) return std::nullopt;
            } else if (!peek(')')) {
                return std::nullopt;
            }
        }
        ++pos_;
        return Value(std::move(out));
    }

    std::optional<Value> data() {
        ++pos_;  // <
        Data out;
        int high = -1;
        for (; !atEnd() && text_[pos_] != '>'; ++pos_) {
            const char c = text_[pos_];
            if (c == ' ' || c == '\t' || c == '\n' || c == '\r') continue;
            const int digit = hexDigit(c);
            if (digit < 0) return std::nullopt;
            if (high < 0) {
                high = digit;
            } else {
                out.push_back(static_cast<std::uint8_t>(high << 4 | digit));
                high = -1;
            }
        }
        if (atEnd() || high >= 0 || !budget_.take(out.size())) return std::nullopt;
        ++pos_;
        return Value(std::move(out));
    }

    std::optional<std::string> string() {
        if (peek('"')) return quoted();
        std::size_t start = pos_;
        // "//" starts a comment even where an unquoted word could continue.
        while (!atEnd() && isUnquotedCharacter(text_[pos_]) && text_.compare(pos_, 2, "//") != 0 &&
               text_.compare(pos_, 2, "/*") != 0) {
            ++pos_;
        }
        if (pos_ == start) return std::nullopt;
        return std::string(text_.substr(start, pos_ - start));
    }

    std::optional<std::string> quoted() {
        ++pos_;  // opening quote
        std::string out;
        char32_t pendingHigh = 0;
        while (!atEnd()) {
            char c = text_[pos_++];
            if (c == '"') {
                if (pendingHigh) return std::nullopt;
                return out;
            }
            if (c != '\\') {
                if (pendingHigh) return std::nullopt;
                out += c;
                continue;
            }
            if (atEnd()) return std::nullopt;
            char e = text_[pos_++];
            if (e == 'U' || e == 'u') {
                if (pos_ + 4 > text_.size()) return std::nullopt;
                char32_t unit = 0;
                for (int k = 0; k < 4; ++k) {
                    int d = hexDigit(text_[pos_ + k]);
                    if (d < 0) return std::nullopt;
                    unit = unit << 4 | static_cast<char32_t>(d);
                }
                pos_ += 4;
                if (pendingHigh) {
                    if (!isLowSurrogate(unit)) return std::nullopt;
                    appendUTF8(out, 0x10000 + ((pendingHigh - 0xD800) << 10) + (unit - 0xDC00));
                    pendingHigh = 0;
                } else if (isHighSurrogate(unit)) {
                    pendingHigh = unit;
                } else if (isLowSurrogate(unit)) {
                    return std::nullopt;
                } else {
                    appendUTF8(out, unit);
                }
                continue;
            }
            if (pendingHigh) return std::nullopt;
            if (e >= '0' && e <= '7') {
                // Up to three octal digits name a byte-sized character.
                char32_t code = static_cast<char32_t>(e - '0');
                for (int k = 0; k < 2 && !atEnd() && text_[pos_] >= '0' && text_[pos_] <= '7'; ++k) {
                    code = code * 8 + static_cast<char32_t>(text_[pos_++] - '0');
                }
                if (code > 0xFF) return std::nullopt;
                appendUTF8(out, code);
                continue;
            }
            switch (e) {
                case 'n': out += '\n'; break;
                case 't': out += '\t'; break;
                case 'r': out += '\r'; break;
                case 'a': out += '\a'; break;
                case 'b': out += '\b'; break;
                case 'f': out += '\f'; break;
                case 'v': out += '\v'; break;
                // \" \\ \' and any other escaped character stand for themselves.
                default: out += e; break;
            }
        }
        return std::nullopt;  // unterminated
    }

    std::string_view text_;
    bool stringsFile_;
    std::size_t pos_ = 0;
    Budget budget_;
};

std::optional<std::string> decodeUTF16(const std::uint8_t* p, std::size_t size, bool bigEndian) {
    if (size % 2 != 0) return std::nullopt;
    std::u16string units(size / 2, u'\0');
    for (std::size_t i = 0; i < units.size(); ++i)
        units[i] = static_cast<char16_t>(bigEndian ? p[2 * i] << 8 | p[2 * i + 1] : p[2 * i + 1] << 8 | p[2 * i]);
    return utf8FromUTF16(units);
}

}  // namespace

std::optional<std::string> decodeText(std::string_view bytes) {
    const auto* p = reinterpret_cast<const std::uint8_t*>(bytes.data());
    const std::size_t n = bytes.size();
    if (n >= 3 && p[0] == 0xEF && p[1] == 0xBB && p[2] == 0xBF) bytes.remove_prefix(3);
    else if (n >= 2 && p[0] == 0xFF && p[1] == 0xFE) return decodeUTF16(p + 2, n - 2, false);
    else if (n >= 2 && p[0] == 0xFE && p[1] == 0xFF) return decodeUTF16(p + 2, n - 2, true);
    else {
        std::size_t evenZeros = 0, oddZeros = 0;
        for (std::size_t i = 0; i < n; ++i)
            if (p[i] == 0) ++(i % 2 == 0 ? evenZeros : oddZeros);
        // ASCII text in UTF-16 has a zero in every other byte; more zeros in
        // the first byte of each unit means big-endian.
        if (evenZeros + oddZeros > 0) return decodeUTF16(p, n, evenZeros > oddZeros);
    }
    if (!isValidUTF8(bytes)) return std::nullopt;
    return std::string(bytes);
}

std::optional<Value> readText(std::string_view text, bool bareDictionary) {
    return TextParser(text, bareDictionary).parse();
}

}  // namespace kq::plist
