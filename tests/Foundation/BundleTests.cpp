#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "KQFoundation/Foundation/Bundle.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TemporaryDirectory.h"

namespace {

using kqtest::ScopedEnvironment;
constexpr std::initializer_list<const char*> kLocaleAndResources = {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG",
                                                                    "KQFOUNDATION_RESOURCES"};

std::string infoPlist(std::initializer_list<std::pair<const char*, const char*>> strings) {
    std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>\n";
    for (auto [key, value] : strings) xml += std::string("<key>") + key + "</key><string>" + value + "</string>\n";
    return xml + "</dict></plist>\n";
}

std::string text(const std::optional<kq::Data>& data) {
    return data ? std::string(data->begin(), data->end()) : "<missing>";
}

class BundleTests : public ::testing::Test {
protected:
    kqtest::TemporaryDirectory dir;

    /// Foo.app: Contents/Info.plist, resources in Contents/Resources.
    std::string makeApplicationBundle(const std::string& name = "Foo.app",
                                      const char* developmentRegion = "en") {
        dir.writeFile(name + "/Contents/Info.plist",
                      infoPlist({{"CFBundleIdentifier", "com.example.foo"},
                                 {"CFBundleDevelopmentRegion", developmentRegion}}));
        dir.writeFile(name + "/Contents/MacOS/foo", "#!/bin/sh\n");
        dir.writeFile(name + "/Contents/Resources/Icon.icns", "icon");
        dir.writeFile(name + "/Contents/Resources/Scripts/run.sh", "run");
        dir.writeFile(name + "/Contents/Resources/en.lproj/Localizable.strings",
                      "\"Open\" = \"Open\";\n\"Close\" = \"Close\";\n");
        dir.writeFile(name + "/Contents/Resources/de.lproj/Localizable.strings", "\"Open\" = \"Öffnen\";\n");
        dir.writeFile(name + "/Contents/Resources/de.lproj/Menu.strings", "\"File\" = \"Ablage\";\n");
        dir.writeFile(name + "/Contents/Resources/de.lproj/Readme.txt", "Lies mich");
        dir.writeFile(name + "/Contents/Resources/en.lproj/Readme.txt", "Read me");
        return dir / name;
    }

