#include "KQFoundation/Graphics/AttributedString.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "KQFoundation/Foundation/Exceptions.h"

namespace {

using kq::Attributes;
using kq::AttributedString;
using kq::MutableAttributedString;
using kq::Range;

Attributes tagged(const char* label) { return Attributes{{"tag", kq::Value(label)}}; }

// "text:label|text:label" over the runs: a gap, an empty run or two equal
// neighbours shows in the text.
std::string runsOf(const AttributedString& string) {
    std::string out;
    for (const auto& run : string.runs()) {
        const auto* label = run.attributes->objectForKey("tag");
        out += (out.empty() ? "" : "|") + string.string().substr(run.byteOffset, run.byteLength) + ":" +
               (label ? *std::get<kq::Value>(*label).asString() : "-");
    }
    return out;
}

MutableAttributedString sample() {  // "aaBBcc" with runs a, B and none
    MutableAttributedString string("aaBBcc");
    string.setAttributes(tagged("a"), {0, 2});
    string.setAttributes(tagged("B"), {2, 2});
    string.setAttributes({}, {4, 2});
    return string;
}

TEST(AttributedStringTest, EditsKeepRunsCoalesced) {
    using Edit = void (*)(MutableAttributedString&);
    const std::tuple<const char*, Edit, const char*> cases[] = {
        {"none", [](auto&) {}, "aa:a|BB:B|cc:-"},
        {"insert takes the previous character's attributes",
         [](auto& s) { s.replaceCharactersInRange({2, 0}, "x"); }, "aax:a|BB:B|cc:-"},
        {"insert at 0 takes the next character's attributes",
         [](auto& s) { s.replaceCharactersInRange({0, 0}, "x"); }, "xaa:a|BB:B|cc:-"},
        {"replace takes the first replaced character's attributes",
         [](auto& s) { s.replaceCharactersInRange({1, 3}, "yz"); }, "ayz:a|cc:-"},
        {"append at the end", [](auto& s) { s.replaceCharactersInRange({6, 0}, "d"); }, "aa:a|BB:B|ccd:-"},
        {"delete joins equal neighbours",
         [](auto& s) { s.setAttributes(tagged("a"), {4, 2}), s.deleteCharactersInRange({2, 2}); }, "aacc:a"},
        {"delete everything", [](auto& s) { s.deleteCharactersInRange({0, 6}); }, ""},
        {"attributed insert keeps its own",
         [](auto& s) { s.insertAttributedString(AttributedString("x", tagged("a")), 4); }, "aa:a|BB:B|x:a|cc:-"},
        {"add over several runs", [](auto& s) { s.addAttribute("tag", kq::Value("B"), {1, 4}); }, "a:a|aBBc:B|c:-"},
        {"remove merges", [](auto& s) { s.removeAttribute("tag", {0, 6}); }, "aaBBcc:-"},
        {"append itself", [](auto& s) { s.appendAttributedString(s); }, "aa:a|BB:B|cc:-|aa:a|BB:B|cc:-"},
    };
    for (auto [name, edit, expected] : cases) {
        SCOPED_TRACE(name);
        MutableAttributedString string = sample();
        edit(string);
        EXPECT_EQ(runsOf(string), expected);
    }
}

TEST(AttributedStringTest, IndexesCountUTF16Units) {
    // U+1F600 takes two units and four bytes, é one unit and two bytes.
    MutableAttributedString string("\xF0\x9F\x98\x80\xC3\xA9x");
    ASSERT_EQ(string.length(), 4u);
    string.addAttribute("tag", kq::Value("e"), {2, 1});
    const auto runs = string.runs();
    ASSERT_EQ(runs.size(), 3u);
    EXPECT_EQ(runs[1].byteOffset, 4u);
    EXPECT_EQ(runs[1].byteLength, 2u);
    EXPECT_EQ(runs[1].range, (Range{2, 1}));

    // Ranges past the end or through the middle of the pair are refused
    // without touching the string.
    const MutableAttributedString before = string;
    EXPECT_THROW(string.addAttribute("tag", kq::Value("x"), {1, 1}), kq::RangeException);
    EXPECT_THROW(string.replaceCharactersInRange({0, 1}, "y"), kq::RangeException);
    EXPECT_THROW(string.deleteCharactersInRange({3, 2}), kq::RangeException);
    EXPECT_THROW(string.deleteCharactersInRange({Range::NotFound, 1}), kq::RangeException);
    EXPECT_THROW(string.attributesAtIndex(4), kq::RangeException);
    EXPECT_EQ(string, before);

    // A read inside the pair is fine: it belongs to the pair's run.
    Range effective;
    string.attributesAtIndex(1, &effective);
    EXPECT_EQ(effective, (Range{0, 2}));
    EXPECT_EQ(string.attributedSubstringFromRange({2, 2}).string(), "\xC3\xA9x");

    // Malformed bytes become replacement characters of one unit each.
    const AttributedString malformed(std::string("a\xFF\xC3", 3));
    EXPECT_EQ(malformed.string(), "a\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(malformed.length(), 3u);
}

TEST(AttributedStringTest, AttributeRangesSpanRunsWithTheSameValue) {
    MutableAttributedString string("abcdef");
    string.addAttribute(kq::NSForegroundColorAttributeName, kq::Color::whiteColor(), {0, 4});
    string.addAttribute("tag", kq::Value("t"), {1, 4});

    Range effective;
    const auto* color = string.attribute(kq::NSForegroundColorAttributeName, 2, &effective);
    ASSERT_NE(color, nullptr);
    EXPECT_EQ(std::get<kq::Color>(*color), kq::Color::whiteColor());
    EXPECT_EQ(effective, (Range{0, 4}));
    EXPECT_EQ(string.attribute(kq::NSForegroundColorAttributeName, 5, &effective), nullptr);
    EXPECT_EQ(effective, (Range{4, 2}));

    std::vector<Range> stretches;
    string.enumerateAttribute("tag", {0, 6}, [&](const kq::AttributeValue*, Range range, bool&) {
        stretches.push_back(range);
    });
    EXPECT_EQ(stretches, (std::vector<Range>{{0, 1}, {1, 4}, {5, 1}}));
    stretches.clear();
    string.enumerateAttribute("tag", {2, 4}, [&](const kq::AttributeValue*, Range range, bool& stop) {
        stretches.push_back(range);
        stop = true;
    });
    EXPECT_EQ(stretches, (std::vector<Range>{{2, 3}}));
}

}  // namespace
