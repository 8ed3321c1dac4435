#include "Foundation/UnicodeText.h"

#include "KQFoundation/Foundation/PathUtilities.h"

#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace kq {
namespace {

constexpr unsigned char asciiLower(unsigned char c) noexcept {
    return (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
}

// Byte comparison of ASCII text against a folded needle; `lower` applies the
// ASCII case fold to the text side on the fly.
bool equalBytes(std::string_view text, std::string_view folded, bool lower) noexcept {
    if (text.size() != folded.size()) return false;
    if (!lower) return text == folded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (asciiLower(static_cast<unsigned char>(text[i])) != static_cast<unsigned char>(folded[i])) return false;
    }
    return true;
}

bool isContinuationByte(unsigned char c) noexcept { return (c & 0xC0) == 0x80; }

std::string foldWithICU(std::string_view text, bool caseInsensitive, bool diacriticInsensitive) {
    icu::UnicodeString s = icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
    if (caseInsensitive) s.foldCase(U_FOLD_CASE_DEFAULT);
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* nfd = icu::Normalizer2::getNFDInstance(status);
    const icu::Normalizer2* nfc = icu::Normalizer2::getNFCInstance(status);
    if (U_FAILURE(status)) {
        std::string out;
        s.toUTF8String(out);
        return out;
    }
    icu::UnicodeString decomposed = nfd->normalize(s, status);
    if (diacriticInsensitive) {
        icu::UnicodeString stripped;
        for (int32_t i = 0; i < decomposed.length();) {
            UChar32 c = decomposed.char32At(i);
            if (u_charType(c) != U_NON_SPACING_MARK) stripped.append(c);
            i += U16_LENGTH(c);
        }
        decomposed = std::move(stripped);
    }
    icu::UnicodeString composed = nfc->normalize(decomposed, status);
    std::string out;
    (U_SUCCESS(status) ? composed : decomposed).toUTF8String(out);
    return out;
}

// The LIKE matcher proper, over text that is already folded (or ASCII, with
// `lower` folding it on the fly). Classic star backtracking: only the last
// "*" needs to be remembered, so matching is linear in most cases.
bool likeMatch(std::string_view text, std::string_view pattern, bool lower) noexcept {
    constexpr std::size_t none = std::string_view::npos;
    std::size_t t = 0, p = 0, starPattern = none, starText = 0;
    while (t < text.size()) {
        if (p < pattern.size()) {
            const char pc = pattern[p];
            if (pc == '*') {
                starPattern = ++p;
                starText = t;
                continue;
            }
            if (pc == '?') {
                ++p;
                t = nextCodePointOffset(text, t);
                continue;
            }
            std::size_t literal = p;
            if (pc == '\\' && p + 1 < pattern.size()) literal = p + 1;
            const std::size_t literalEnd = nextCodePointOffset(pattern, literal);
            const std::size_t length = literalEnd - literal;
            if (t + length <= text.size() &&
                equalBytes(text.substr(t, length), pattern.substr(literal, length), lower)) {
                t += length;
                p = literalEnd;
                continue;
            }
        }
        if (starPattern == none) return false;
        starText = nextCodePointOffset(text, starText);
        t = starText;
        p = starPattern;
    }
    while (p < pattern.size() && pattern[p] == '*') ++p;
    return p == pattern.size();
}

}  // namespace

UTF8Sequence decodeUTF8(std::string_view text, std::size_t offset) noexcept {
    if (offset >= text.size()) return {};
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[k]); };
    const unsigned char lead = byte(offset);
    if (lead < 0x80) return {1, lead};
    std::size_t length = 0;
    char32_t codePoint = 0;
    if ((lead & 0xE0) == 0xC0) {
        length = 2;
        codePoint = lead & 0x1F;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3;
        codePoint = lead & 0x0F;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4;
        codePoint = lead & 0x07;
    } else {
        return {};
    }
    if (offset + length > text.size()) return {};
    for (std::size_t k = 1; k < length; ++k) {
        if (!isContinuationByte(byte(offset + k))) return {};
        codePoint = codePoint << 6 | (byte(offset + k) & 0x3F);
    }
    static constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (codePoint < kSmallest[length] || codePoint > 0x10FFFF || (codePoint >= 0xD800 && codePoint <= 0xDFFF))
        return {};
    return {length, codePoint};
}

