#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Common/BrowserExtensions/FirefoxInstallManifest.h"
#include "KQFoundation/Foundation/Bundle.h"
#include "KQFoundation/Graphics/Image.h"
#include "KQFoundation/KQUBrowserExtensionsScanner.h"
#include "KQFoundation/NSDictionary+KQValueTypeChecking.h"
#include "KQFoundation/System/FileManager.h"
#include "Support/ArchiveWriter.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TemporaryDirectory.h"

namespace {

using Files = std::vector<std::pair<std::string, std::string>>;

// A 2x2 grey PNG.
const std::string kPNG(
    "\x89PNG\r\n\x1a\n\x00\x00\x00\x0dIHDR\x00\x00\x00\x02\x00\x00\x00\x02\x08\x00\x00\x00\x00\x57\xdd\x52\xf8"
    "\x00\x00\x00\x0bIDAT\x78\x9c\x63\x60\x00\x01\x00\x00\x06\x00\x01\xfe\x8c\x67\xc8"
    "\x00\x00\x00\x00IEND\xae\x42\x60\x82",
    68);

const char* const kRDFHeader =
    R"(<?xml version="1.0"?><RDF xmlns="http://www.w3.org/1999/02/22-rdf-syntax-ns#" )"
    R"(xmlns:em="http://www.mozilla.org/2004/em-rdf#">)";

TEST(FirefoxInstallManifest, NameFromFirstDescription) {
    const std::string header = kRDFHeader;
    const struct {
        std::string xml;
        std::optional<std::string> name;
    } cases[] = {
        {header + "<Description about='urn:x'><em:id>a@b</em:id><em:name>Child <b>bold</b></em:name>"
                  "</Description></RDF>",
         "Child bold"},
        {header + "<Description em:name='From attribute'/></RDF>", "From attribute"},
        {header + "<Description em:name='attr'><em:name>element</em:name></Description></RDF>", "element"},
        // Prefixed root: the namespace decides, not the prefix.
        {R"(<r:RDF xmlns:r="urn:rdf" xmlns:em="urn:em"><r:Description><em:name>Prefixed</em:name>)"
         "</r:Description></r:RDF>",
         "Prefixed"},
        // Only the first description counts; nested ones are not looked at.
        {header + "<Description><em:targetApplication><Description em:name='Host'/></em:targetApplication>"
                  "</Description><Description em:name='Second'/></RDF>",
         std::nullopt},
        {R"(<RDF xmlns="urn:rdf"><Description xmlns="urn:other" name="Elsewhere"/></RDF>)", std::nullopt},
        {header + "<Description><em:name>Unclosed</Description></RDF>", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto& c : cases) EXPECT_EQ(kq::detail::firefoxInstallManifestName(c.xml), c.name) << c.xml;
}

class FirefoxReaderTests : public ::testing::Test {
protected:
    void SetUp() override { tmp.makeDirectory("unpack"); }
    void TearDown() override { kq::Bundle::setMainBundle(nullptr); }

    kq::Dictionary read(const std::string& path) {
        return scanner.firefoxExtensionDictionaryWithURL(kq::URL::fileURLWithPath(path));
    }
    static std::optional<std::string> name(const kq::Dictionary& d) {
        const std::string* value = d.stringValueForKey("name");
        return value ? std::optional<std::string>(*value) : std::nullopt;
    }
    static std::int64_t sizeOf(const std::string& path) {
        return static_cast<std::int64_t>(kq::FileManager::defaultManager().sizeOfItemAtPath(path));
    }

    std::string writeFolder(const std::string& relative, const Files& files) {
        for (const auto& [file, contents] : files) tmp.writeFile(relative + "/" + file, contents);
        return tmp / relative;
    }

    std::string writeXPI(const std::string& relative, const Files& files) {
        tmp.makeDirectory(relative.substr(0, relative.rfind('/')));
        std::vector<kqtest::ArchiveEntry> entries;
        for (const auto& [file, contents] : files) entries.push_back({file, AE_IFREG, contents});
        return kqtest::writeArchive(tmp / relative, kq::ArchiveFormat::Zip, entries);
    }

    // The host's localization comes from a main bundle with the given .lproj folders.
    void useHostLocalizations(const std::vector<std::string>& languages) {
        const std::string host = "Host" + std::to_string(languages.size());
        tmp.makeDirectory(host);
        for (const auto& language : languages) tmp.makeDirectory(host + "/" + language + ".lproj");
        kq::Bundle::setMainBundle(kq::Bundle::bundleWithPath(tmp / host));
    }

    static std::string messages(const std::string& key, const std::string& message) {
        return R"({")" + key + R"(": {"message": ")" + message + R"("}})";
    }

    kqtest::TemporaryDirectory tmp;
    kqtest::ScopedEnvironment environment{{{"TMPDIR", (tmp / "unpack").c_str()}, {"LANGUAGE", "fr"}}};
    KQUBrowserExtensionsScanner scanner;
};

TEST_F(FirefoxReaderTests, FoldersGiveTheirNamesWithoutCatalogues) {
    const std::string rdf = std::string(kRDFHeader) + "<Description><em:name>Legacy</em:name></Description></RDF>";
    const struct {
        Files files;
        std::optional<std::string> name;
    } cases[] = {
        {{{"install.rdf", rdf}, {"manifest.json", R"({"name": "From JSON"})"}}, "Legacy"},
        {{{"install.rdf", "<RDF>broken"}, {"manifest.json", R"({"name": "From JSON"})"}}, "From JSON"},
        {{{"package.json", R"({"name": "Package"})"}, {"manifest.json", R"({"name": "Manifest"})"}}, "Package"},
        // A package.json that is not UTF-8 cannot be read as text; one that is
        // text but no JSON ends the search.
        {{{"package.json", "{\"name\": \"\xff\"}"}, {"manifest.json", R"({"name": "Manifest"})"}}, "Manifest"},
        {{{"package.json", "not json"}, {"manifest.json", R"({"name": "Manifest"})"}}, std::nullopt},
        {{{"manifest.json", R"({"name": "__MSG_extName__", "default_locale": "fr"})"},
          {"_locales/fr/messages.json", messages("extName", "Traduit")}},
         "__MSG_extName__"},
        {{{"manifest.json", R"({"name": 12})"}, {"icon.png", kPNG}}, std::nullopt},
    };
    int n = 0;
    for (const auto& c : cases) {
        const std::string folder = writeFolder("profile/extensions/item" + std::to_string(n++), c.files);
        const kq::Dictionary d = read(folder);
        EXPECT_EQ(name(d), c.name) << folder;
        EXPECT_FALSE(d.contains("icon") || d.contains("sourceType"));
        EXPECT_EQ(d.integerValueForKey("size", -1), sizeOf(folder));
    }
}

TEST_F(FirefoxReaderTests, ApplicationWideItemsAndUnreadableArchives) {
    const std::string appWide = "Mozilla/Extensions/{ec8030f7-c20a-464f-9b0e-13a3a9e97384}/";
    kq::Dictionary d = read(tmp.writeFile(appWide + "broken.XPI", "PK not really a zip"));
    EXPECT_EQ(d.integerValueForKey("sourceType", 0), 3);
    EXPECT_FALSE(d.contains("name"));
    EXPECT_EQ(d.integerValueForKey("size", 0), 19);

    const Files files = {{"manifest.json", R"({"name": "Everywhere"})"}};
    for (const std::string& item : {writeFolder(appWide + "folder", files), writeXPI(appWide + "Packed.Xpi", files)}) {
        d = read(item);
        EXPECT_EQ(d.integerValueForKey("sourceType", 0), 3);
        EXPECT_EQ(name(d), "Everywhere") << item;
    }

    d = read(tmp.writeFile("profile/extensions/notes.txt", "hello"));
    EXPECT_FALSE(d.contains("name"));
    EXPECT_EQ(d.integerValueForKey("size", 0), 5);
    EXPECT_TRUE(kq::FileManager::defaultManager().contentsOfDirectoryAtPath(tmp / "unpack").empty());
}

TEST_F(FirefoxReaderTests, PackedExtensionsLocalizeTheirNames) {
    const Files catalogues = {
        {"manifest.json", R"({"name": "__MSG_extName__", "default_locale": "en"})"},
        {"_locales/en/messages.json", messages("extName", "English")},
        {"_locales/fr/messages.json", messages("extName", "Francais")},
    };
    const std::string xpi = writeXPI("profile/extensions/cat@x.xpi", catalogues);
    useHostLocalizations({"fr", "en"});
    const kq::Dictionary hostFrench = read(xpi);
    EXPECT_EQ(name(hostFrench), "Francais");
    EXPECT_EQ(hostFrench.integerValueForKey("size", 0), sizeOf(xpi));

    // No localized host: the user's language (de) has no catalogue, so the default one is used.
    useHostLocalizations({});
    kqtest::ScopedEnvironment german{{{"LANGUAGE", "de_DE"}}};
    EXPECT_EQ(name(read(xpi)), "English");

    // Any name of nine or more characters is looked up without its first six and last two.
    const struct {
        std::string manifest, catalogue, name;
    } plain[] = {
        {R"({"name": "Abcdefghi", "default_locale": "en"})", messages("def", "X"), "Abcdefghi"},
        {R"({"name": "Abcdefghi", "default_locale": "en"})", messages("g", "Looked up"), "Looked up"},
        {R"({"name": "__MSG_Ünï__", "default_locale": "en"})", messages("Ünï", "Unicode"), "Unicode"},
        {R"({"name": "__MSG_extName__", "default_locale": "en"})", messages("EXTNAME", "X"), "__MSG_extName__"},
        {R"({"name": "Abcdefgh", "default_locale": "en"})", messages("", "Too short"), "Abcdefgh"},
        {R"({"name": "__MSG_x__", "default_locale": "en"})", R"({"x": "not a dictionary"})", "__MSG_x__"},
    };
    int n = 0;
    for (const auto& c : plain) {
        const Files files = {{"manifest.json", c.manifest}, {"_locales/en/messages.json", c.catalogue}};
        const kq::Dictionary d = read(writeXPI("profile/extensions/p" + std::to_string(n++) + ".xpi", files));
        EXPECT_EQ(name(d), c.name) << c.manifest << c.catalogue;
    }
    EXPECT_TRUE(kq::FileManager::defaultManager().contentsOfDirectoryAtPath(tmp / "unpack").empty());
}

TEST_F(FirefoxReaderTests, PackedExtensionsCollectIcons) {
    const auto iconCount = [&](const Files& files) {
        const kq::Dictionary d = read(writeXPI("profile/extensions/icons.xpi", files));
        const kq::Value* icon = d.objectForKey("icon");
        if (!icon) return std::size_t{0};
        auto image = kq::Image::imageWithPropertyList(*icon);
        return image ? image->representations().size() : std::size_t{0};
    };
    const std::string manifest = R"({"name": "Icons")";
    // Names match case-sensitively; other files only through the declared path.
    EXPECT_EQ(iconCount({{"manifest.json", manifest + "}"}, {"icon-48.png", kPNG}, {"img/my-logo.png", kPNG},
                         {"Icon.png", kPNG}, {"Logo.png", kPNG}, {"iconic.txt", "not an image"}}),
              2u);
    EXPECT_EQ(iconCount({{"manifest.json", manifest + R"(, "icons": {"48": "art/Big.png", "96": "art/Other.png"}})"},
                         {"art/Big.png", kPNG}, {"art/Other.png", kPNG}}),
              1u);
    EXPECT_EQ(iconCount({{"manifest.json", manifest + R"(, "browser_action": {"default_icon": "Button.png"}})"},
                         {"Button.png", kPNG}, {"Icon.png", kPNG}}),
              1u);
    EXPECT_EQ(iconCount({{"manifest.json", manifest + R"(, "icons": {"48": ""}})"}, {"Picture.png", kPNG}}), 0u);
}

}  // namespace
