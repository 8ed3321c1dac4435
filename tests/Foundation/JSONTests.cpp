#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "KQFoundation/NSObject+JSON.h"

using kq::Array;
using kq::Dictionary;
using kq::Value;

namespace {

// The compact text of what the dictionary reader makes of `text`, or "nil".
std::string readDictionary(std::string_view text, bool ignoreNull = false) {
    const auto d = Dictionary::dictionaryWithJSONString(text, ignoreNull);
    return d ? d->JSONString() : "nil";
}

std::string readArray(std::string_view text, bool ignoreNull = false) {
    const auto a = Array::arrayWithJSONString(text, ignoreNull);
    return a ? a->JSONString() : "nil";
}

// The string member "s" of {"s":"<body>"}, or "nil".
std::string readString(std::string_view body) {
    const auto d = Dictionary::dictionaryWithJSONString("{\"s\":\"" + std::string(body) + "\"}");
    if (!d) return "nil";
    const std::string* s = d->contains("s") ? d->objectForKey("s")->asString() : nullptr;
    return s ? *s : "missing";
}

}  // namespace

TEST(JSONWriter, WritesValuesCompactly) {
    const double inf = std::numeric_limits<double>::infinity();
    const std::pair<Value, std::string> cases[] = {
        {Value(), "null"},          {Value(false), "false"}, {Value(-42), "-42"},
        {Value(18446744073709551615ULL), "18446744073709551615"},
        {Value(1.0), "1"},          {Value(0.1), "0.1"},     {Value(-2.5e-300), "-2.5e-300"},
        {Value(std::nan("")), "null"}, {Value(-inf), "null"}, {Value(kq::Data{1, 2}), "null"},
        {Value(kq::dateWithTimeIntervalSinceReferenceDate(0)), "null"},
        {Value("a/b"), R"("a\/b")"},
        {Value("tab\there\x1f"), R"("tab\u0009here\u001F")"},
        {Value(R"(q" b\ \")"), R"("q\" b\\ \\\"")"},
        {Value("caf\xC3\xA9 \x7F \xFF"), "\"caf\xC3\xA9 \x7F \xFF\""},
        {Value(Array{}), "[]"},     {Value(Dictionary{}), "{}"},
        {Value(Array{1, "x", Value(), Array{Dictionary{}}}), R"([1,"x",null,[{}]])"},
        {Value(Dictionary{{"z", 1}, {"a", Array{true}}, {"m", Dictionary{{"k", "v"}}}}),
         R"({"z":1,"a":[true],"m":{"k":"v"}})"},
        // Keys are written as they are.
        {Value(Dictionary{{"say \"hi\"/", 1}}), R"({"say "hi"/":1})"},
    };
    for (const auto& [value, text] : cases) EXPECT_EQ(value.JSONString(), text) << text;
    EXPECT_EQ(kq::JSONString("a\nb"), R"("a\u000Ab")");
}

TEST(JSONReader, ObjectsAndArraysAreReadLenientlyAndNullsCanBeLeftOut) {
    const std::pair<std::string_view, std::string_view> cases[] = {
        {R"({"a":1,"b":"x","c":true,"d":false,"e":null,"f":-1.5e2})",
         R"({"a":1,"b":"x","c":true,"d":false,"e":null,"f":-150})"},
        {R"([{"a":1},{"b":2}])", R"({"a":1})"},  // everything before the first "{" is skipped
        {R"({"a":1,})", R"({"a":1})"},
        {R"({"a":1,"a":2,"b":3})", R"({"a":2,"b":3})"},
        {R"({"a":1} trailing [junk)", R"({"a":1})"},
        {"\t{\r\n \"a\"\xC2\xA0:\xE2\x80\xA8" "1\xE3\x80\x80}", R"({"a":1})"},
        {R"({"a":})", "{}"},             // a failed value ends the member list...
        {R"({"a":[1,2}, "b":1})", "{}"},  // ...even a nested one, when "}" follows
        {R"({"a":tru})", "nil"},
        {R"({a:1})", "nil"},
        {R"({"a":"open\)", "nil"},
        {"[1,2]", "nil"},
        {R"({"x":{"y":[1,[2,{}]]}})", R"({"x":{"y":[1,[2,{}]]}})"},
    };
    for (const auto& [text, expected] : cases) EXPECT_EQ(readDictionary(text), expected) << text;

    const std::pair<std::string_view, std::string_view> arrayCases[] = {
        {"[1 2 3]", "[1,2,3]"}, {"[1,]", "[1]"},       {" [ ] ", "[]"},
        {"[1,2,", "nil"},       {"[1,2}", "nil"},        {"", "nil"},           {"[[1],[[]],{}]", "[[1],[[]],{}]"},
        {"[\"a\" \"b\"]", "[\"a\",\"b\"]"}, {"[-]", "nil"}, {"[1e400,-1e999,1e-400]", "[null,null,0]"},
    };
    for (const auto& [text, expected] : arrayCases) EXPECT_EQ(readArray(text), expected) << text;

    const std::string_view text = R"({"a":null,"b":{"c":null},"d":[null,1,[null]]})";
    EXPECT_EQ(readDictionary(text), text);
    EXPECT_EQ(readDictionary(text, true), R"({"b":{},"d":[1,[]]})");
}

