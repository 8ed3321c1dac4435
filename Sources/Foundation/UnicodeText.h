#pragma once
// Unicode-aware text comparison shared by the predicate evaluator and the
// scanners: case folding (full Unicode folding, so "ß" matches "SS"),
// diacritic removal (canonical decomposition, combining marks dropped) and
// canonical equivalence (precomposed and decomposed forms compare equal).
//
// The "...Folded" helpers take a needle that was folded once up front with the
// same options, so evaluating a constant against many strings folds only the
// haystack. Pure ASCII text takes a path that neither allocates nor calls ICU.
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace kq {

struct FoldOptions {
    bool caseInsensitive = false;
    bool diacriticInsensitive = false;
    bool any() const { return caseInsensitive || diacriticInsensitive; }
};

bool isASCII(std::string_view text) noexcept;

/// The text as it takes part in a comparison with the given options. Without
/// options the text is returned unchanged (byte-exact comparison); with any
/// option the result is also in canonical composed form.
std::string foldForComparison(std::string_view text, bool caseInsensitive, bool diacriticInsensitive);
inline std::string foldForComparison(std::string_view text, FoldOptions options) {
    return foldForComparison(text, options.caseInsensitive, options.diacriticInsensitive);
}

bool equalsFolded(std::string_view text, std::string_view foldedOther, FoldOptions options);
bool hasPrefixFolded(std::string_view text, std::string_view foldedPrefix, FoldOptions options);
bool hasSuffixFolded(std::string_view text, std::string_view foldedSuffix, FoldOptions options);
bool containsFolded(std::string_view text, std::string_view foldedNeedle, FoldOptions options);
/// Three-way order of the folded text against an already folded string
/// (code point order, not a locale's collation).
int compareFolded(std::string_view text, std::string_view foldedOther, FoldOptions options);

/// Convenience forms that fold both sides (Unicode case folding only).
bool equalsCaseInsensitive(std::string_view a, std::string_view b);
bool hasPrefixCaseInsensitive(std::string_view text, std::string_view prefix);
bool hasSuffixCaseInsensitive(std::string_view text, std::string_view suffix);
bool containsCaseInsensitive(std::string_view text, std::string_view needle);

/// LIKE matching: "*" any run of characters, "?" exactly one character, a
/// backslash makes the next character literal. The pattern must have been
/// folded with the same options.
bool matchesLikePatternFolded(std::string_view text, std::string_view foldedPattern, FoldOptions options);

/// Length in UTF-16 code units, the platform's string length.
std::size_t lengthInUTF16Units(std::string_view text) noexcept;

/// Byte offset of the code point after the one starting at `offset` (lenient
/// with broken UTF-8: a stray byte counts as one character).
std::size_t nextCodePointOffset(std::string_view text, std::size_t offset) noexcept;


/// The library's one UTF-8 decoder. `length` is the byte length of the
/// well-formed sequence at `offset`, 0 when the bytes there are none (a stray
/// or missing continuation byte, an overlong form, a surrogate, a value above
/// U+10FFFF, or the end of the text).
struct UTF8Sequence {
    std::size_t length = 0;
    char32_t codePoint = 0;
};
UTF8Sequence decodeUTF8(std::string_view text, std::size_t offset) noexcept;

/// Appends the code point as UTF-8; a surrogate or a value above U+10FFFF
/// becomes U+FFFD.
void appendUTF8(std::string& out, char32_t codePoint);

/// UTF-16 text as UTF-8, nullopt for an unpaired surrogate. U+0000 is kept.
std::optional<std::string> utf8FromUTF16(std::u16string_view units);
/// UTF-8 text as UTF-16, nullopt when it is not well-formed UTF-8.
std::optional<std::u16string> utf16FromUTF8(std::string_view text);
/// The text from the UTF-16 unit at `index` on (the platform's
/// substringFromIndex:); a malformed byte counts as one unit. nullopt when the
/// text is shorter.
std::optional<std::string> substringFromUTF16Index(std::string_view text, std::size_t index);

}  // namespace kq
