#include <gtest/gtest.h>

#include "KQFoundation/KQUBrowserExtensionsScanner.h"
#include "KQFoundation/NSDictionary+KQValueTypeChecking.h"
#include "Support/ScopedLayout.h"
#include "Support/TemporaryDirectory.h"

namespace {

constexpr std::string_view kPNG(
    "\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR\0\0\0\x02\0\0\0\x03\x08\x06\0\0\0\xb9\xea\xde\x81\0\0\0\x0bIDATx\x9c"
    "c`\xc0\x09\0\0\x1b\0\x01\xca<J\x0d\0\0\0\0IEND\xae\x42`\x82",
    68);

class ChromeReader : public ::testing::Test {
protected:
    kqtest::TemporaryDirectory home;
    kqtest::ScopedLayout layout{"/", home.path()};
    // The Linux-shaped data folder; the Mac-shaped one is checked where it differs.
    std::string data = home.makeDirectory(".config/google-chrome");
    KQUBrowserExtensionsScanner scanner;

    std::string extension(const std::string& id, const std::string& manifest, const std::string& version = "1.0",
                          const std::string& profile = "Default") {
        home.writeFile(relative(profile) + "/Extensions/" + id + "/" + version + "/manifest.json", manifest);
        return data + "/" + profile + "/Extensions/" + id;
    }
    std::string relative(const std::string& inData) const { return data.substr(home.path().size() + 1) + "/" + inData; }
    kq::Dictionary scan(const std::string& folder) { return scanner.chromeExtensionDictionaryWithURL(kq::URL::fileURLWithPath(folder, true)); }
    static std::string name(const kq::Dictionary& item) {
        const std::string* n = item.stringValueForKey("name");
        return n ? *n : "<none>";
    }
};

TEST_F(ChromeReader, LocalisesMessagePlaceholders) {
    struct Case {
        const char* manifest;
        const char* catalogue;  // written for the locale named in `locale`
        const char* locale;
        const char* expected;
    } cases[] = {
        {R"({"name":"__MSG_appName__","default_locale":"de"})", R"({"APPNAME":{"message":"Hallo"}})", "de", "Hallo"},
        {R"({"name":"__MSG_appName__"})", R"({"appName":{"message":"English"}})", "en", "English"},
        {R"({"name":"__msg_x__"})", R"({"x":{"message":"Lower"}})", "en", "Lower"},
        {R"({"name":"__MSG___"})", R"({"":{"message":"Empty"},"_":{"message":"U"}})", "en", "__MSG___"},
        {R"({"name":"__MSG_abc_"})", R"({"abc":{"message":"No"},"abc_":{"message":"No"}})", "en", "__MSG_abc_"},
        {R"({"name":"__MSG_k__"})", R"({"k":"text","K":{"message":"Second"}})", "en", "Second"},
        {R"({"name":"__MSG_k__"})", R"({"k":{"description":"no message"},"K":{"message":"Later"}})", "en", "__MSG_k__"},
        {R"({"name":"__MSG_Äpfel__"})", R"({"äPFEL":{"message":"Obst"}})", "en", "Obst"},
        {R"({"name":"__MSG_k__","default_locale":"fr"})", R"({"k":{"message":"Wrong locale"}})", "en", "__MSG_k__"},
        {R"({"name":"__MSG_k__"})", "not json", "en", "__MSG_k__"},
    };
    int n = 0;
    for (const Case& c : cases) {
        const std::string id = "ext" + std::to_string(n++);
        const std::string folder = extension(id, c.manifest);
        home.writeFile(relative("Default/Extensions/" + id + "/1.0/_locales/" + c.locale + "/messages.json"), c.catalogue);
        EXPECT_EQ(name(scan(folder)), c.expected) << c.manifest << " " << c.catalogue;
    }
}

TEST_F(ChromeReader, LastListedVersionWinsAndFoldersWithoutManifestHaveNoName) {
    extension("multi", R"({"name":"Old","icons":{"16":"i.png"}})", "1.0");
    home.writeFile(relative("Default/Extensions/multi/1.0/i.png"), kPNG);
    const auto item = scan(extension("multi", R"({"name":"New","default_locale":"en"})", "2.0"));
    EXPECT_EQ(name(item), "New");
    EXPECT_EQ(*item.stringValueForKey("version"), "2.0");
    EXPECT_EQ(*item.stringValueForKey("default_locale"), "en");
    EXPECT_NE(item.objectForKey("icon"), nullptr);  // kept from the earlier version, which the later one lacks

    for (const char* manifest : {"", "{\"name\":\"\xff\xfe\"}", R"({"name":42,"icons":"x"})", "[1,2]"}) {
        const auto broken = scan(extension("broken", manifest));
        EXPECT_FALSE(broken.contains("name")) << manifest;
        EXPECT_FALSE(broken.contains("leftovers"));
        EXPECT_EQ(broken.integerValueForKey("size", -1), static_cast<std::int64_t>(std::string_view(manifest).size()));
    }
    const std::string file = home.writeFile(relative("Default/Extensions/plainfile"), "x");
    EXPECT_FALSE(scan(file).contains("name"));
}

TEST_F(ChromeReader, IconsGatherEveryImageThatOpens) {
    const std::string folder = extension("icons", R"({"name":"I","icons":{"16":"a.png","32":"/b.png","48":"c.txt","64":"missing.png","128":7}})");
    home.writeFile(relative("Default/Extensions/icons/1.0/a.png"), kPNG);
    home.writeFile(relative("Default/Extensions/icons/1.0/b.png"), kPNG);
    home.writeFile(relative("Default/Extensions/icons/1.0/c.txt"), "not an image");
    auto icon = kq::Image::imageWithPropertyList(*scan(folder).objectForKey("icon"));
    ASSERT_TRUE(icon);
    ASSERT_EQ(icon->representations().size(), 2u);
    EXPECT_EQ(std::make_pair(icon->representations()[0].pixelsWide, icon->representations()[0].pixelsHigh),
              std::make_pair(2u, 3u));
}

TEST_F(ChromeReader, PreferencesGiveOriginAndPermissionsAndAreReadOncePerProfile) {
    const std::string webstore = extension("store", R"({"name":"S"})");
    const std::string preinstalled = extension("builtin", R"({"name":"B"})");
    const std::string onlySecure = extension("secure", R"({"name":"C"})");
    home.writeFile(relative("Default/Preferences"), R"({"extensions":{"settings":{
        "store":{"from_webstore":true,"manifest":{"name":"S"},"path":"store/1.0",
                 "active_permissions":{"api":["storage","cookies"],"explicit_host":["https://a.example/*"]}},
        "builtin":{"was_installed_by_default":true,"from_webstore":true,"manifest":{"name":"B"},"path":"builtin/1.0"},
        "noname":{"from_webstore":true,"manifest":{},"path":"noname/1.0"}}}})");
    home.writeFile(relative("Default/Secure Preferences"),
                   R"({"extensions":{"settings":{"secure":{"from_webstore":true,"manifest":{"name":"C"},"path":"secure/1.0"}}}})");

    const auto store = scan(webstore);
    EXPECT_EQ(store.integerValueForKey("sourceType", -1), 2);
    const kq::Dictionary* permissions = store.dictioniaryValueForKey("permissionsInfo");
    ASSERT_NE(permissions, nullptr);
    EXPECT_EQ(permissions->arrayValueForKey("api")->size(), 2u);
    EXPECT_EQ(scan(preinstalled).integerValueForKey("sourceType", -1), 1);
    EXPECT_FALSE(scan(onlySecure).contains("sourceType"));  // Preferences had settings: Secure Preferences unread
    EXPECT_EQ(scanner.chromePreferencesReadCount(), 1u);
    EXPECT_EQ(scanner.preferencesByChromeUser().begin()->second.size(), 2u);

    // A profile whose Preferences lack the settings (here: malformed) falls back to Secure Preferences.
    const std::string other = extension("secure", R"({"name":"C"})", "1.0", "Profile 1");
    home.writeFile(relative("Profile 1/Preferences"), R"({"extensions":)");
    home.writeFile(relative("Profile 1/Secure Preferences"),
                   R"({"extensions":{"settings":{"secure":{"was_installed_by_default":true,"manifest":{"name":"C"},"path":"secure/1.0"}}}})");
    EXPECT_EQ(scan(other).integerValueForKey("sourceType", -1), 1);
    EXPECT_EQ(scan(other).integerValueForKey("sourceType", -1), 1);
    EXPECT_EQ(scanner.chromePreferencesReadCount(), 3u);
}

