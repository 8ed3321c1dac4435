// Reader for localized strings tables. Tables come either as old-style text
// ("key" = "value"; with comments) in UTF-8 or UTF-16, or, in compiled
// bundles, as an XML or binary property list holding one dictionary.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Foundation/UnicodeText.h"
#include "KQFoundation/Foundation/Bundle.h"
#include "KQFoundation/Foundation/PathUtilities.h"
#include "KQFoundation/Foundation/PropertyList.h"

namespace kq {
namespace {

bool isHighSurrogate(char32_t c) { return c >= 0xD800 && c <= 0xDBFF; }
bool isLowSurrogate(char32_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

std::optional<std::string> decodeUTF16(const std::uint8_t* bytes, std::size_t size, bool bigEndian) {
    if (size % 2 != 0) return std::nullopt;
    std::string out;
    out.reserve(size / 2);
    auto unitAt = [&](std::size_t i) -> char32_t {
        return bigEndian ? char32_t(bytes[i] << 8 | bytes[i + 1]) : char32_t(bytes[i + 1] << 8 | bytes[i]);
    };
    for (std::size_t i = 0; i < size; i += 2) {
        char32_t unit = unitAt(i);
        if (isHighSurrogate(unit)) {
            if (i + 2 >= size) return std::nullopt;
            char32_t low = unitAt(i + 2);
            if (!isLowSurrogate(low)) return std::nullopt;
            appendUTF8(out, 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00));
            i += 2;
        } else if (isLowSurrogate(unit)) {
            return std::nullopt;
        } else {
            appendUTF8(out, unit);
        }
    }
    return out;
}

/// The file's text as UTF-8: by byte-order mark, else UTF-16 when NULs show
/// it (ASCII text in UTF-16 has a zero in every other byte), else UTF-8.
std::optional<std::string> decodeText(const Data& bytes) {
    const std::uint8_t* p = bytes.data();
    std::size_t n = bytes.size();
    if (n >= 3 && p[0] == 0xEF && p[1] == 0xBB && p[2] == 0xBF) {
        std::string text(reinterpret_cast<const char*>(p + 3), n - 3);
        return isValidUTF8(text) ? std::optional(std::move(text)) : std::nullopt;
    }
    if (n >= 2 && p[0] == 0xFF && p[1] == 0xFE) return decodeUTF16(p + 2, n - 2, false);
    if (n >= 2 && p[0] == 0xFE && p[1] == 0xFF) return decodeUTF16(p + 2, n - 2, true);
    std::size_t evenZeros = 0, oddZeros = 0;
    for (std::size_t i = 0; i < n; ++i) {
        if (p[i] == 0) ++(i % 2 == 0 ? evenZeros : oddZeros);
    }
    if (evenZeros + oddZeros > 0) {
        // More zeros in the high (first) byte of each unit means big-endian.
        return decodeUTF16(p, n, evenZeros > oddZeros);
    }
    std::string text(reinterpret_cast<const char*>(p), n);
    return isValidUTF8(text) ? std::optional(std::move(text)) : std::nullopt;
}

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

class Parser {
public:
    explicit Parser(std::string_view text) : text_(text) {}

    std::optional<Dictionary> parse() {
        Dictionary result;
        if (!skipSpaceAndComments()) return std::nullopt;
        // A table may also be written as one braced dictionary.
        bool braced = peek('{');
        if (braced) ++pos_;
        for (;;) {
            if (!skipSpaceAndComments()) return std::nullopt;
            if (atEnd()) break;
            if (braced && peek('}')) {
                ++pos_;
                if (!skipSpaceAndComments() || !atEnd()) return std::nullopt;
                return result;
            }
            auto key = readString();
            if (!key || !skipSpaceAndComments()) return std::nullopt;
            if (peek(';')) {
                ++pos_;
                result.setObject(*key, Value(*key));
                continue;
            }
            if (!peek('=')) return std::nullopt;
            ++pos_;
            if (!skipSpaceAndComments()) return std::nullopt;
            auto value = readString();
            if (!value || !skipSpaceAndComments() || !peek(';')) return std::nullopt;
            ++pos_;
            result.setObject(*key, Value(std::move(*value)));
        }
        if (braced) return std::nullopt;  // no closing brace
        return result;
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

    std::optional<std::string> readString() {
        if (peek('"')) return readQuoted();
        std::size_t start = pos_;
        // "//" starts a comment even where an unquoted word could continue.
        while (!atEnd() && isUnquotedCharacter(text_[pos_]) && text_.compare(pos_, 2, "//") != 0 &&
               text_.compare(pos_, 2, "/*") != 0) {
            ++pos_;
        }
        if (pos_ == start) return std::nullopt;
        return std::string(text_.substr(start, pos_ - start));
    }

    std::optional<std::string> readQuoted() {
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
    std::size_t pos_ = 0;
};

bool looksLikePropertyList(const Data& bytes) {
    auto startsWith = [&](std::string_view prefix) {
        return bytes.size() >= prefix.size() &&
               std::string_view(reinterpret_cast<const char*>(bytes.data()), prefix.size()) == prefix;
    };
    return startsWith("bplist") || startsWith("<?xml") || startsWith("<!DOCTYPE plist") || startsWith("<plist");
}

}  // namespace

std::optional<Dictionary> parseStringsFile(const Data& bytes) {
    if (looksLikePropertyList(bytes)) {
        auto value = PropertyList::read(bytes);
        if (!value || !value->isDictionary()) return std::nullopt;
        Dictionary strings;
        value->asDictionary()->forEach([&](const std::string& key, const Value& v) {
            if (v.isString()) strings.setObject(key, v);
        });
        return strings;
    }
    auto text = decodeText(bytes);
    if (!text) return std::nullopt;
    return Parser(*text).parse();
}

}  // namespace kq
