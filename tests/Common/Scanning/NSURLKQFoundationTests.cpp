#include "KQFoundation/NSURL+KQFoundation.h"

#include <gtest/gtest.h>

#include "KQFoundation/Foundation/Exceptions.h"

namespace {

std::string text(const std::optional<kq::URL>& url) { return url ? url->absoluteString() : "(nil)"; }

TEST(NSURLKQFoundationTests, ParamsAndAnchorsAreEscapedAndAppended) {
    const struct {
        const char* base;
        kq::Dictionary params;
        const char* anchor;  // none when null
        const char* expected;
    } cases[] = {
        {"https://example.com/p", {{"a", 1}}, nullptr, "https://example.com/p?a=1"},
        // The base's own query is not looked at: a second "?" follows it.
        {"https://example.com/p?x=1", {{"a", "b"}}, nullptr, "https://example.com/p?x=1?a=b"},
        {"https://example.com/", {{"a b", "c&d/e=f+é"}, {"n", 2.5}}, nullptr, "https://example.com/?a%20b=c%26d%2Fe%3Df%2B%C3%A9&n=2.5"},
        {"https://example.com/p?x=1", {}, nullptr, "https://example.com/p?x=1"},
        {"https://example.com/help", {}, "install", "https://example.com/help#install"},
        {"https://example.com/help", {{"lang", "en"}}, "install", "https://example.com/help?lang=en#install"},
        {"", {}, nullptr, "(nil)"},
        {"not a url", {{"a", 1}}, nullptr, "(nil)"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(text(c.anchor ? kq::URL::URLWithString(c.base, c.params, c.anchor) : kq::URL::URLWithString(c.base, c.params)),
                  c.expected) << c.base;
    // Incomplete value-key pairs are dropped.
    EXPECT_EQ(text(kq::URL::URLWithString("https://example.com/",
                                          {{"1", "a"}, {"2", std::nullopt}, {std::nullopt, "c"}, {"3", "a"}})),
              "https://example.com/?a=3");
}

TEST(NSURLKQFoundationTests, AppendingQueryExtendsTheExistingQueryAndKeepsTheFragment) {
    auto base = kq::URL::URLWithString("https://example.com/p?x=1#part");
    ASSERT_TRUE(base);
    EXPECT_EQ(text(base->URLByAppendingQuery(kq::Dictionary{{"a", "b&c=d e+f"}})),
              "https://example.com/p?x=1&a=b%26c=d%20e+f#part");
    auto plain = kq::URL::URLWithString("https://example.com/p");
    EXPECT_EQ(text(plain->URLByAppendingQuery(kq::Dictionary{{"k=", "v"}, {"n", 3}})),
              "https://example.com/p?k%3D=v&n=3");
    EXPECT_EQ(text(plain->URLByAppendingQuery(kq::Dictionary{})), "https://example.com/p");
    // Round trip through the reader.
    auto parameters = base->URLByAppendingQuery(kq::Dictionary{{"q", "100% sure"}})->queryParameters();
    EXPECT_EQ(*parameters.stringValueForKey("q"), "100% sure");
}

TEST(NSURLKQFoundationTests, QueryParametersKeepTheirQuirks) {
    auto url = kq::URL::URLWithString("https://example.com/?a=1&b&c=2=3&d%20e=f%2Bg+h&a=4");
    ASSERT_TRUE(url);
    // A later key replaces an earlier one; a key without "=" or with two has an empty value.
    EXPECT_EQ(url->queryParameters(), (kq::Dictionary{{"a", "4"}, {"b", ""}, {"c", ""}, {"d e", "f+g+h"}}));
    EXPECT_EQ(url->queryParameters().keys(), (std::vector<std::string>{"a", "b", "c", "d e"}));
    EXPECT_TRUE(kq::URL::URLWithString("https://example.com/p")->queryParameters().empty());
    EXPECT_TRUE(kq::URL::fileURLWithPath("/tmp", true).queryParameters().empty());
    // An escape that decodes to no UTF-8 text cannot be stored.
    if (auto broken = kq::URL::URLWithString("https://example.com/?a=%C3")) {
        EXPECT_THROW(broken->queryParameters(), kq::InvalidArgumentException);
    }
}

}  // namespace
