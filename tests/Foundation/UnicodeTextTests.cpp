#include "Foundation/UnicodeText.h"

#include <gtest/gtest.h>

namespace {

using kq::FoldOptions;

constexpr FoldOptions kCase{true, false};
constexpr FoldOptions kDiacritics{false, true};
constexpr FoldOptions kBoth{true, true};

TEST(UnicodeText, FoldsCaseTheUnicodeWay) {
    EXPECT_EQ(kq::foldForComparison("Café.APP", true, false), "café.app");
    EXPECT_EQ(kq::foldForComparison("STRASSE", true, false), kq::foldForComparison("straße", true, false));
    EXPECT_EQ(kq::foldForComparison("ΣΊΣΥΦΟΣ", true, false), kq::foldForComparison("σίσυφος", true, false));
    // Without options the text stays byte for byte what it was.
    EXPECT_EQ(kq::foldForComparison("Cafe\u0301", false, false), "Cafe\u0301");
}

TEST(UnicodeText, DropsDiacriticsAndUnifiesCanonicalForms) {
    EXPECT_EQ(kq::foldForComparison("Crème Brûlée", false, true), "Creme Brulee");
    EXPECT_EQ(kq::foldForComparison("Crème", true, true), "creme");
    // Precomposed and decomposed spellings are the same text once folded.
    EXPECT_EQ(kq::foldForComparison("caf\u00e9", true, false), kq::foldForComparison("cafe\u0301", true, false));
    EXPECT_NE(kq::foldForComparison("café", true, false), "cafe");
}

TEST(UnicodeText, SuffixTakesTheUnicodePathWhenTheTailIsNotASCII) {
    EXPECT_TRUE(kq::hasSuffixCaseInsensitive("/Applications/Café.app", "É.APP"));
    EXPECT_TRUE(kq::hasSuffixCaseInsensitive("/Applications/Cafe\u0301.app", "\u00c9.APP"));
    EXPECT_TRUE(kq::hasSuffixCaseInsensitive("Große", "SSE"));
    EXPECT_TRUE(kq::hasSuffixCaseInsensitive("/A/Preview.APP", ".app"));
    EXPECT_FALSE(kq::hasSuffixCaseInsensitive("/A/Preview.apps", ".app"));
    EXPECT_FALSE(kq::hasSuffixCaseInsensitive("pp", ".app"));
    // The Kelvin sign folds to an ASCII "k": the short-cut must not decide alone.
    EXPECT_TRUE(kq::hasSuffixCaseInsensitive("x.\u212a", ".k"));
    EXPECT_TRUE(kq::hasSuffixFolded("/a/Résumé.pdf", kq::foldForComparison("resume.PDF", kBoth), kBoth));
    EXPECT_FALSE(kq::hasSuffixFolded("/a/Résumé.pdf", "resume.pdf", kCase));
}

TEST(UnicodeText, PrefixRespectsACombiningMarkRightAfterIt) {
    EXPECT_TRUE(kq::hasPrefixCaseInsensitive("COM.example.App", "com.EXAMPLE"));
    EXPECT_TRUE(kq::hasPrefixCaseInsensitive("Éclair", "é"));
    // "e" + combining acute is "é", which does not begin with a plain "e".
    EXPECT_FALSE(kq::hasPrefixCaseInsensitive("e\u0301clair", "E"));
    EXPECT_TRUE(kq::hasPrefixFolded("e\u0301clair", "e", kDiacritics));
    EXPECT_FALSE(kq::hasPrefixCaseInsensitive("co", "com"));
}

TEST(UnicodeText, EqualsContainsAndOrder) {
    EXPECT_TRUE(kq::equalsCaseInsensitive("ÅNGSTRÖM", "ångström"));
    EXPECT_FALSE(kq::equalsCaseInsensitive("abc", "abd"));
    EXPECT_TRUE(kq::containsCaseInsensitive("Library/Caches/COM.Example", "caches/com"));
    EXPECT_TRUE(kq::containsCaseInsensitive("Ünïcödé text", "CÖD"));
    EXPECT_TRUE(kq::containsCaseInsensitive("anything", ""));
    EXPECT_FALSE(kq::containsCaseInsensitive("abc", "abcd"));

    EXPECT_LT(kq::compareFolded("Apple", "banana", kCase), 0);
    EXPECT_EQ(kq::compareFolded("APPLE", "apple", kCase), 0);
    EXPECT_GT(kq::compareFolded("apples", "apple", kCase), 0);
    EXPECT_EQ(kq::compareFolded("Émile", "emile", kBoth), 0);
    EXPECT_LT(kq::compareFolded("B", "a", {}), 0);  // plain byte order without options
}

TEST(UnicodeText, LikePatterns) {
    const auto like = [](std::string_view text, std::string_view pattern, FoldOptions options = {}) {
        return kq::matchesLikePatternFolded(text, kq::foldForComparison(pattern, options), options);
    };
    EXPECT_TRUE(like("com.example.app.plist", "com.example.*"));
    EXPECT_TRUE(like("com.example.app.plist", "*.plist"));
    EXPECT_TRUE(like("abc", "a?c"));
    EXPECT_TRUE(like("aéc", "a?c"));  // "?" is one character, not one byte
    EXPECT_FALSE(like("aéc", "a??c"));
    EXPECT_FALSE(like("abc", "a?"));
    EXPECT_TRUE(like("", "*"));
    EXPECT_FALSE(like("", "?"));
    EXPECT_TRUE(like("a*b", "a\\*b"));
    EXPECT_FALSE(like("axb", "a\\*b"));
    EXPECT_TRUE(like("what?", "what\\?"));
    EXPECT_FALSE(like("whatx", "what\\?"));
    EXPECT_TRUE(like("back\\slash", "back\\\\slash"));
    EXPECT_TRUE(like("mississippi", "*sip*"));
    EXPECT_TRUE(like("mississippi", "m*iss*ppi"));
    EXPECT_FALSE(like("mississippi", "m*iss*ppx"));
    EXPECT_FALSE(like("COM.Example", "com.example"));
    EXPECT_TRUE(like("COM.Example.App", "com.example.*", kCase));
    EXPECT_TRUE(like("Résumé.DOC", "resume.*", kBoth));
    EXPECT_FALSE(like("straße", "stra?e", kCase));  // folded, "ß" is two letters
    EXPECT_TRUE(like("straße", "STRASS?", kCase));
}

TEST(UnicodeText, CountsUTF16UnitsAndSurvivesBrokenUTF8) {
    EXPECT_EQ(kq::lengthInUTF16Units("abc"), 3u);
    EXPECT_EQ(kq::lengthInUTF16Units("é"), 1u);
    EXPECT_EQ(kq::lengthInUTF16Units("😀"), 2u);
    const std::string broken = "a\xff\xc3";
    EXPECT_EQ(kq::lengthInUTF16Units(broken), 3u);
    EXPECT_FALSE(kq::hasSuffixCaseInsensitive(broken, ".APP"));
    EXPECT_TRUE(kq::containsCaseInsensitive(broken, "A"));
    EXPECT_FALSE(kq::matchesLikePatternFolded(broken, "a?", kCase));
}

// The one decoder every reader of UTF-8 uses: what it refuses is what the
// platform's decoder refuses.
TEST(UnicodeText, DecodesWellFormedUTF8Only) {
    struct Case {
        std::string_view bytes;
        std::size_t length;
        char32_t codePoint;
    };
    for (const Case& c : {Case{"a", 1, U'a'}, Case{"\xC3\xA9", 2, 0xE9}, Case{"\xE2\x82\xAC", 3, 0x20AC},
                          Case{"\xF0\x9F\x98\x80", 4, 0x1F600}, Case{"\xC0\xAF", 0, 0} /* overlong */,
                          Case{"\xED\xA0\x80", 0, 0} /* surrogate */, Case{"\xF4\x90\x80\x80", 0, 0} /* > U+10FFFF */,
                          Case{"\xE2\x82", 0, 0} /* cut short */, Case{"\x80", 0, 0}, Case{"\xC3(", 0, 0}}) {
        const kq::UTF8Sequence sequence = kq::decodeUTF8(c.bytes, 0);
        EXPECT_EQ(sequence.length, c.length) << c.bytes;
        if (c.length == 0) continue;
        EXPECT_EQ(sequence.codePoint, c.codePoint) << c.bytes;
        std::string encoded;
        kq::appendUTF8(encoded, c.codePoint);
        EXPECT_EQ(encoded, c.bytes);
    }
    EXPECT_EQ(kq::decodeUTF8("ab", 2).length, 0u);
    std::string replaced;
    kq::appendUTF8(replaced, 0xD800);
    EXPECT_EQ(replaced, "\xEF\xBF\xBD");
    EXPECT_EQ(kq::substringFromUTF16Index("\xF0\x9F\x98\x80x", 2), "x");
    EXPECT_EQ(kq::substringFromUTF16Index("ab", 3), std::nullopt);
}

}  // namespace
