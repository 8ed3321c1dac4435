#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <cstdlib>

#include "KQFoundation/Foundation/PropertyList.h"
#include "Support/TemporaryDirectory.h"

using kq::PropertyList;
using kq::PropertyListFormat;
using kq::Value;

namespace {

Value sample() {
    kq::Dictionary inner{{"flag", true}, {"when", Value::dateWithTimeIntervalSinceReferenceDate(86400.25)}};
    return kq::Dictionary{{"CFBundleIdentifier", "com.example.Café"},
                          {"count", -42},
                          {"ratio", 0.25},
                          {"bytes", kq::Data{0, 1, 255}},
                          {"list", kq::Array{Value("a"), Value(7), Value(inner)}},
                          {"empty", kq::Dictionary{}}};
}

std::string bytesOf(const kq::Data& d) { return std::string(d.begin(), d.end()); }

void appendBigEndian(std::string& out, std::uint64_t v, int n) {
    for (int i = n - 1; i >= 0; --i) out += static_cast<char>(v >> (8 * i) & 0xFF);
}

/// A binary list of `count` objects written by `object(i)`, 4-byte offsets
/// and references, object 0 at the root.
template <class F>
std::string binaryList(std::size_t count, F object) {
    std::string out = "bplist00";
    std::vector<std::uint64_t> offsets;
    for (std::size_t i = 0; i < count; ++i) {
        offsets.push_back(out.size());
        out += object(i);
    }
    const std::uint64_t table = out.size();
    for (auto offset : offsets) appendBigEndian(out, offset, 4);
    out += std::string(6, '\0') + "\x04\x04";
    appendBigEndian(out, count, 8);
    appendBigEndian(out, 0, 8);
    appendBigEndian(out, table, 8);
    return out;
}

/// An array marker holding the references given.
std::string arrayOf(std::initializer_list<std::uint64_t> refs) {
    std::string out(1, static_cast<char>(0xA0 | refs.size()));
    for (auto ref : refs) appendBigEndian(out, ref, 4);
    return out;
}

}  // namespace

TEST(PropertyList, EveryKindSurvivesBothFormatsInOrderAndXMLRefusesWhatItCannotCarry) {
    for (auto format : {PropertyListFormat::XML, PropertyListFormat::Binary}) {
        auto back = PropertyList::read(PropertyList::write(sample(), format));
        ASSERT_TRUE(back.has_value());
        EXPECT_EQ(*back, sample());
        EXPECT_EQ(back->asDictionary()->keys().front(), "CFBundleIdentifier");
    }

    // Binary keeps NULs, 2^64-1 and fractional dates (checked against plistlib below); XML cannot carry some of it.
    EXPECT_TRUE(Value(std::numeric_limits<std::uint64_t>::max()) != Value(-1));  // not its two's complement
    EXPECT_TRUE(PropertyList::write(kq::Array{Value(std::string("a\0b", 3))}).empty() && PropertyList::write(Value()).empty());
    EXPECT_EQ(PropertyList::read(PropertyList::write(kq::Array{Value("cr\r lf\n <&>")})), Value(kq::Array{Value("cr\r lf\n <&>")}));
}

