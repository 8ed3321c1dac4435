#include "KQFoundation/NSString+KQFoundation.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>

namespace {

TEST(NSStringKQFoundation, UUIDsAreRandomVersion4InUpperCase) {
    const std::regex canonical("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
    std::set<std::string> seen;
    for (int i = 0; i < 64; ++i) {
        const std::string uuid = kq::stringWithUUID();
        EXPECT_TRUE(std::regex_match(uuid, canonical)) << uuid;
        seen.insert(uuid);
    }
    EXPECT_EQ(seen.size(), 64u);
}

TEST(NSStringKQFoundation, SplitsAtEveryLineTerminator) {
    using Lines = std::vector<std::string>;
    const struct {
        const char* text;
        Lines expected;
    } rows[] = {
        {"", {}},
        {"a", {"a"}},
        {"a\n", {"a"}},
        {"\n", {""}},
        {"a\n\nb", {"a", "", "b"}},
        {"a\r\nb\rc\n\rd", {"a", "b", "c", "", "d"}},
        {"a\u0085b\u2028c\u2029d\u2029", {"a", "b", "c", "d"}},
        {"\u00E9\u2027x\u00C2", {"\u00E9\u2027x\u00C2"}},  // near misses of the terminators' bytes
        {"a\v\fb", {"a\v\fb"}},
    };
    for (const auto& row : rows) EXPECT_EQ(kq::componentsSeparatedByNewLine(row.text), row.expected) << row.text;
}

TEST(NSStringKQFoundation, URLEncodingEscapesQuerySeparators) {
    EXPECT_EQ(kq::URLEncodedString("a-z_0.9~!*'()"), "a-z_0.9~!*'()");
    EXPECT_EQ(kq::URLEncodedString(";/?:@&=+$,"), "%3B%2F%3F%3A%40%26%3D%2B%24%2C");
    EXPECT_EQ(kq::URLEncodedString("a b#%[]\"<>\n"), "a%20b%23%25%5B%5D%22%3C%3E%0A");
    EXPECT_EQ(kq::URLEncodedString("K\u00F6ln \U0001F600"), "K%C3%B6ln%20%F0%9F%98%80");
    EXPECT_EQ(kq::URLEncodedString(""), "");
}

}  // namespace
