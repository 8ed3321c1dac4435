#include "KQFoundation/NSMutableAttributedString+KQFoundation.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace {

using kq::Attributes;
using kq::AttributedString;
using kq::Color;
using kq::MutableAttributedString;
using kq::Range;

const Color kRed = Color::colorWithCalibratedRed(1, 0, 0, 1);
const Color kBlue = Color::colorWithCalibratedRed(0, 0, 1, 1);

// The text of each run that has a foreground colour, in order.
std::vector<std::string> coloredRuns(const AttributedString& string) {
    std::vector<std::string> out;
    for (const auto& run : string.runs()) {
        if (run.attributes->foregroundColor()) out.push_back(string.string().substr(run.byteOffset, run.byteLength));
    }
    return out;
}

TEST(NSMutableAttributedStringKQFoundationTest, UnfoldTag) {
    struct Case { const char* text; const char* tag; const char* unfolded; Range range; };
    const Case cases[] = {
        {"x<b>y</b>z", "b", "xyz", {1, 1}},
        {"x<b>yz", "b", "xyz", {1, 2}},                          // unclosed: to the end
        {"xyz</b>", "b", "xyz</b>", {Range::NotFound, 0}},      // no opening tag
        {"</b>x<b>y", "b", "</b>xy", {5, 1}},                   // closing searched after the opening
        {"<b>a</b>b</b>", "b", "ab</b>", {0, 1}},               // the first closing tag ends it
        {"<b></b>x", "b", "x", {0, 0}},
        {"\xF0\x9F\x98\x80<i>\xC3\xA9\xF0\x9F\x98\x80</i>!", "i", "\xF0\x9F\x98\x80\xC3\xA9\xF0\x9F\x98\x80!", {2, 3}},
        {"<bold>x</b>", "b", "<bold>x</b>", {Range::NotFound, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        MutableAttributedString string(c.text);
        EXPECT_EQ(string.unfoldTag(c.tag), c.range);
        EXPECT_EQ(string.string(), c.unfolded);
    }
}

TEST(NSMutableAttributedStringKQFoundationTest, UnfoldTagsStyleEveryOccurrence) {
    MutableAttributedString string("\xF0\x9F\x98\x80<b>one</b> <i>two</i> <b>three</b> <b>four");
    string.setAttribute("kept", kq::Value(true));
    string.unfoldTagsWithAttributes({{"b", Attributes{{kq::NSForegroundColorAttributeName, kRed}}},
                                     {"i", Attributes{{kq::NSForegroundColorAttributeName, kBlue}}}});
    EXPECT_EQ(string.string(), "\xF0\x9F\x98\x80one two three four");
    EXPECT_EQ(coloredRuns(string), (std::vector<std::string>{"one", "two", "three", "four"}));
    EXPECT_EQ(*string.attributesAtIndex(7).foregroundColor(), kBlue);
    for (const auto& run : string.runs()) EXPECT_NE(run.attributes->objectForKey("kept"), nullptr);

    // A removed tag can leave another behind; thousands of tags take one pass.
    const std::vector<std::pair<std::string, Attributes>> red = {{"b", Attributes{{kq::NSForegroundColorAttributeName, kRed}}}};
    MutableAttributedString formed("<<b>b>x</b>y");
    formed.unfoldTagsWithAttributes(red);
    EXPECT_EQ(coloredRuns(formed), std::vector<std::string>{"xy"});
    std::string tagged;
    for (int i = 0; i < 10000; ++i) tagged += "<b>x</b>";
    MutableAttributedString many(tagged + "<b>y");
    many.unfoldTagsWithAttributes(red);
    EXPECT_EQ(coloredRuns(many), std::vector<std::string>{std::string(10000, 'x') + "y"});

    MutableAttributedString other("<u>a</u><u>b</u>");
    other.unfoldTagsWithAttributed({{"u", Attributes{{"u", kq::Value(1)}}}});
    EXPECT_EQ(other.runs().size(), 1u);  // both spans join into one run
}

TEST(NSMutableAttributedStringKQFoundationTest, UnfoldingAllTagsAgreesWithUnfoldingOneAtATime) {
    // Random texts of tag fragments, where removing one tag often forms another.
    const char* pieces[] = {"<", ">", "/", "b", "x", "\xC3\xA9", "\xF0\x9F\x98\x80", "<b>", "</b>", "<bb>", "</bb>", "<>", "</>"};
    const std::vector<std::pair<std::string, Attributes>> tags = {
        {"b", Attributes{{kq::NSForegroundColorAttributeName, kRed}}},
        {"bb", Attributes{{kq::NSForegroundColorAttributeName, kBlue}, {"bb", kq::Value(1)}}},
        {"", Attributes{{"empty", kq::Value(1)}}}};
    std::mt19937 random(7);
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        for (unsigned count = random() % 14; count > 0; --count) text += pieces[random() % std::size(pieces)];
        MutableAttributedString all(text, Attributes{{"kept", kq::Value(1)}});
        MutableAttributedString one = all;
        all.unfoldTagsWithAttributes(tags);
        for (const auto& [tag, attributes] : tags) {
            for (Range range = one.unfoldTag(tag); range.location != Range::NotFound; range = one.unfoldTag(tag)) {
                one.addAttributes(attributes, range);
            }
        }
        ASSERT_EQ(all, one) << text;
    }
}

TEST(NSMutableAttributedStringKQFoundationTest, WholeStringAttributesAndReplace) {
    MutableAttributedString string("say NAME, NAME");
    string.setColor(kRed);
    string.replaceString("NAME", AttributedString("\xC3\xA9mile", Attributes{{"name", kq::Value(true)}}));
    string.replaceString("absent", AttributedString("x"));
    string.replaceString("", AttributedString("x"));
    EXPECT_EQ(string.string(), "say \xC3\xA9mile, NAME");
    EXPECT_EQ(coloredRuns(string), (std::vector<std::string>{"say ", ", NAME"}));
    Range effective;
    EXPECT_NE(string.attribute("name", 4, &effective), nullptr);
    EXPECT_EQ(effective, (Range{4, 5}));

    string.removeAttribute("name");
    string.setColor(kBlue);
    EXPECT_EQ(string.runs().size(), 1u);
    EXPECT_EQ(*string.attributesAtIndex(0).foregroundColor(), kBlue);
}

TEST(NSMutableAttributedStringKQFoundationTest, SetFontSizeConvertsFontsAndFillsTheSystemFont) {
    MutableAttributedString string("serif plain");
    string.setColor(kRed);
    string.addAttribute(kq::NSFontAttributeName, kq::Font{"DejaVu Serif", 9, 700, true}, {0, 5});
    string.setFontSize(30);

    const auto &serif = string.attributesAtIndex(0), &plain = string.attributesAtIndex(6);
    EXPECT_EQ(*serif.font(), (kq::Font{"DejaVu Serif", 30, 700, true}));
    EXPECT_EQ(*plain.font(), kq::FontManager::sharedFontManager().systemFontOfSize(30));
    EXPECT_EQ(*serif.foregroundColor(), kRed);
    EXPECT_EQ(*plain.foregroundColor(), kRed);

    // Thousands of runs with fonts of their own are converted in one pass.
    std::string tagged;
    for (int i = 0; i < 10000; ++i) tagged += "<b>x</b>y";
    MutableAttributedString many(tagged);
    many.unfoldTagsWithAttributes({{"b", Attributes{{kq::NSFontAttributeName, kq::Font{"DejaVu Serif", 9}}}}});
    many.setFontSize(30);
    EXPECT_EQ(many.runs().size(), 20000u);
    EXPECT_EQ(*many.attributesAtIndex(19998).font(), (kq::Font{"DejaVu Serif", 30}));
    EXPECT_EQ(*many.attributesAtIndex(19999).font(), kq::FontManager::sharedFontManager().systemFontOfSize(30));
}

}  // namespace