bool isValidUTF8(std::string_view text) {
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t length = decodeUTF8(text, i).length;
        if (length == 0) return false;
        i += length;
    }
    return true;
}

std::size_t lengthOfUTF8CharacterAt(std::string_view text, std::size_t offset) {
    return decodeUTF8(text, offset).length;
}

void appendUTF8(std::string& out, char32_t c) {
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = 0xFFFD;
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

std::optional<std::string> utf8FromUTF16(std::u16string_view units) {
    std::string out;
    out.reserve(units.size());
    for (std::size_t i = 0; i < units.size(); ++i) {
        const char32_t unit = units[i];
        if (unit >= 0xDC00 && unit <= 0xDFFF) return std::nullopt;
        if (unit >= 0xD800 && unit <= 0xDBFF) {
            if (i + 1 >= units.size()) return std::nullopt;
            const char32_t low = units[i + 1];
            if (low < 0xDC00 || low > 0xDFFF) return std::nullopt;
            appendUTF8(out, 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00));
            ++i;
        } else {
            appendUTF8(out, unit);
        }
    }
    return out;
}

std::optional<std::u16string> utf16FromUTF8(std::string_view text) {
    std::u16string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        const UTF8Sequence sequence = decodeUTF8(text, i);
        if (sequence.length == 0) return std::nullopt;
        if (sequence.codePoint >= 0x10000) {
            out += static_cast<char16_t>(0xD800 + ((sequence.codePoint - 0x10000) >> 10));
            out += static_cast<char16_t>(0xDC00 + ((sequence.codePoint - 0x10000) & 0x3FF));
        } else {
            out += static_cast<char16_t>(sequence.codePoint);
        }
        i += sequence.length;
    }
    return out;
}

std::optional<std::string> substringFromUTF16Index(std::string_view text, std::size_t index) {
    std::size_t units = 0;
    std::size_t i = 0;
    while (i < text.size() && units < index) {
        const UTF8Sequence sequence = decodeUTF8(text, i);
        i += sequence.length ? sequence.length : 1;
        units += sequence.codePoint >= 0x10000 ? 2 : 1;
    }
    if (units < index) return std::nullopt;
    return std::string(text.substr(i));
}

bool isASCII(std::string_view text) noexcept {
    // Eight bytes at a time: paths are long and this runs per directory entry.
    std::size_t i = 0;
    std::uint64_t bits = 0;
    for (; i + 8 <= text.size(); i += 8) {
        std::uint64_t word;
        std::memcpy(&word, text.data() + i, 8);
        bits |= word;
    }
    for (; i < text.size(); ++i) bits |= static_cast<unsigned char>(text[i]);
    return (bits & 0x8080808080808080ull) == 0;
}

std::size_t nextCodePointOffset(std::string_view text, std::size_t offset) noexcept {
    if (offset >= text.size()) return text.size();
    std::size_t next = offset + 1;
    if (static_cast<unsigned char>(text[offset]) >= 0xC0) {
        while (next < text.size() && next - offset < 4 && isContinuationByte(static_cast<unsigned char>(text[next])))
            ++next;
    }
    return next;
}

std::size_t lengthInUTF16Units(std::string_view text) noexcept {
    std::size_t units = 0;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t next = nextCodePointOffset(text, i);
        // Only a complete four-byte sequence lies outside the BMP.
        units += (next - i == 4) ? 2 : 1;
        i = next;
    }
    return units;
}

std::string foldForComparison(std::string_view text, bool caseInsensitive, bool diacriticInsensitive) {
    if (!caseInsensitive && !diacriticInsensitive) return std::string(text);
    if (isASCII(text)) {
        std::string out(text);
        if (caseInsensitive) {
            for (char& c : out) c = static_cast<char>(asciiLower(static_cast<unsigned char>(c)));
        }
        return out;
    }
    return foldWithICU(text, caseInsensitive, diacriticInsensitive);
}

bool equalsFolded(std::string_view text, std::string_view foldedOther, FoldOptions options) {
    if (!options.any()) return text == foldedOther;
    if (isASCII(text)) return equalBytes(text, foldedOther, options.caseInsensitive);
    return foldForComparison(text, options) == foldedOther;
}

