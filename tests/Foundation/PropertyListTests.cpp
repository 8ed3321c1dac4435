#include <gtest/gtest.h>

#include "KQFoundation/Foundation/PropertyList.h"
#include "Support/TemporaryDirectory.h"

using kq::PropertyList;
using kq::PropertyListFormat;
using kq::Value;

namespace {

Value sample() {
    kq::Dictionary inner{{"flag", true}, {"when", kq::dateWithTimeIntervalSinceReferenceDate(86400)}};
    return kq::Dictionary{{"CFBundleIdentifier", "com.example.Café"},
                          {"count", -42},
                          {"ratio", 0.25},
                          {"bytes", kq::Data{0, 1, 255}},
                          {"list", kq::Array{Value("a"), Value(7), Value(inner)}},
                          {"empty", kq::Dictionary{}}};
}

}  // namespace

TEST(PropertyList, RoundTripsEveryKindInBothFormats) {
    for (auto format : {PropertyListFormat::XML, PropertyListFormat::Binary}) {
        const kq::Data bytes = PropertyList::write(sample(), format);
        ASSERT_FALSE(bytes.empty());
        auto back = PropertyList::read(bytes);
        ASSERT_TRUE(back.has_value());
        EXPECT_EQ(*back, sample());
        EXPECT_EQ(back->asDictionary()->keys().front(), "CFBundleIdentifier");
    }
}

TEST(PropertyList, ReadsXMLWithCommentsAndDoctype) {
    const char* xml = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<!-- a comment before the root -->
<dict>
  <!-- and one inside -->
  <key>Name</key><string>x &amp; y</string>
  <key>Items</key><array><integer>1</integer><real>2.5</real><true/></array>
</dict>
</plist>)";
    auto value = PropertyList::read(std::string_view(xml));
    ASSERT_TRUE(value.has_value());
    const kq::Dictionary& d = *value->asDictionary();
    EXPECT_EQ(*d.objectForKey("Name"), Value("x & y"));
    EXPECT_EQ(d.objectForKey("Items")->asArray()->size(), 3u);
}

TEST(PropertyList, MalformedInputGivesNothing) {
    const std::vector<std::string> bad = {
        "",
        "not a plist",
        "<plist version=\"1.0\"><dict><key>a</key><string>x</dict></plist>",
        std::string("bplist00\x00\x01\x02", 11),
        std::string("bplist00") + std::string(40, '\xff'),
    };
    for (const auto& input : bad) EXPECT_FALSE(PropertyList::read(std::string_view(input)).has_value()) << input;
}

TEST(PropertyList, FilesAreWrittenAtomicallyAndReadBack) {
    kqtest::TemporaryDirectory dir;
    const std::string path = dir / "Info.plist";
    ASSERT_TRUE(PropertyList::writeFile(path, sample(), PropertyListFormat::Binary));
    auto dictionary = PropertyList::readDictionaryFile(path);
    ASSERT_TRUE(dictionary.has_value());
    EXPECT_EQ(Value(*dictionary), sample());
    EXPECT_FALSE(PropertyList::readFile(dir / "missing.plist").has_value());
    dir.writeFile("array.plist", "<plist><array/></plist>");
    EXPECT_FALSE(PropertyList::readDictionaryFile(dir / "array.plist").has_value());
}
