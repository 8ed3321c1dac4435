#include <gtest/gtest.h>

#include <filesystem>
#include <tuple>

#include "KQFoundation/Foundation/Bundle.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TemporaryDirectory.h"

namespace {

using kqtest::ScopedEnvironment;
using Strings = std::vector<std::string>;
using Env = std::initializer_list<std::pair<const char*, const char*>>;
constexpr std::initializer_list<const char*> kLocaleAndResources = {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG",
                                                                    "KQFOUNDATION_RESOURCES"};

std::string infoPlist(std::initializer_list<std::pair<const char*, const char*>> strings) {
    std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>\n";
    for (auto [key, value] : strings) xml += std::string("<key>") + key + "</key><string>" + value + "</string>\n";
    return xml + "</dict></plist>\n";
}

std::string text(const std::optional<kq::Data>& data) { return data ? std::string(data->begin(), data->end()) : "<missing>"; }

Strings preferred(const kq::Bundle& bundle, Env env) {
    ScopedEnvironment scoped(env);
    return bundle.preferredLocalizations();
}

class BundleTests : public ::testing::Test {
protected:
    kqtest::TemporaryDirectory dir;

    std::string makeApplicationBundle(const std::string& name = "Foo.app", const char* developmentRegion = "en") {
        const std::string resources = name + "/Contents/Resources/";
        dir.writeFile(name + "/Contents/Info.plist", infoPlist({{"CFBundleIdentifier", "com.example.foo"},
                                                                {"CFBundleDevelopmentRegion", developmentRegion}}));
        for (auto [file, contents] : {std::pair{"Icon.icns", "icon"}, {"Scripts/run.sh", "run"},
                                      {"en.lproj/Localizable.strings", "\"Open\" = \"Open\";\n\"Close\" = \"Close\";\n"},
                                      {"de.lproj/Localizable.strings", "\"Open\" = \"Öffnen\";\n"},
                                      {"de.lproj/Menu.strings", "\"File\" = \"Ablage\";\n"},
                                      {"de.lproj/Readme.txt", "Lies mich"}, {"en.lproj/Readme.txt", "Read me"}})
            dir.writeFile(resources + file, contents);
        return dir / name;
    }