TEST_F(ChromeReader, LeftoversAreFoundAndSummedWithTheFolder) {
    // Mac-shaped this time: the external descriptors lie beside the data folder.
    data = home.makeDirectory("Library/Application Support/Google/Chrome");
    const std::string id = "abcdefghijklmnop";
    const std::string folder = extension(id, R"({"name":"L"})");  // 12 bytes
    home.writeFile(relative("Local Extension Settings/" + id + "/000003.log"), std::string(100, 'a'));
    home.writeFile(relative("Local Storage/chrome-extension_ABCDEFGHIJKLMNOP_0.localstorage"), std::string(20, 'b'));
    home.writeFile(relative("Local Storage/chrome-extension_other_0.localstorage"), std::string(1000, 'c'));
    home.writeFile(relative("Sync Extension Settings/" + id + "/x"), std::string(3, 'd'));
    const std::string crx = home.writeFile("Downloads/" + id + ".crx", std::string(4000, 'e'));
    const std::string descriptor = R"({"external_crx":")" + crx + R"(","external_version":"1.0"})";
    home.writeFile("Library/Application Support/Google/External Extensions/" + id + ".json", descriptor);

    const auto item = scan(folder);
    const kq::Array* leftovers = item.arrayValueForKey("leftovers");
    ASSERT_NE(leftovers, nullptr);
    std::vector<std::string> paths;
    for (const kq::Value& url : *leftovers) paths.push_back(url.asURL()->path());
    EXPECT_EQ(paths, (std::vector<std::string>{data + "/Local Extension Settings/" + id,
                                               data + "/Local Storage/chrome-extension_ABCDEFGHIJKLMNOP_0.localstorage",
                                               data + "/Sync Extension Settings/" + id,
                                               home / ("Library/Application Support/Google/External Extensions/" + id + ".json"),
                                               crx}));
    EXPECT_EQ(item.integerValueForKey("size", 0),
              static_cast<std::int64_t>(100 + 20 + 3 + descriptor.size() + 4000 + 12));

    // A descriptor naming the home folder or the root must not make them leftovers.
    for (const std::string& hostile : {home.path(), std::string("/"), data}) {
        home.writeFile("Library/Application Support/Google/External Extensions/" + id + ".json",
                       R"({"external_crx":")" + hostile + R"("})");
        EXPECT_EQ(scan(folder).arrayValueForKey("leftovers")->size(), 4u) << hostile;
    }
}

}  // namespace
