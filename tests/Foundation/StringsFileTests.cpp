#include <gtest/gtest.h>

#include <string>

#include "KQFoundation/Foundation/Bundle.h"

namespace {

kq::Data bytesOf(std::string_view text) { return kq::Data(text.begin(), text.end()); }

kq::Data utf16(std::u16string_view text, bool bigEndian, bool withBOM) {
    kq::Data bytes;
    auto put = [&](char16_t unit) {
        auto high = static_cast<std::uint8_t>(unit >> 8), low = static_cast<std::uint8_t>(unit & 0xFF);
        bytes.push_back(bigEndian ? high : low);
        bytes.push_back(bigEndian ? low : high);
    };
    if (withBOM) put(0xFEFF);
    for (char16_t unit : text) put(unit);
    return bytes;
}

std::string stringFor(const kq::Dictionary& d, std::string_view key) {
    const kq::Value* v = d.objectForKey(key);
    return v && v->isString() ? *v->asString() : "<missing>";
}

constexpr std::string_view kTypicalTable = R"(/* Header comment
   over two lines */
"greeting" = "Hello, world";   // trailing comment
"quote" = "She said \"hi\" \\ done";
"lines" = "one\ntwo\tthree";
unquoted_key.1 = some/unquoted-value$;
"bare";
"unicode" = "caf\U00e9 \u2192 \UD83D\UDE00";
"empty" = "";
"greeting" = "Hello again";
)";

TEST(StringsFileTests, ReadsEntriesCommentsEscapesAndWordsInEveryEncodingAndForm) {
    const auto table = kq::parseStringsFile(bytesOf(kTypicalTable)).value_or(kq::Dictionary{});
    const std::pair<const char*, const char*> expected[] = {
        {"greeting", "Hello again"},  // a repeated key keeps the last value
        {"quote", "She said \"hi\" \\ done"},
        {"lines", "one\ntwo\tthree"},
        {"unquoted_key.1", "some/unquoted-value$"},
        {"bare", "bare"},
        {"unicode", "caf\xC3\xA9 \xE2\x86\x92 \xF0\x9F\x98\x80"},  // an escaped surrogate pair is one character
        {"empty", ""},
    };
    for (auto [key, value] : expected) EXPECT_EQ(stringFor(table, key), value) << key;
    EXPECT_EQ(table.size(), 7u);
    for (std::string_view text : {"", "   \n\t", "/* nothing */ // here\n", "\xEF\xBB\xBF"}) {
        auto empty = kq::parseStringsFile(bytesOf(text));
        EXPECT_TRUE(empty && empty->empty()) << text;
    }

    std::u16string text = u"/* Deutsch */\n\"Open\" = \"\u00D6ffnen\";\n\"Smile\" = \"\U0001F600\";\n";
    for (bool bigEndian : {false, true})
        for (bool withBOM : {true, false}) {
            const auto table = kq::parseStringsFile(utf16(text, bigEndian, withBOM)).value_or(kq::Dictionary{});
            EXPECT_EQ(stringFor(table, "Open") + stringFor(table, "Smile"), "\xC3\x96" "ffnen\xF0\x9F\x98\x80")
                << "big-endian " << bigEndian << ", BOM " << withBOM;
        }
    EXPECT_EQ(stringFor(kq::parseStringsFile(bytesOf("\xEF\xBB\xBF\"k\" = \"\xC3\xA9\";")).value(), "k"), "\xC3\xA9");

    EXPECT_EQ(stringFor(kq::parseStringsFile(bytesOf("{ \"a\" = \"1\"; b = 2; }\n")).value(), "b"), "2");
    auto xml = kq::parseStringsFile(bytesOf(R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict><key>Open</key><string>Öffnen</string>
<key>Count</key><integer>3</integer></dict></plist>)"));
    EXPECT_EQ(xml, (kq::Dictionary{{"Open", "Öffnen"}})) << "only strings belong in a strings table";

    EXPECT_FALSE(kq::parseStringsFile(bytesOf("<plist version=\"1.0\"><array/></plist>")));
}

TEST(StringsFileTests, MalformedTablesAreRejected) {
    const char* broken[] = {
        // No semicolon, unterminated string, no equals sign, no value, no key, unterminated comment, two words.
        R"("a" = "b")", R"("a" = "b)", R"("a" "b";)", R"("a" = ;)", R"(= "b";)", R"("a" = "b"; /* open)", R"("a" = b c;)",
        // Bad hex escape, lone high and low surrogates, an escape that swallows the closing quote.
        R"("a" = "\U12G4";)", R"("a" = "\UD83D";)", R"("a" = "\UDE00";)", R"("a" = "\";)",
        R"({ "a" = "b";)", R"("a" = "b"; } )",  // unclosed and stray braces
        // Truncated, overlong and surrogate UTF-8.
        "\"a\" = \"\xC3\";", "\"a\" = \"\xC0\xAF\";", "\"a\" = \"\xED\xA0\x80\";",
        "\"a\" = \"#\";\n#",           // character outside any token
        "/* c */ \"k\" = \"v\\n\\U00",  // cut inside an escape (the fuzz target tries every cut)
    };
    for (const char* text : broken) EXPECT_FALSE(kq::parseStringsFile(bytesOf(text))) << text;
    // UTF-16 of odd length, and with an unpaired surrogate.
    kq::Data odd = utf16(u"\"a\" = \"b\";", false, true);
    odd.push_back('x');
    EXPECT_FALSE(kq::parseStringsFile(odd));
    EXPECT_FALSE(kq::parseStringsFile(utf16(u"\"a\" = \"\xD800\";", false, true)));
}

}  // namespace