    std::shared_ptr<kq::Bundle> makeFlatBundle(const std::string& name, std::initializer_list<const char*> localizations) {
        dir.writeFile(name + "/Info.plist", infoPlist({{"CFBundleIdentifier", "com.example.flat"}}));
        dir.writeFile(name + "/data.json", "{}");
        for (const char* l : localizations)
            dir.writeFile(name + "/" + l + ".lproj/Localizable.strings", std::string("\"Language\" = \"") + l + "\";\n");
        return kq::Bundle::bundleWithPath(dir / name);
    }
};

TEST_F(BundleTests, ApplicationBundleReadsInfoAndFindsResources) {
    ScopedEnvironment env({{"LANG", "en_US.UTF-8"}});
    auto bundle = kq::Bundle::bundleWithPath(makeApplicationBundle());
    ASSERT_TRUE(bundle);
    const std::string resources = dir / "Foo.app/Contents/Resources";
    EXPECT_EQ(std::make_tuple(bundle->bundlePath(), bundle->resourcePath(), bundle->bundleIdentifier()),
              std::make_tuple(dir / "Foo.app", resources, "com.example.foo"));
    EXPECT_EQ(bundle->pathForResource("Icon", "icns"), resources + "/Icon.icns");
    EXPECT_EQ(bundle->pathForResource("Icon.icns", ""), resources + "/Icon.icns");
    EXPECT_EQ(bundle->pathForResource("run", "sh", "Scripts/"), resources + "/Scripts/run.sh");
    EXPECT_EQ(text(bundle->dataForResource("Readme", "txt")), "Read me") << "localized resource, English user";
    EXPECT_FALSE(bundle->pathForResource("Missing", "txt") || bundle->pathForResource("", "txt"));
    EXPECT_TRUE(bundle->pathForResource("Scripts", "") && !bundle->dataForResource("Scripts", "")) << "a folder: a path, no bytes";
    EXPECT_EQ((Strings{"de", "en"}), bundle->localizations());

    auto flat = makeFlatBundle("Plugin.bundle", {"fr"});
    EXPECT_EQ(std::make_tuple(flat->pathForResource("data", "json"), flat->localizations()),
              std::make_tuple(dir / "Plugin.bundle/data.json", Strings{"fr"}));
}

TEST_F(BundleTests, MissingOrUnreadableBundles) {
    for (const std::string& path : {dir / "Nothing.app", dir.writeFile("file.app", "not a folder"), std::string()})
        EXPECT_EQ(kq::Bundle::bundleWithPath(path), nullptr) << path;
    EXPECT_EQ(kq::Bundle::bundleWithURL(*kq::URL::URLWithString("https://example.com/Foo.app")), nullptr);

    // A folder with a broken or missing Info.plist is still a bundle, with an empty Info dictionary.
    dir.writeFile("Broken.app/Contents/Info.plist", "<plist><dict><key>x</key>");
    auto broken = kq::Bundle::bundleWithPath(dir / "Broken.app");
    ASSERT_TRUE(broken);
    EXPECT_TRUE(broken->infoDictionary().empty() && !broken->bundleIdentifier());
    auto bare = kq::Bundle::bundleWithPath(dir.makeDirectory("Bare"));
    ASSERT_TRUE(bare);
    EXPECT_TRUE(bare->localizations().empty() && bare->preferredLocalizations().empty());
    EXPECT_EQ(bare->localizedString("key", "fallback"), "fallback");
}

TEST_F(BundleTests, OneFolderGivesOneBundleObjectHoweverSpelled) {
    std::string path = makeApplicationBundle();
    auto bundle = kq::Bundle::bundleWithPath(path);
    for (const std::string& spelling : {path + "/", dir / "./Foo.app/Contents/..", dir.makeSymlink("Link.app", path)})
        EXPECT_EQ(kq::Bundle::bundleWithPath(spelling), bundle) << spelling;
    EXPECT_EQ(kq::Bundle::bundleWithURL(kq::URL::fileURLWithPath(path, true)), bundle);
    EXPECT_NE(kq::Bundle::bundleWithPath(makeApplicationBundle("Other.app")), bundle);
}

TEST_F(BundleTests, UserLanguagesFromLocaleThenDevelopmentRegionThenEnglish) {
    const auto languages = [](Env env) {
        ScopedEnvironment scoped(env);
        return kq::Bundle::preferredLanguages();
    };
    EXPECT_EQ((Strings{"fr-CA", "fr", "de", "es-ES", "es"}),
              languages({{"LANGUAGE", "fr_CA:de"}, {"LC_ALL", "es_ES.UTF-8@euro"}, {"LANG", "it_IT"}}));
    EXPECT_EQ((Strings{"pt-BR", "pt"}), languages({{"LC_MESSAGES", "pt_BR"}, {"LANG", "it_IT"}}));
    for (const char* none : {"C", "POSIX", "C.UTF-8", ""}) EXPECT_TRUE(languages({{"LANG", none}}).empty()) << none;

    auto bundle = kq::Bundle::bundleWithPath(makeApplicationBundle("Foo.app", "de"));
    EXPECT_EQ((Strings{"de", "en"}), preferred(*bundle, {{"LANG", "de_DE.UTF-8"}}));
    EXPECT_EQ((Strings{"en", "de"}), preferred(*bundle, {{"LANGUAGE", "ja:en"}, {"LANG", "de_DE.UTF-8"}}));
    EXPECT_EQ((Strings{"de", "en"}), preferred(*bundle, {{"LANG", "C"}})) << "no user language: development region";

    auto old = makeFlatBundle("Old.bundle", {"English", "German", "pt_BR", "Base"});
    EXPECT_EQ((Strings{"German", "English"}), preferred(*old, {{"LANG", "de_AT.UTF-8"}}));
    EXPECT_EQ((Strings{"pt_BR", "English"}), preferred(*old, {{"LANGUAGE", "pt_BR"}}));
    EXPECT_EQ((Strings{"English"}), preferred(*old, {{"LANG", "ko_KR"}})) << "Base is searched, but is not a language";
    EXPECT_EQ((Strings{"Base"}), preferred(*makeFlatBundle("Base.bundle", {"Base"}), {}));
    EXPECT_EQ((Strings{"cs"}), preferred(*makeFlatBundle("Czech.bundle", {"cs", "sk"}), {{"LANG", "C"}}));
    ScopedEnvironment env({{"LANG", "de_AT.UTF-8"}});
    EXPECT_EQ(old->localizedString("Language"), "German");
}

TEST_F(BundleTests, LocalizedStringsFallBackThroughLocalizationsToTheGivenValue) {
    std::string path = makeApplicationBundle();
    dir.writeFile("Foo.app/Contents/Resources/Base.lproj/Localizable.strings", "\"Quit\" = \"Quit (Base)\";");
    dir.writeFile("Foo.app/Contents/Resources/Localizable.strings", "\"Help\" = \"Help (any)\";");
    dir.writeFile("Foo.app/Contents/Resources/de.lproj/Broken.strings", "\"Open\" = \"Öff");
    dir.writeFile("Foo.app/Contents/Resources/en.lproj/Broken.strings", "\"Open\" = \"Open (en)\";");
    auto bundle = kq::Bundle::bundleWithPath(path);
    ScopedEnvironment env({{"LANG", "de_DE.UTF-8"}});
    const struct {
        const char *key, *fallback, *table, *expected;
    } rows[] = {
        {"Open", "", "", "Öffnen"},      {"Close", "", "", "Close"} /* missing in German, found in English */,
        {"Quit", "", "", "Quit (Base)"}, {"Help", "", "", "Help (any)"},    {"File", "", "Menu", "Ablage"},
        {"Nope", "Default", "", "Default"}, {"Nope", "", "", "Nope"},       {"Open", "", "NoSuchTable", "Open"},
        {"Open", "", "Broken", "Open (en)"},  // an unreadable table is skipped
    };
    for (const auto& r : rows)
        EXPECT_EQ(bundle->localizedString(r.key, r.fallback, r.table), r.expected) << r.key << " in " << r.table;
    EXPECT_EQ(text(bundle->dataForResource("Readme", "txt")), "Lies mich");
}

TEST_F(BundleTests, MainBundleIsTheProgramsFolderAndLibraryResourcesAreCompiledInOrAFolder) {
    auto main = kq::Bundle::mainBundle();
    ASSERT_TRUE(main);
    EXPECT_EQ(std::filesystem::canonical(main->bundlePath()), std::filesystem::canonical("/proc/self/exe").parent_path());
    kq::Bundle::setMainBundle(kq::Bundle::bundleWithPath(makeApplicationBundle()));
    EXPECT_EQ(kq::Bundle::mainBundle()->bundlePath(), dir / "Foo.app");
    kq::Bundle::setMainBundle(nullptr);
    EXPECT_EQ(kq::Bundle::mainBundle()->bundlePath(), main->bundlePath());

    ScopedEnvironment env({{"LANG", "en_US.UTF-8"}}, kLocaleAndResources);
    kq::Bundle::setLibraryResourcesPath(std::nullopt);
    auto library = kq::Bundle::libraryBundle();
    ASSERT_TRUE(library);
    EXPECT_EQ(std::make_tuple(library->bundlePath(), library->localizedString("bytes")), std::make_tuple("", "bytes"));
    EXPECT_FALSE(library->pathForResource("Localizable", "strings", "en.lproj")) << "compiled in: no file";

    // Every file below Resources/ is served, byte for byte.
    std::filesystem::path resources = std::filesystem::path(KQ_SOURCE_DIR) / "Resources";
    int count = 0;
    for (auto& entry : std::filesystem::recursive_directory_iterator(resources)) {
        if (!entry.is_regular_file()) continue;
        const std::filesystem::path relative = entry.path().lexically_relative(resources);
        EXPECT_EQ(text(library->dataForResource(relative.filename().string(), "", relative.parent_path().string())),
                  kqtest::readText(entry.path())) << relative;
        ++count;
    }
    EXPECT_GE(count, 2);

    // Or from a folder, given or named by the environment.
    dir.writeFile("res/en.lproj/Localizable.strings", "\"bytes\" = \"octets\";");
    dir.writeFile("res/LeftoversScanners.plist", "<plist/>");
    kq::Bundle::setLibraryResourcesPath(dir / "res");
    EXPECT_EQ(kq::Bundle::libraryBundle()->localizedString("bytes"), "octets");
    EXPECT_EQ(kq::Bundle::libraryBundle()->pathForResource("LeftoversScanners", "plist"), dir / "res/LeftoversScanners.plist");
    kq::Bundle::setLibraryResourcesPath(dir / "missing");
    EXPECT_EQ(kq::Bundle::libraryBundle()->bundlePath(), "") << "falls back to the compiled-in resources";
    kq::Bundle::setLibraryResourcesPath(std::nullopt);
    ::setenv("KQFOUNDATION_RESOURCES", (dir / "res").c_str(), 1);
    EXPECT_EQ(kq::Bundle::libraryBundle()->bundlePath(), dir / "res");
    ::unsetenv("KQFOUNDATION_RESOURCES");
    kq::Bundle::setLibraryResourcesPath(std::nullopt);
}

}  // namespace
