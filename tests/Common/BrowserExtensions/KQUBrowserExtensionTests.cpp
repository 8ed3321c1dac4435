#include <gtest/gtest.h>

#include "KQFoundation/Foundation/KeyedArchiver.h"
#include "KQFoundation/Foundation/PropertyList.h"
#include "KQFoundation/KQUBrowserExtension.h"

using kq::Value;

namespace {

kq::Array strings(std::initializer_list<const char*> texts) {
    kq::Array out;
    for (const char* text : texts) out.emplace_back(text);
    return out;
}

kq::Dictionary safari(const char* level, kq::Array domains) {
    return {{"Website Access", kq::Dictionary{{"Level", level}, {"Allowed Domains", std::move(domains)}}}};
}

kq::Image icon() {
    kq::Image image;
    image.addRepresentation({"png", 16, 16, kq::Data{0x89, 'P', 'N', 'G'}});
    image.addRepresentation({"svg", 128, 64, kq::Data{'<', 's', 'v', 'g', '>'}});
    return image;
}

kq::Dictionary fullChromeDictionary() {
    return {{"name", "Helper"},
            {"type", 3},
            {"version", "1.2"},
            {"URL", kq::URL::fileURLWithPath("/home/u/.config/google-chrome/Default/Extensions/abc", true)},
            {"leftovers", kq::Array{Value(kq::URL::fileURLWithPath("/home/u/Local Extension Settings/abc", true)),
                                    Value(kq::URL::fileURLWithPath("/home/u/Local Storage/abc.localstorage", false))}},
            {"size", static_cast<unsigned long long>(5'000'000'000ULL)},
            {"icon", icon().propertyList()},
            {"sourceType", 2},
            {"permissionsInfo", kq::Dictionary{{"api", strings({"storage", "alarms"})},
                                               {"explicit_host", strings({"https://*.example.com/*"})}}},
            {"browser", "Brave"}};
}

}  // namespace

TEST(KQUBrowserExtentionPermissionsInfo, FromRawBrowserData) {
    const kq::Dictionary chromeMixed{{"api", kq::Array{Value("identity"), Value("cookies"), Value("tabs"),
                                                       Value(kq::Dictionary{{"storage", true}})}},
                                     {"explicit_host", strings({"https://a.example/*", "<all_urls>", "https://b/*"})}};
    const kq::Dictionary chromeHosts{{"explicit_host", kq::Array{Value("https://*.example.com/*"), Value("*://*/*"),
                                                                 Value(7), Value("http://localhost/")}}};
    const struct {
        const char* what;
        kq::Dictionary raw;
        std::uint64_t type;
        bool all;
        std::optional<kq::Array> sites;
        std::uint64_t bits;
    } cases[] = {
        {"Safari all sites", safari("All", strings({"a.com"})), 1, true, std::nullopt, 0},
        {"Safari without domains", {{"Website Access", kq::Dictionary{{"Level", "None"}}}}, 1, false, std::nullopt, 0},
        {"Safari without access data", {}, 1, false, std::nullopt, 0},
        {"Chrome all_urls stops the walk", chromeMixed, 3, true, std::nullopt, 64},
        {"Chrome skips what is no URL", chromeHosts, 3, false,
         strings({"https://*.example.com/*", "http://localhost/"}), 0},
        {"Chrome without hosts", {{"api", strings({"alarms"})}}, 3, false, kq::Array{}, 2},
        {"Firefox reads nothing", chromeMixed, 2, false, std::nullopt, 0},
    };
    for (const auto& c : cases) {
        const KQUBrowserExtentionPermissionsInfo info(&c.raw, c.type);
        EXPECT_EQ(info.hasAccessToAllWebsites(), c.all) << c.what;
        EXPECT_EQ(info.accessibleWebsites(), c.sites) << c.what;
        EXPECT_EQ(info.APIUsage(), c.bits) << c.what;
    }
    const KQUBrowserExtentionPermissionsInfo none(nullptr, 3);
    EXPECT_EQ(none, KQUBrowserExtentionPermissionsInfo());
}

TEST(KQUBrowserExtentionPermissionsInfo, ChromeAPIBits) {
    using Info = KQUBrowserExtentionPermissionsInfo;
    EXPECT_EQ(Info::APIOptionsWithChromeArray(
                  strings({"alarms", "notifications", "contextMenus", "storage", "identity", "cookies"})),
              2u | 4u | 8u | 16u | 64u);
    EXPECT_EQ(Info::APIOptionsWithChromeArray(strings({"Alarms", "STORAGE", "tabs"})), 0u);
    EXPECT_EQ(Info::APIOptionsWithChromeArray(kq::Array{Value(2), Value(kq::Array{Value("alarms")})}), 0u);
}

TEST(KQUBrowserExtension, CreateReadsTheScannerDictionaryAndDescribes) {
    EXPECT_FALSE(KQUBrowserExtension::create({{"type", 3}, {"size", 10}}));
    EXPECT_FALSE(KQUBrowserExtension::create({{"name", 5}}));

    auto record = KQUBrowserExtension::create(fullChromeDictionary());
    ASSERT_TRUE(record);
    EXPECT_FALSE(record->version());  // written by the scanner, never read
    EXPECT_EQ(record->size(), 5'000'000'000ULL);
    EXPECT_EQ(record->icon(), icon());

    // Missing numbers read as 0; a Firefox record's permissions are empty.
    auto bare = KQUBrowserExtension::create({{"name", "Bare"}, {"type", 2}, {"permissionsInfo", safari("All", {})}});
    ASSERT_TRUE(bare);
    EXPECT_EQ(bare->size(), 0u);
    EXPECT_EQ(bare->sourceType(), 0u);
    EXPECT_EQ(bare->permissionsInfo(), KQUBrowserExtentionPermissionsInfo());
    EXPECT_FALSE(bare->icon());
    EXPECT_EQ(bare->description(), "Bare: (null) ((null))");
    auto listed = KQUBrowserExtension::create(
        {{"name", "X"}, {"URL", kq::URL::fileURLWithPath("/e/x", true)}, {"leftovers", kq::Array{}}});
    EXPECT_EQ(listed->description(), "X: file:///e/x/ ((\n))");  // the empty list prints "(\n)"
}

TEST(KQUBrowserExtension, ArchiveRoundTrip) {
    kq::Dictionary emptyLeftovers = fullChromeDictionary();
    emptyLeftovers.setObject("leftovers", kq::Array{});
    const kq::Dictionary safariRecord{{"name", "Ext"}, {"type", 1}, {"permissionsInfo", safari("Some", strings({"a.com"}))}};
    const kq::Dictionary allSites{{"name", "All"}, {"type", 3},
                                  {"permissionsInfo", kq::Dictionary{{"explicit_host", strings({"<all_urls>"})}}}};
    for (const kq::Dictionary& dictionary :
         {fullChromeDictionary(), emptyLeftovers, safariRecord, allSites, kq::Dictionary{{"name", "Only"}}}) {
        auto record = KQUBrowserExtension::create(dictionary);
        ASSERT_TRUE(record);
        auto back = KQUBrowserExtension::unarchivedExtensionWithData(record->archivedData());
        ASSERT_TRUE(back) << record->name();
        if (record->leftovers() && record->leftovers()->empty()) {
            EXPECT_FALSE(back->leftovers());  // an empty list is not written
            EXPECT_EQ(back->name(), record->name());
            EXPECT_EQ(back->icon(), record->icon());
        } else {
            EXPECT_EQ(*back, *record) << record->name();
        }
    }
}

TEST(KQUBrowserExtension, ArchiveLayout) {
    const kq::Data data = KQUBrowserExtension::create(fullChromeDictionary())->archivedData();
    auto plist = kq::PropertyList::read(data);
    ASSERT_TRUE(plist);
    EXPECT_EQ(*plist->asDictionary()->objectForKey("$archiver"), Value("NSKeyedArchiver"));
    EXPECT_EQ(*plist->asDictionary()->objectForKey("$version"), Value(100000));
    const kq::Array& objects = *plist->asDictionary()->objectForKey("$objects")->asArray();
    EXPECT_EQ(objects.at(0), Value("$null"));
    const auto at = [&](const Value& reference) -> const Value& {
        return objects.at(*kq::PropertyList::UIDValue(reference));
    };
    const kq::Dictionary& root = *at(*plist->asDictionary()->objectForKey("$top")->asDictionary()->objectForKey("root")).asDictionary();
    EXPECT_EQ(root.keys(), (std::vector<std::string>{"type", "name", "URLData", "leftoversData", "size", "iconData",
                                                     "sourceType", "permissionsInfo", "browser", "$class"}));
    EXPECT_EQ(*at(*root.objectForKey("$class")).asDictionary()->objectForKey("$classname"), Value("KQUBrowserExtension"));
    // The blobs are keyed archives of their own.
    auto url = kq::KeyedUnarchiver::unarchiveObjectWithData(*at(*root.objectForKey("URLData")).asData());
    ASSERT_TRUE(url && url->isURL());
    const kq::Dictionary& permissions = *at(*root.objectForKey("permissionsInfo")).asDictionary();
    EXPECT_EQ(*permissions.objectForKey("APIUsage"), Value(18));
    EXPECT_EQ(*permissions.objectForKey("hasAccessToAllWebsites"), Value(false));
    EXPECT_EQ(kq::KeyedUnarchiver::unarchiveObjectWithData(*at(*permissions.objectForKey("accessibleWebsites")).asData()),
              Value(strings({"https://*.example.com/*"})));
}

TEST(KQUBrowserExtension, DamagedArchivesGiveNoRecord) {
    const kq::Data good = KQUBrowserExtension::create(fullChromeDictionary())->archivedData();
    for (std::size_t cut : {std::size_t{0}, std::size_t{10}, good.size() / 2, good.size() - 1})
        EXPECT_FALSE(KQUBrowserExtension::unarchivedExtensionWithData(kq::Data(good.begin(), good.begin() + cut)));
    // A keyed archive of something else, and a record whose blob is no archive.
    EXPECT_FALSE(KQUBrowserExtension::unarchivedExtensionWithData(kq::KeyedArchiver::archivedDataWithRootObject(Value("x"))));
    const kq::Data badBlob = kq::KeyedArchiver::archivedDataWithRootObject(
        {"KQUBrowserExtension", "NSObject"}, [](kq::KeyedArchiver& coder) {
            coder.encodeObject("name", Value("N"));
            coder.encodeObject("URLData", Value(kq::Data{1, 2, 3}));
        });
    EXPECT_FALSE(KQUBrowserExtension::unarchivedExtensionWithData(badBlob));
}