    /// Flat bundle: everything at the top.
    std::string makeFlatBundle(const std::string& name, std::initializer_list<const char*> localizations) {
        dir.writeFile(name + "/Info.plist", infoPlist({{"CFBundleIdentifier", "com.example.flat"}}));
        dir.writeFile(name + "/data.json", "{}");
        for (const char* l : localizations) {
            dir.writeFile(name + "/" + l + ".lproj/Localizable.strings",
                          std::string("\"Language\" = \"") + l + "\";\n");
        }
        return dir / name;
    }
};

TEST_F(BundleTests, ApplicationBundleReadsInfoAndFindsResources) {
    ScopedEnvironment env({{"LANG", "en_US.UTF-8"}});
    auto bundle = kq::Bundle::bundleWithPath(makeApplicationBundle());
    ASSERT_TRUE(bundle);
    EXPECT_EQ(bundle->bundlePath(), dir / "Foo.app");
    EXPECT_EQ(bundle->resourcePath(), dir / "Foo.app/Contents/Resources");
    EXPECT_EQ(bundle->bundleIdentifier(), "com.example.foo");
    ASSERT_TRUE(bundle->objectForInfoDictionaryKey("CFBundleDevelopmentRegion"));

    EXPECT_EQ(bundle->pathForResource("Icon", "icns"), dir / "Foo.app/Contents/Resources/Icon.icns");
    EXPECT_EQ(bundle->pathForResource("Icon.icns", ""), dir / "Foo.app/Contents/Resources/Icon.icns");
    EXPECT_EQ(bundle->pathForResource("run", "sh", "Scripts/"),
              dir / "Foo.app/Contents/Resources/Scripts/run.sh");
    EXPECT_EQ(text(bundle->dataForResource("Readme", "txt")), "Read me") << "localized resource, English user";
    EXPECT_FALSE(bundle->pathForResource("Missing", "txt"));
    EXPECT_FALSE(bundle->pathForResource("", "txt"));
    EXPECT_FALSE(bundle->dataForResource("Scripts", "")) << "a folder has a path but no bytes";
    EXPECT_TRUE(bundle->pathForResource("Scripts", ""));

    auto url = bundle->URLForResource("Icon", "icns");
    ASSERT_TRUE(url);
    EXPECT_EQ(url->path(), dir / "Foo.app/Contents/Resources/Icon.icns");
    EXPECT_EQ((std::vector<std::string>{"de", "en"}), bundle->localizations());
}

TEST_F(BundleTests, FlatBundleKeepsEverythingAtTheTop) {
    auto bundle = kq::Bundle::bundleWithPath(makeFlatBundle("Plugin.bundle", {"fr"}));
    ASSERT_TRUE(bundle);
    EXPECT_EQ(bundle->resourcePath(), dir / "Plugin.bundle");
    EXPECT_EQ(bundle->bundleIdentifier(), "com.example.flat");
    EXPECT_EQ(bundle->pathForResource("data", "json"), dir / "Plugin.bundle/data.json");
    EXPECT_EQ((std::vector<std::string>{"fr"}), bundle->localizations());
}

TEST_F(BundleTests, MissingOrUnreadableBundles) {
    EXPECT_EQ(kq::Bundle::bundleWithPath(dir / "Nothing.app"), nullptr);
    EXPECT_EQ(kq::Bundle::bundleWithPath(dir.writeFile("file.app", "not a folder")), nullptr);
    EXPECT_EQ(kq::Bundle::bundleWithPath(""), nullptr);
    EXPECT_EQ(kq::Bundle::bundleWithURL(*kq::URL::URLWithString("https://example.com/Foo.app")), nullptr);

    // A folder with a broken or missing Info.plist is still a bundle, with an empty Info dictionary.
    dir.writeFile("Broken.app/Contents/Info.plist", "<plist><dict><key>x</key>");
    auto broken = kq::Bundle::bundleWithPath(dir / "Broken.app");
    ASSERT_TRUE(broken);
    EXPECT_TRUE(broken->infoDictionary().empty());
    EXPECT_FALSE(broken->bundleIdentifier());
    auto bare = kq::Bundle::bundleWithPath(dir.makeDirectory("Bare"));
    ASSERT_TRUE(bare);
    EXPECT_TRUE(bare->infoDictionary().empty());
    EXPECT_TRUE(bare->localizations().empty());
    EXPECT_TRUE(bare->preferredLocalizations().empty());
    EXPECT_EQ(bare->localizedString("key", "fallback"), "fallback");
}

TEST_F(BundleTests, OneFolderGivesOneBundleObjectHoweverSpelled) {
    std::string path = makeApplicationBundle();
    auto bundle = kq::Bundle::bundleWithPath(path);
    EXPECT_EQ(kq::Bundle::bundleWithPath(path + "/"), bundle);
    EXPECT_EQ(kq::Bundle::bundleWithPath(dir / "./Foo.app/Contents/.."), bundle);
    EXPECT_EQ(kq::Bundle::bundleWithPath(dir.makeSymlink("Link.app", path)), bundle);
    EXPECT_EQ(kq::Bundle::bundleWithURL(kq::URL::fileURLWithPath(path, true)), bundle);
    EXPECT_NE(kq::Bundle::bundleWithPath(makeApplicationBundle("Other.app")), bundle);
}

TEST_F(BundleTests, UserLanguagesComeFromTheLocaleVariables) {
    {
        ScopedEnvironment env({{"LANGUAGE", "fr_CA:de"}, {"LC_ALL", "es_ES.UTF-8@euro"}, {"LANG", "it_IT"}});
        EXPECT_EQ((std::vector<std::string>{"fr-CA", "fr", "de", "es-ES", "es"}), kq::Bundle::preferredLanguages());
    }
    {
        ScopedEnvironment env({{"LC_MESSAGES", "pt_BR"}, {"LANG", "it_IT"}});
        EXPECT_EQ((std::vector<std::string>{"pt-BR", "pt"}), kq::Bundle::preferredLanguages());
    }
    for (const char* none : {"C", "POSIX", "C.UTF-8", ""}) {
        ScopedEnvironment env({{"LANG", none}});
        EXPECT_TRUE(kq::Bundle::preferredLanguages().empty()) << none;
    }
}

TEST_F(BundleTests, PreferredLocalizationsFollowTheUserThenDevelopmentRegionThenEnglish) {
    auto bundle = kq::Bundle::bundleWithPath(makeApplicationBundle("Foo.app", "de"));
    {
        ScopedEnvironment env({{"LANG", "de_DE.UTF-8"}});
        EXPECT_EQ((std::vector<std::string>{"de", "en"}), bundle->preferredLocalizations());
    }
    {
        ScopedEnvironment env({{"LANGUAGE", "ja:en"}, {"LANG", "de_DE.UTF-8"}});
        EXPECT_EQ((std::vector<std::string>{"en", "de"}), bundle->preferredLocalizations());
    }
    {
        ScopedEnvironment env({{"LANG", "C"}});
        EXPECT_EQ((std::vector<std::string>{"de", "en"}), bundle->preferredLocalizations())
            << "no user language: the development region first";
    }
}

TEST_F(BundleTests, LanguageCodesMatchLegacyNamesAndRegionFolders) {
    std::string path = makeFlatBundle("Old.bundle", {"English", "German", "pt_BR", "Base"});
    auto bundle = kq::Bundle::bundleWithPath(path);
    {
        ScopedEnvironment env({{"LANG", "de_AT.UTF-8"}});
        EXPECT_EQ((std::vector<std::string>{"German", "English"}), bundle->preferredLocalizations());
        EXPECT_EQ(bundle->localizedString("Language"), "German");
    }
    {
        ScopedEnvironment env({{"LANGUAGE", "pt_BR"}});
        EXPECT_EQ((std::vector<std::string>{"pt_BR", "English"}), bundle->preferredLocalizations());
    }
    {
        ScopedEnvironment env({{"LANG", "ko_KR"}});
        EXPECT_EQ((std::vector<std::string>{"English"}), bundle->preferredLocalizations())
            << "Base is searched, but is not a language";
    }
    auto onlyBase = kq::Bundle::bundleWithPath(makeFlatBundle("Base.bundle", {"Base"}));
    EXPECT_EQ((std::vector<std::string>{"Base"}), onlyBase->preferredLocalizations());
    auto noEnglish = kq::Bundle::bundleWithPath(makeFlatBundle("Czech.bundle", {"cs", "sk"}));
    ScopedEnvironment env({{"LANG", "C"}});
    EXPECT_EQ((std::vector<std::string>{"cs"}), noEnglish->preferredLocalizations());
}

TEST_F(BundleTests, LocalizedStringsFallBackThroughLocalizationsToTheGivenValue) {
    std::string path = makeApplicationBundle();
    dir.writeFile("Foo.app/Contents/Resources/Base.lproj/Localizable.strings", "\"Quit\" = \"Quit (Base)\";");
    dir.writeFile("Foo.app/Contents/Resources/Localizable.strings", "\"Help\" = \"Help (any)\";");
    dir.writeFile("Foo.app/Contents/Resources/de.lproj/Broken.strings", "\"Open\" = \"Öff");
    dir.writeFile("Foo.app/Contents/Resources/en.lproj/Broken.strings", "\"Open\" = \"Open (en)\";");
    auto bundle = kq::Bundle::bundleWithPath(path);
    ScopedEnvironment env({{"LANG", "de_DE.UTF-8"}});
    EXPECT_EQ(bundle->localizedString("Open"), "Öffnen");
    EXPECT_EQ(bundle->localizedString("Close"), "Close") << "missing in German, found in English";
    EXPECT_EQ(bundle->localizedString("Quit"), "Quit (Base)");
    EXPECT_EQ(bundle->localizedString("Help"), "Help (any)");
    EXPECT_EQ(bundle->localizedString("File", "", "Menu"), "Ablage");
    EXPECT_EQ(bundle->localizedString("Nope", "Default"), "Default");
    EXPECT_EQ(bundle->localizedString("Nope"), "Nope");
    EXPECT_EQ(bundle->localizedString("Open", "", "NoSuchTable"), "Open");
    EXPECT_EQ(bundle->localizedString("Open", "", "Broken"), "Open (en)") << "an unreadable table is skipped";
    EXPECT_EQ(text(bundle->dataForResource("Readme", "txt")), "Lies mich");
}

TEST_F(BundleTests, MainBundleIsTheProgramsFolderUnlessSet) {
    auto main = kq::Bundle::mainBundle();
    ASSERT_TRUE(main);
    EXPECT_EQ(std::filesystem::canonical(main->bundlePath()),
              std::filesystem::canonical("/proc/self/exe").parent_path());

    auto app = kq::Bundle::bundleWithPath(makeApplicationBundle());
    kq::Bundle::setMainBundle(app);
    EXPECT_EQ(kq::Bundle::mainBundle(), app);
    kq::Bundle::setMainBundle(nullptr);
    EXPECT_EQ(kq::Bundle::mainBundle()->bundlePath(), main->bundlePath());
}

TEST_F(BundleTests, LibraryResourcesAreCompiledInAndFoundByName) {
    ScopedEnvironment env({{"LANG", "en_US.UTF-8"}}, kLocaleAndResources);
    kq::Bundle::setLibraryResourcesPath(std::nullopt);
    auto library = kq::Bundle::libraryBundle();
    ASSERT_TRUE(library);
    EXPECT_EQ(library->bundlePath(), "");
    EXPECT_EQ(library->bundleIdentifier(), "org.kqfoundation.KQFoundation");
    EXPECT_EQ(library->localizedString("bytes"), "bytes");
    EXPECT_FALSE(library->pathForResource("Localizable", "strings", "en.lproj")) << "compiled in: no file";

    // Every file below Resources/ is served, byte for byte.
    std::filesystem::path resources = std::filesystem::path(KQ_SOURCE_DIR) / "Resources";
    int count = 0;
    for (auto& entry : std::filesystem::recursive_directory_iterator(resources)) {
        if (!entry.is_regular_file()) continue;
        std::string relative = entry.path().lexically_relative(resources).string();
        std::ifstream in(entry.path(), std::ios::binary);
        std::string contents((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        auto slash = relative.rfind('/');
        std::string subdirectory = slash == std::string::npos ? "" : relative.substr(0, slash);
        std::string name = slash == std::string::npos ? relative : relative.substr(slash + 1);
        EXPECT_EQ(text(library->dataForResource(name, "", subdirectory)), contents) << relative;
        ++count;
    }
    EXPECT_GE(count, 2);
}

TEST_F(BundleTests, LibraryResourcesCanComeFromAFolder) {
    ScopedEnvironment env({{"LANG", "en_US.UTF-8"}}, kLocaleAndResources);
    dir.writeFile("res/en.lproj/Localizable.strings", "\"bytes\" = \"octets\";");
    dir.writeFile("res/LeftoversScanners.plist", "<plist/>");

    kq::Bundle::setLibraryResourcesPath(dir / "res");
    EXPECT_EQ(kq::Bundle::libraryBundle()->bundlePath(), dir / "res");
    EXPECT_EQ(kq::Bundle::libraryBundle()->localizedString("bytes"), "octets");
    EXPECT_EQ(kq::Bundle::libraryBundle()->pathForResource("LeftoversScanners", "plist"),
              dir / "res/LeftoversScanners.plist");

    kq::Bundle::setLibraryResourcesPath(dir / "missing");
    EXPECT_EQ(kq::Bundle::libraryBundle()->bundlePath(), "") << "falls back to the compiled-in resources";

    kq::Bundle::setLibraryResourcesPath(std::nullopt);
    ::setenv("KQFOUNDATION_RESOURCES", (dir / "res").c_str(), 1);
    EXPECT_EQ(kq::Bundle::libraryBundle()->bundlePath(), dir / "res");
    ::unsetenv("KQFOUNDATION_RESOURCES");
    kq::Bundle::setLibraryResourcesPath(std::nullopt);
    EXPECT_EQ(kq::Bundle::libraryBundle()->bundlePath(), "");
}

}  // namespace
