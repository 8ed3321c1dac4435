#include "Foundation/UnicodeText.h"

#include <gtest/gtest.h>

namespace {

using kq::FoldOptions;

constexpr FoldOptions kCase{true, false};
constexpr FoldOptions kDiacritics{false, true};
constexpr FoldOptions kBoth{true, true};

TEST(UnicodeText, FoldsCaseAndDiacriticsTheUnicodeWayForPrefixSuffixEqualsAndContains) {
    const auto fold = [](std::string_view text, FoldOptions options) { return kq::foldForComparison(text, options); };
    EXPECT_EQ(fold("Café.APP", kCase), "café.app");
    EXPECT_EQ(fold("STRASSE", kCase), fold("straße", kCase));
    EXPECT_EQ(fold("ΣΊΣΥΦΟΣ", kCase), fold("σίσυφος", kCase));
    EXPECT_EQ(fold("Cafe\u0301", {}), "Cafe\u0301");  // without options, byte for byte
    EXPECT_EQ(fold("Crème Brûlée", kDiacritics), "Creme Brulee");
    EXPECT_EQ(fold("Crème", kBoth), "creme");
    // Precomposed and decomposed spellings are the same text once folded.
    EXPECT_EQ(fold("caf\u00e9", kCase), fold("cafe\u0301", kCase));
    EXPECT_NE(fold("café", kCase), "cafe");

    using Test = bool (*)(std::string_view, std::string_view);
    const struct {
        Test f;
        const char *text, *needle;
        bool expected;
    } rows[] = {
        {kq::hasSuffixCaseInsensitive, "/Applications/Café.app", "É.APP", true}, {kq::hasSuffixCaseInsensitive, "Große", "SSE", true},
        {kq::hasSuffixCaseInsensitive, "/Applications/Cafe\u0301.app", "\u00c9.APP", true},
        {kq::hasSuffixCaseInsensitive, "/A/Preview.APP", ".app", true}, {kq::hasSuffixCaseInsensitive, "pp", ".app", false},
        {kq::hasSuffixCaseInsensitive, "/A/Preview.apps", ".app", false},
        {kq::hasSuffixCaseInsensitive, "x.\u212a", ".k", true},  // Kelvin folds to ASCII: no ASCII short-cut alone
        {kq::hasPrefixCaseInsensitive, "COM.example.App", "com.EXAMPLE", true}, {kq::hasPrefixCaseInsensitive, "co", "com", false},
        {kq::hasPrefixCaseInsensitive, "Éclair", "é", true},
        {kq::hasPrefixCaseInsensitive, "e\u0301clair", "E", false},  // "e" + acute is "é", not "e"
        {kq::equalsCaseInsensitive, "ÅNGSTRÖM", "ångström", true}, {kq::equalsCaseInsensitive, "abc", "abd", false},
        {kq::containsCaseInsensitive, "Library/Caches/COM.Example", "caches/com", true},
        {kq::containsCaseInsensitive, "Ünïcödé text", "CÖD", true}, {kq::containsCaseInsensitive, "anything", "", true},
        {kq::containsCaseInsensitive, "abc", "abcd", false},
    };
    for (const auto& r : rows) EXPECT_EQ(r.f(r.text, r.needle), r.expected) << r.text << " / " << r.needle;
    EXPECT_TRUE(kq::hasSuffixFolded("/a/Résumé.pdf", kq::foldForComparison("resume.PDF", kBoth), kBoth));
    EXPECT_FALSE(kq::hasSuffixFolded("/a/Résumé.pdf", "resume.pdf", kCase));
    EXPECT_TRUE(kq::hasPrefixFolded("e\u0301clair", "e", kDiacritics));

    EXPECT_TRUE(kq::compareFolded("Apple", "banana", kCase) < 0 && kq::compareFolded("apples", "apple", kCase) > 0);
    EXPECT_TRUE(kq::compareFolded("APPLE", "apple", kCase) == 0 && kq::compareFolded("Émile", "emile", kBoth) == 0);
    EXPECT_LT(kq::compareFolded("B", "a", {}), 0);  // plain byte order without options
}

TEST(UnicodeText, LikePatterns) {
    const struct {
        const char *text, *pattern;
        FoldOptions options;
        bool expected;
    } rows[] = {
        {"com.example.app.plist", "com.example.*", {}, true}, {"com.example.app.plist", "*.plist", {}, true},
        {"abc", "a?c", {}, true},          {"aéc", "a?c", {}, true} /* one character, not one byte */,
        {"aéc", "a??c", {}, false},        {"abc", "a?", {}, false},
        {"", "*", {}, true},               {"", "?", {}, false},
        {"a*b", "a\\*b", {}, true},        {"axb", "a\\*b", {}, false},
        {"what?", "what\\?", {}, true},    {"whatx", "what\\?", {}, false},
        {"back\\slash", "back\\\\slash", {}, true},
        {"mississippi", "*sip*", {}, true}, {"mississippi", "m*iss*ppi", {}, true}, {"mississippi", "m*iss*ppx", {}, false},
        {"COM.Example", "com.example", {}, false}, {"COM.Example.App", "com.example.*", kCase, true},
        {"Résumé.DOC", "resume.*", kBoth, true},
        {"straße", "stra?e", kCase, false} /* folded, "ß" is two letters */, {"straße", "STRASS?", kCase, true},
    };
    for (const auto& r : rows) {
        EXPECT_EQ(kq::matchesLikePatternFolded(r.text, kq::foldForComparison(r.pattern, r.options), r.options), r.expected)
            << r.text << " LIKE " << r.pattern;
    }
}

TEST(UnicodeText, DecodesWellFormedUTF8OnlyCountsUTF16UnitsAndSurvivesBrokenUTF8) {
    const std::string broken = "a\xff\xc3";
    EXPECT_EQ(kq::lengthInUTF16Units("abcé😀" + broken), 9u);
    EXPECT_TRUE(kq::containsCaseInsensitive(broken, "A"));
    EXPECT_FALSE(kq::hasSuffixCaseInsensitive(broken, ".APP") || kq::matchesLikePatternFolded(broken, "a?", kCase));
    EXPECT_EQ(kq::substringFromUTF16Index("\xF0\x9F\x98\x80x", 2), "x");
    EXPECT_EQ(kq::substringFromUTF16Index("ab", 3), std::nullopt);

    // The one decoder every reader of UTF-8 uses: what it refuses is what the platform's decoder refuses.
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
}

}  // namespace