TEST(PropertyList, ReadsEachFormsValues) {
    const std::string head = "<?xml version=\"1.0\"?><plist version=\"1.0\">";
    std::string utf16;
    for (char16_t unit : std::u16string_view(u"\uFEFF<?xml version=\"1.0\" encoding=\"UTF-16\"?><plist><string>é😀</string></plist>"))
        utf16 += {static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)};
    const struct {
        std::string input;
        Value expected;
    } cases[] = {
        {head + "<date>2024-02-29T01:02:03.25Z</date></plist>",
         Value::dateWithTimeIntervalSinceReferenceDate(730861323.25)},
        {head + "<integer> -9223372036854775808 </integer></plist>", Value(std::numeric_limits<std::int64_t>::min())},
        {head + "<data>\n  AAH/\n  AA==\n</data></plist>", Value(kq::Data{0, 1, 255, 0})},
        {head + "<string>x &amp; y<![CDATA[ <z> ]]>&#x41;</string></plist>", Value("x & y <z> A")},
        {"<?xml version=\"1.0\"?><!DOCTYPE plist [<!ENTITY e \"entity\">]><plist><string>&e;!</string></plist>",
         Value("entity!")},
        {head + "<array><real>+infinity</real><true/><false/></array></plist>",
         Value(kq::Array{Value(HUGE_VAL), Value(true), Value(false)})},
        {"{ a = 1; b = ( x, \"y z\", <0001 ff> ); /* comment */ c = { }; // end\n}",
         Value(kq::Dictionary{{"a", "1"},
                              {"b", kq::Array{Value("x"), Value("y z"), Value(kq::Data{0, 1, 255})}},
                              {"c", kq::Dictionary{}}})},
        {"key = value;", Value(kq::Dictionary{{"key", "value"}})}, {"( )", Value(kq::Array{})},
        {utf16, Value("é😀")},
    };
    for (const auto& c : cases) {
        auto value = PropertyList::read(std::string_view(c.input));
        ASSERT_TRUE(value.has_value()) << c.input;
        EXPECT_EQ(*value, c.expected) << c.input;
        EXPECT_EQ(value->timeIntervalSinceReferenceDate(), c.expected.timeIntervalSinceReferenceDate()) << c.input;
    }
    EXPECT_TRUE(std::isnan(PropertyList::read(std::string_view("<plist><real>nan</real></plist>"))->doubleValue()));
}

TEST(PropertyList, MalformedInputGivesNothingAndHostileNestingIsRefusedQuickly) {
    const std::vector<std::string> bad = {
        "", "not a plist", "{ a = ; }", "( a b )", "<0g>",
        "<plist version=\"1.0\"><dict><key>a</key><string>x</dict></plist>",
        "<plist><dict><key>a</key></dict></plist>",
        "<plist><integer>18446744073709551616</integer></plist>",
        "<plist><date>2024-13-01T00:00:00Z</date></plist>",
        "<plist><data>A</data></plist>",
        std::string("bplist00\x00\x01\x02", 11),
        std::string("bplist00") + std::string(40, '\xff'),
        binaryList(1, [](std::size_t) { return arrayOf({0}); }),            // a cycle
        binaryList(1, [](std::size_t) { return arrayOf({7}); }),            // a reference past the objects
        binaryList(1, [](std::size_t) { return std::string("\x5f\x10\xff"); }),  // a length past the data
        binaryList(1, [](std::size_t) { return std::string("\x61\xdc\x00", 3); }),  // an unpaired surrogate
    };
    for (const auto& input : bad) EXPECT_FALSE(PropertyList::read(std::string_view(input)).has_value()) << input;
    // A cut or corrupted binary list fails cleanly; the fuzz target tries the rest.
    std::string good = bytesOf(PropertyList::write(sample(), PropertyListFormat::Binary));
    EXPECT_FALSE(PropertyList::read(std::string_view(good.substr(0, good.size() - 9))));
    good[good.size() - 20] = '\xff';  // an object count in the trailer far past the data
    EXPECT_FALSE(PropertyList::read(std::string_view(good)));

    const auto started = std::chrono::steady_clock::now();
    // 100 000 nested arrays (about 900 KB): refused at the depth bound, not by the stack.
    const std::size_t deep = 100000;
    EXPECT_FALSE(PropertyList::read(binaryList(deep + 1, [&](std::size_t i) { return i < deep ? arrayOf({i + 1}) : arrayOf({}); })));
    // Each array holds the next one twice: 40 levels expand to 2^40 values.
    const std::string bomb = binaryList(41, [](std::size_t i) { return i < 40 ? arrayOf({i + 1, i + 1}) : std::string("\x10\x01", 2); });
    EXPECT_FALSE(PropertyList::read(std::string_view(bomb)).has_value());
    // Within the bounds, sharing is fine.
    const std::string small = binaryList(11, [](std::size_t i) { return i < 10 ? arrayOf({i + 1, i + 1}) : std::string("\x10\x01", 2); });
    EXPECT_TRUE(PropertyList::read(std::string_view(small)).has_value());
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(5));
    // Nesting of XML and text is bound the same way.
    std::string text;
    for (int i = 0; i < 100000; ++i) text += '(';
    EXPECT_FALSE(PropertyList::read(std::string_view(text)).has_value());
}