bool hasPrefixFolded(std::string_view text, std::string_view foldedPrefix, FoldOptions options) {
    if (!options.any()) return text.starts_with(foldedPrefix);
    const std::size_t n = foldedPrefix.size();
    // The head decides alone when it is ASCII and not followed by a combining
    // mark (which would compose with its last character).
    if (text.size() >= n && isASCII(text.substr(0, n)) &&
        (text.size() == n || static_cast<unsigned char>(text[n]) < 0x80)) {
        return equalBytes(text.substr(0, n), foldedPrefix, options.caseInsensitive);
    }
    if (text.size() < n && isASCII(text)) return false;
    return foldForComparison(text, options).starts_with(foldedPrefix);
}

bool hasSuffixFolded(std::string_view text, std::string_view foldedSuffix, FoldOptions options) {
    if (!options.any()) return text.ends_with(foldedSuffix);
    const std::size_t n = foldedSuffix.size();
    // Folding is per character and an ASCII character folds to one ASCII
    // byte, so an ASCII tail decides alone whatever comes before it.
    if (text.size() >= n && isASCII(text.substr(text.size() - n))) {
        return equalBytes(text.substr(text.size() - n), foldedSuffix, options.caseInsensitive);
    }
    if (text.size() < n && isASCII(text)) return false;
    return foldForComparison(text, options).ends_with(foldedSuffix);
}

bool containsFolded(std::string_view text, std::string_view foldedNeedle, FoldOptions options) {
    if (!options.any()) return text.find(foldedNeedle) != std::string_view::npos;
    if (isASCII(text)) {
        if (!options.caseInsensitive) return text.find(foldedNeedle) != std::string_view::npos;
        auto it = std::search(text.begin(), text.end(), foldedNeedle.begin(), foldedNeedle.end(),
                              [](char a, char b) {
                                  return asciiLower(static_cast<unsigned char>(a)) == static_cast<unsigned char>(b);
                              });
        return it != text.end() || foldedNeedle.empty();
    }
    return foldForComparison(text, options).find(foldedNeedle) != std::string::npos;
}

int compareFolded(std::string_view text, std::string_view foldedOther, FoldOptions options) {
    auto sign = [](auto c) { return c < 0 ? -1 : (c > 0 ? 1 : 0); };
    if (!options.any()) return sign(text.compare(foldedOther));
    if (isASCII(text) && isASCII(foldedOther)) {
        const std::size_t n = std::min(text.size(), foldedOther.size());
        for (std::size_t i = 0; i < n; ++i) {
            unsigned char a = static_cast<unsigned char>(text[i]);
            if (options.caseInsensitive) a = asciiLower(a);
            const unsigned char b = static_cast<unsigned char>(foldedOther[i]);
            if (a != b) return a < b ? -1 : 1;
        }
        return text.size() == foldedOther.size() ? 0 : (text.size() < foldedOther.size() ? -1 : 1);
    }
    return sign(std::string_view(foldForComparison(text, options)).compare(foldedOther));
}

bool matchesLikePatternFolded(std::string_view text, std::string_view foldedPattern, FoldOptions options) {
    if (!options.any() || isASCII(text)) return likeMatch(text, foldedPattern, options.caseInsensitive);
    return likeMatch(foldForComparison(text, options), foldedPattern, false);
}

bool equalsCaseInsensitive(std::string_view a, std::string_view b) {
    const FoldOptions c{true, false};
    return equalsFolded(a, foldForComparison(b, c), c);
}

bool hasPrefixCaseInsensitive(std::string_view text, std::string_view prefix) {
    const FoldOptions c{true, false};
    return hasPrefixFolded(text, foldForComparison(prefix, c), c);
}

bool hasSuffixCaseInsensitive(std::string_view text, std::string_view suffix) {
    const FoldOptions c{true, false};
    return hasSuffixFolded(text, foldForComparison(suffix, c), c);
}

bool containsCaseInsensitive(std::string_view text, std::string_view needle) {
    const FoldOptions c{true, false};
    return containsFolded(text, foldForComparison(needle, c), c);
}

}  // namespace kq
