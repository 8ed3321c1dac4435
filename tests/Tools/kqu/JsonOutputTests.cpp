#include "JsonOutput.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using kqu::JsonStyle;
using kqu::toJSON;

TEST(JsonOutput, ScalarsAndContainersCompactAndPretty) {
    kq::Dictionary object{{"b", true}, {"n", nullptr}, {"i", -42}, {"r", 1.5}, {"whole", 2.0},
                          {"a", kq::Array{1, "x", kq::Array{}}}, {"d", kq::Dictionary{}}};
    EXPECT_EQ(toJSON(object, JsonStyle::Compact),
              R"({"b":true,"n":null,"i":-42,"r":1.5,"whole":2.0,"a":[1,"x",[]],"d":{}})");
    EXPECT_EQ(toJSON(std::nan(""), JsonStyle::Compact), "null");
    EXPECT_EQ(toJSON(INFINITY, JsonStyle::Compact), "null");
    // Pretty output indents by two and keeps the key order.
    EXPECT_EQ(toJSON(kq::Dictionary{{"z", 1}, {"a", kq::Array{kq::Dictionary{{"k", "v"}}}}}),
              "{\n  \"z\": 1,\n  \"a\": [\n    {\n      \"k\": \"v\"\n    }\n  ]\n}");
}

TEST(JsonOutput, StringsAreEscaped) {
    EXPECT_EQ(toJSON("quote\" back\\ slash/ \b\f\n\r\t \x01\x1f", JsonStyle::Compact),
              R"("quote\" back\\ slash/ \b\f\n\r\t \u0001\u001f")");
    EXPECT_EQ(toJSON("Café ✓ 𝄞", JsonStyle::Compact), "\"Café ✓ 𝄞\"");
    // Bytes that are not UTF-8 become the replacement character, never broken output.
    EXPECT_EQ(toJSON(std::string("a\xff" "b\xc3"), JsonStyle::Compact), "\"a\xef\xbf\xbd" "b\xef\xbf\xbd\"");
    EXPECT_EQ(toJSON(std::string("\xed\xa0\x80"), JsonStyle::Compact), "\"\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\"");
    EXPECT_EQ(toJSON(kq::Dictionary{{"ke\"y", 1}}, JsonStyle::Compact), R"({"ke\"y":1})");
}

// Whole and fractional dates after 1970 are printed by kqu plist (e2e/plist.sh).
TEST(JsonOutput, DataDatesAndURLs) {
    EXPECT_EQ(toJSON(kq::Data{'M', 'a', 'n'}, JsonStyle::Compact), "\"TWFu\"");
    EXPECT_EQ(toJSON(kq::Data{'M'}, JsonStyle::Compact), "\"TQ==\"");
    EXPECT_EQ(kqu::iso8601(kq::Date{} - std::chrono::milliseconds(500)), "1969-12-31T23:59:59.500Z");
    EXPECT_EQ(toJSON(*kq::URL::URLWithString("https://example.com/a?b=c"), JsonStyle::Compact),
              "\"https://example.com/a?b=c\"");
}

}  // namespace