TEST(JSONReader, StringEscapes) {
    const std::pair<std::string_view, std::string> cases[] = {
        {R"(\"\/\\\b\f\n\r\t)", "\"/\\\b\f\n\r\t"},
        {R"(\q\x)", "\\q\\x"},
        {R"(\u0041\u00e9\u20AC)", "A\xC3\xA9\xE2\x82\xAC"},
        {R"(\ud83d\ude00)", "\xF0\x9F\x98\x80"},
        {R"(\ud83dx\ude00\ud83d)", "\xEF\xBF\xBDx\xEF\xBF\xBD\xEF\xBF\xBD"},  // lone halves
        {R"(a\u0000b)", std::string("a\0b", 3)},
        {"raw\x01\ttab \xFF\xC3", "raw\x01\ttab \xFF\xC3"},  // raw bytes, broken UTF-8 too
        {R"(\u00e)", "nil"},
        {R"(\uZZZZ)", "nil"},
    };
    for (const auto& [body, expected] : cases) EXPECT_EQ(readString(body), expected) << body;
}

TEST(JSONReader, EveryNumberIsARealAndRoundTrips) {
    const auto d = Dictionary::dictionaryWithJSONString(R"({"one":1,"pi":3.141592653589793,"neg":-0.1})");
    ASSERT_TRUE(d);
    EXPECT_TRUE(d->objectForKey("one")->isReal());
    EXPECT_EQ(d->JSONString(), R"({"one":1,"pi":3.141592653589793,"neg":-0.1})");

    Dictionary original{{"text", "line\n\"quoted\" a\\b </tag> caf\xC3\xA9 \xF0\x9F\x98\x80"},
                        {"list", Array{0.5, -3.0, true, Value(), Array{}, Dictionary{}}},
                        {"nested", Dictionary{{"deep", Dictionary{{"x", 1e-7}}}}}};
    EXPECT_EQ(Dictionary::dictionaryWithJSONString(original.JSONString()), original);
}

TEST(JSONReader, DeepAndTruncatedInputFailCleanly) {
    const auto nested = [](int depth) {
        return std::string(static_cast<std::size_t>(depth), '[') + std::string(static_cast<std::size_t>(depth), ']');
    };
    EXPECT_TRUE(Array::arrayWithJSONString(nested(512)));
    EXPECT_FALSE(Array::arrayWithJSONString(nested(513)));
    EXPECT_FALSE(Array::arrayWithJSONString(std::string(1'000'000, '[')));
    std::string objects;
    for (int i = 0; i < 100'000; ++i) objects += "{\"a\":";
    EXPECT_FALSE(Dictionary::dictionaryWithJSONString(objects));
    EXPECT_FALSE(Dictionary::dictionaryWithJSONString(objects + "1" + std::string(100'000, '}')));

    const std::string text = R"({"a":[1,{"b":"x\u00e9\n"},null],"c":{"d":-2.5e3}})";
    for (std::size_t n = 0; n < text.size(); ++n)
        EXPECT_FALSE(Dictionary::dictionaryWithJSONString(text.substr(0, n))) << n;
    EXPECT_TRUE(Dictionary::dictionaryWithJSONString(text));
}