TEST(PropertyList, FilesAreWrittenAtomicallyAndOnlyRegularBoundedFilesRead) {
    kqtest::TemporaryDirectory dir;
    const std::string path = dir / "Info.plist";
    ASSERT_TRUE(PropertyList::writeFile(path, sample(), PropertyListFormat::Binary));
    EXPECT_EQ(Value(PropertyList::readDictionaryFile(path).value()), sample());
    dir.writeFile("array.plist", "<plist><array/></plist>");
    EXPECT_FALSE(PropertyList::readDictionaryFile(dir / "array.plist").has_value());
    ::mkfifo((dir / "fifo").c_str(), 0600);  // folders, devices and huge files: e2e/plist.sh
    for (const std::string& unreadable : {dir / "missing.plist", dir / "fifo"})
        EXPECT_FALSE(PropertyList::readFile(unreadable).has_value()) << unreadable;
}

TEST(PropertyList, AgreesWithPythonsPlistlibBothWays) {
    if (std::system("python3 -c 'import plistlib' 2>/dev/null") != 0) GTEST_SKIP() << "python3 is not available";
    kqtest::TemporaryDirectory dir;
    dir.writeFile("check.py", R"(import datetime, math, plistlib, sys
folder, step = sys.argv[1], sys.argv[2]
D = datetime.datetime
nested = []
for _ in range(200): nested = [nested]
value = {
    "integers": [0, 1, -1, 255, 256, 65535, 65536, 2**32, 2**63 - 1, 2**63, 2**64 - 1, -2**63],
    "reals": [0.5, -1e300, 5e-324, float("inf"), float("-inf"), 0.1],
    "booleans": [True, False],
    "dates": [D(1, 1, 1), D(4000, 12, 31, 23, 59, 59), D(1900, 1, 1), D(2100, 6, 1, 12), D(2024, 2, 29, 1, 2, 3, 500000), D(2001, 1, 1, 0, 0, 0, 123456)],
    "strings": ["", "plain", "nul\x00inside", "\u00e9\x00", "caf\u00e9 \U0001F600", "a" * 1000],
    "data": [b"", b"\x00\xff" * 100],
    "nested": nested,
    "many": list(range(70000)),  # past 65 536 objects a reference takes four bytes
    "dictionary": {"k%d" % i: i for i in range(300)},
}
xml_value = dict(value)  # XML carries no NULs and no fractional seconds
xml_value["strings"] = [s for s in value["strings"] if "\x00" not in s]
xml_value["dates"] = [d for d in value["dates"] if d.microsecond == 0]
forms = {"bin": (plistlib.FMT_BINARY, value), "xml": (plistlib.FMT_XML, xml_value)}
for suffix, (fmt, expected) in forms.items():
    if step == "write":
        with open(f"{folder}/python.{suffix}", "wb") as f:
            plistlib.dump(expected, f, fmt=fmt)
    else:
        with open(f"{folder}/ours.{suffix}", "rb") as f:
            got = plistlib.load(f)
        for key in expected:
            if got.get(key) != expected[key]:
                print(suffix, key, "differs:", repr(got.get(key))[:300]); sys.exit(1)
)");
    const std::string python = "python3 " + (dir / "check.py") + " " + dir.path();
    ASSERT_EQ(std::system((python + " write").c_str()), 0);
    for (const char* suffix : {"bin", "xml"}) {
        auto value = PropertyList::readFile(dir / (std::string("python.") + suffix));
        ASSERT_TRUE(value.has_value()) << suffix;
        const auto format = std::string(suffix) == "bin" ? PropertyListFormat::Binary : PropertyListFormat::XML;
        ASSERT_TRUE(PropertyList::writeFile(dir / (std::string("ours.") + suffix), *value, format)) << suffix;
    }
    EXPECT_EQ(PropertyList::readFile(dir / "python.bin")->asDictionary()->objectForKey("dates")->asArray()->at(4)
                  .timeIntervalSinceReferenceDate(), 730861323.5);
    EXPECT_EQ(std::system((python + " check").c_str()), 0);
}
