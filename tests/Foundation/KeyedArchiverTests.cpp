#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

#include "KQFoundation/Foundation/KeyedArchiver.h"
#include "KQFoundation/Foundation/PropertyList.h"
#include "Support/TemporaryDirectory.h"

using kq::KeyedArchiver;
using kq::KeyedUnarchiver;
using kq::PropertyList;
using kq::PropertyListFormat;
using kq::Value;

namespace {

kq::Data bytes(std::string_view text) { return kq::Data(text.begin(), text.end()); }

std::string uid(int n) { return "<dict><key>CF$UID</key><integer>" + std::to_string(n) + "</integer></dict>"; }

/// A keyed archive in XML form with the given "$objects" body and root reference.
kq::Data xmlArchive(const std::string& objects, int root = 1) {
    return bytes("<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict>"
                 "<key>$archiver</key><string>NSKeyedArchiver</string>"
                 "<key>$version</key><integer>100000</integer>"
                 "<key>$top</key><dict><key>root</key>" + uid(root) + "</dict>"
                 "<key>$objects</key><array><string>$null</string>" + objects + "</array></dict></plist>");
}

std::string classObject(const std::string& name) {
    return "<dict><key>$classname</key><string>" + name + "</string><key>$classes</key><array><string>" + name +
           "</string><string>NSObject</string></array></dict>";
}

/// An array object (class at `classIndex`) holding the given references.
std::string arrayObject(std::initializer_list<int> references, int classIndex) {
    std::string out = "<dict><key>NS.objects</key><array>";
    for (int r : references) out += uid(r);
    return out + "</array><key>$class</key>" + uid(classIndex) + "</dict>";
}

}  // namespace

TEST(PropertyListUID, BinaryAndXMLFormsRoundTrip) {
    const Value list = kq::Array{PropertyList::UID(0), PropertyList::UID(300), PropertyList::UID(70000)};
    const kq::Data binary = PropertyList::write(list, PropertyListFormat::Binary);
    const std::string text(binary.begin(), binary.end());
    EXPECT_NE(text.find(std::string("\x81\x01\x2c", 3)), std::string::npos);  // 300 in two bytes
    EXPECT_EQ(PropertyList::read(binary), list);
    const kq::Data xml = PropertyList::write(list);
    EXPECT_TRUE(std::string(xml.begin(), xml.end()).find("<key>CF$UID</key>") != std::string::npos && PropertyList::read(xml) == list);
    // Look-alikes are plain dictionaries.
    for (const Value& other : {Value(kq::Dictionary{{"CF$UID", -1}}), Value(kq::Dictionary{{"CF$UID", "1"}}),
                               Value(kq::Dictionary{{"CF$UID", 1}, {"x", 2}})})
        EXPECT_FALSE(PropertyList::UIDValue(other)) << kq::describe(other);
}

TEST(KeyedArchiver, PlainValuesRoundTrip) {
    const kq::Array nested{Value("a"), Value(kq::Array{}), Value(kq::Dictionary{{"k", kq::Array{Value(1), Value(2.5)}}})};
    const Value values[] = {
        Value("héllo"), Value(""), Value(-42), Value(static_cast<unsigned long long>(UINT64_MAX)), Value(0.125),
        Value(true), Value(kq::Data{0, 1, 255}), Value::dateWithTimeIntervalSinceReferenceDate(12345.5),
        Value(*kq::URL::URLWithString("https://example.com/a?b=c")), Value(kq::URL::fileURLWithPath("/tmp/x", true)),
        Value(nested), Value(kq::Dictionary{{"b", Value(nested)}, {"a", "x"}}),
        // Equal strings are kept apart and still come back whole.
        Value(kq::Array{Value("same"), Value("same")}),
    };
    for (const Value& value : values) {
        const kq::Data data = KeyedArchiver::archivedDataWithRootObject(value);
        ASSERT_FALSE(data.empty()) << kq::describe(value);
        EXPECT_EQ(std::string(data.begin(), data.begin() + 8), "bplist00");
        EXPECT_EQ(KeyedUnarchiver::unarchiveObjectWithData(data), value) << kq::describe(value);
    }
    EXPECT_TRUE(KeyedArchiver::archivedDataWithRootObject(Value()).empty());
}

TEST(KeyedUnarchiver, ReadsAHandMadeXMLArchive) {
    // 1: NSMutableDictionary {"list": NSMutableArray ["a", 5], "s": NSString "t", "nothing": $null}
    const std::string objects =
        "<dict><key>NS.keys</key><array>" + uid(2) + uid(3) + uid(9) + "</array><key>NS.objects</key><array>" +
        uid(4) + uid(7) + uid(0) + "</array><key>$class</key>" + uid(8) + "</dict>" +  // 1
        "<string>list</string><string>s</string>" +                                       // 2, 3
        arrayObject({5, 6}, 10) + "<string>a</string><integer>5</integer>" +             // 4, 5, 6
        "<dict><key>NS.string</key><string>t</string><key>$class</key>" + uid(11) + "</dict>" +  // 7
        classObject("NSMutableDictionary") + "<string>nothing</string>" +               // 8, 9
        classObject("NSMutableArray") + classObject("NSString");                       // 10, 11
    const Value expected = kq::Dictionary{{"list", kq::Array{Value("a"), Value(5)}}, {"s", "t"}, {"nothing", Value()}};
    EXPECT_EQ(KeyedUnarchiver::unarchiveObjectWithData(xmlArchive(objects)), expected);
}

TEST(KeyedUnarchiver, RefusesBrokenArchivesAndObjectCyclesEndTheRead) {
    const std::string arrayClass = classObject("NSArray");
    const struct {
        const char* what;
        kq::Data data;
    } cases[] = {
        {"not a property list", bytes("garbage")},
        {"not a keyed archive", bytes("<plist><dict><key>$objects</key><array/></dict></plist>")},
        {"root out of range", xmlArchive("<string>x</string>", 7)},
        {"element out of range", xmlArchive(arrayObject({99}, 2) + arrayClass)},
        {"array holding itself", xmlArchive(arrayObject({1}, 2) + arrayClass)},
        {"two arrays holding each other", xmlArchive(arrayObject({2}, 3) + arrayObject({1}, 3) + arrayClass)},
        {"class is a string", xmlArchive(arrayObject({}, 2) + "<string>NSArray</string>")},
        {"unknown class", xmlArchive(arrayObject({}, 2) + classObject("NSWindow"))},
        {"elements not a list", xmlArchive("<dict><key>NS.objects</key><string>x</string><key>$class</key>" + uid(2) +
                                           "</dict>" + arrayClass)},
        {"element not a reference", xmlArchive("<dict><key>NS.objects</key><array><string>x</string></array>"
                                               "<key>$class</key>" + uid(2) + "</dict>" + arrayClass)},
        {"object without class", xmlArchive("<dict><key>k</key><string>v</string></dict>")},
        {"key that is no string", xmlArchive("<dict><key>NS.keys</key><array>" + uid(2) + "</array><key>NS.objects"
                                             "</key><array>" + uid(2) + "</array><key>$class</key>" + uid(3) +
                                             "</dict><integer>1</integer>" + classObject("NSDictionary"))},
    };
    for (const auto& c : cases) EXPECT_FALSE(KeyedUnarchiver::unarchiveObjectWithData(c.data)) << c.what;
    EXPECT_EQ(KeyedUnarchiver::unarchiveObjectWithData(xmlArchive(arrayObject({2, 2}, 3) + "<string>x</string>" + arrayClass)),
              Value(kq::Array{Value("x"), Value("x")}));  // a shared element is no cycle

    // Nesting deeper than the limit: a chain of arrays, each holding the next.
    auto chain = [&](int depth) {
        std::string objects;
        for (int i = 1; i < depth; ++i) objects += arrayObject({i + 1}, depth + 1);
        return xmlArchive(objects + arrayObject({}, depth + 1) + arrayClass);
    };
    EXPECT_TRUE(KeyedUnarchiver::unarchiveObjectWithData(chain(10)));
    EXPECT_FALSE(KeyedUnarchiver::unarchiveObjectWithData(chain(static_cast<int>(KeyedUnarchiver::kMaximumDepth) + 5)));

    // An object whose "next" key refers to itself, read by a decoder that follows it.
    const kq::Data data = xmlArchive("<dict><key>next</key>" + uid(1) + "<key>$class</key>" + uid(2) + "</dict>" +
                                     classObject("Node"));
    auto coder = KeyedUnarchiver::unarchiverWithData(data);
    ASSERT_TRUE(coder);
    std::function<std::optional<int>(const KeyedUnarchiver&)> follow = [&](const KeyedUnarchiver& node) {
        return node.decodeObject<int>("next", "Node", follow);
    };
    EXPECT_FALSE(coder->decodeObject<int>("root", "Node", follow));
}

// An independent reader and writer of the same format, when the machine has one.
TEST(KeyedArchiver, AgreesWithPythonPlistlib) {
    if (std::system("python3 -c 'import plistlib; plistlib.UID' >/dev/null 2>&1") != 0) GTEST_SKIP() << "no python3";
    kqtest::TemporaryDirectory directory;
    const std::string ours = directory / "ours.plist", theirs = directory / "theirs.plist";
    const kq::Data data = KeyedArchiver::archivedDataWithRootObject(kq::Array{Value("x"), Value(3)});
    directory.writeFile("ours.plist", std::string_view(reinterpret_cast<const char*>(data.data()), data.size()));
    const std::string script =
        "import plistlib, sys\n"
        "a = plistlib.load(open(sys.argv[1], 'rb'))\n"
        "o = a['$objects']; r = o[a['$top']['root'].data]\n"
        "assert [o[u.data] for u in r['NS.objects']] == ['x', 3], a\n"
        "assert o[r['$class'].data]['$classname'] == 'NSArray'\n"
        "U = plistlib.UID\n"
        "cls = {'$classname': 'NSMutableArray', '$classes': ['NSMutableArray', 'NSArray', 'NSObject']}\n"
        "out = {'$archiver': 'NSKeyedArchiver', '$version': 100000, '$top': {'root': U(1)},\n"
        "       '$objects': ['$null', {'NS.objects': [U(2), U(3)], '$class': U(4)}, 'y', 300, cls]}\n"
        "plistlib.dump(out, open(sys.argv[2], 'wb'), fmt=plistlib.FMT_BINARY)\n";
    const std::string scriptPath = directory.writeFile("check.py", script);
    const std::string command = "python3 '" + scriptPath + "' '" + ours + "' '" + theirs + "'";
    ASSERT_EQ(std::system(command.c_str()), 0);
    const std::string written = kqtest::readText(theirs);
    EXPECT_EQ(KeyedUnarchiver::unarchiveObjectWithData(bytes(written)), Value(kq::Array{Value("y"), Value(300)}));
}
