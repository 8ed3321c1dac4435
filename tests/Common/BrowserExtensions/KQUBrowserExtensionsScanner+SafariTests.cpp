#include <gtest/gtest.h>

#include "KQFoundation/Foundation/PropertyList.h"
#include "KQFoundation/KQUBrowserExtensionsScanner.h"
#include "KQFoundation/System/FileManager.h"
#include "Support/ArchiveWriter.h"
#include "Support/ScopedEnvironment.h"
#include "Support/ScopedLayout.h"
#include "Support/TemporaryDirectory.h"

namespace {

using kqtest::TemporaryDirectory;

const std::string kPNG{"\x89PNG\r\n\x1a\n\0\0\0\rIHDR\0\0\0\x02\0\0\0\x02\x08\x02\0\0\0\xfd\xd4\x9as\0\0\0\x11IDATx"
                       "\x9c\x63\xf8\xcf\xc0\0\x44\x60\xe2?\x03\0\x1d\xf0\x03\xfd\xa0\x33\x09\x89\0\0\0\0IEND\xae\x42\x60\x82",
                       74};

/// A xar archive of the (path, contents) files; a path ending in "/" is a folder.
void writeXar(const std::string& path, const std::vector<std::pair<std::string, std::string>>& files) {
    std::vector<kqtest::ArchiveEntry> entries;
    for (const auto& [name, contents] : files)
        entries.push_back({name, name.back() == '/' ? mode_t{AE_IFDIR} : mode_t{AE_IFREG}, contents, 0755});
    kqtest::writeArchive(path, kq::ArchiveFormat::Xar, entries);
}

std::string plist(const kq::Value& value) {
    const kq::Data bytes = kq::PropertyList::write(value);
    return {bytes.begin(), bytes.end()};
}

class SafariReaderTest : public ::testing::Test {
protected:
    TemporaryDirectory tmp;
    std::string temporaryFolder = tmp.makeDirectory("tmp");
    kqtest::ScopedEnvironment environment{{{"TMPDIR", temporaryFolder.c_str()}}};
    std::string extensions = tmp.makeDirectory("Users/alex/Library/Safari/Extensions");
    kqtest::ScopedLayout layout{tmp.path(), tmp / "Users/alex"};
    KQUBrowserExtensionsScanner scanner;

    kq::URL item(const std::string& name) const { return kq::URL::fileURLWithPath(extensions + "/" + name); }
    bool temporaryFolderIsEmpty() const {
        return kq::FileManager::defaultManager().contentsOfDirectoryAtPath(temporaryFolder).empty();
    }
};

TEST_F(SafariReaderTest, ReadsTheUnpackedArchiveAndTheExtensionsList) {
    const kq::Dictionary permissions{
        {"Website Access", kq::Dictionary{{"Level", "Some"}, {"Allowed Domains", kq::Array{"*.example.com"}}}}};
    writeXar(extensions + "/Notes.safariextz",
             {{"Notes.safariextension/", ""},
              {"Notes.safariextension/Icon-64.png", kPNG},
              {"Notes.safariextension/icon.png", kPNG},
              {"Notes.safariextension/Info.plist",
               plist(kq::Dictionary{{"CFBundleDisplayName", "Sample Notes"}, {"Permissions", permissions}})},
              {"Notes.safariextension/Other/Info.plist", plist(kq::Dictionary{{"CFBundleDisplayName", "Not me"}})}});
    tmp.writeFile("Users/alex/Library/Safari/Extensions/Broken.safariextz", "truncated");
    tmp.writeFile("Users/alex/Library/Safari/Extensions/.DS_Store", "x");
    tmp.writeFile("Users/alex/Library/Safari/Extensions/Extensions.plist",
                  plist(kq::Dictionary{{"Installed Extensions",
                                        kq::Array{"not a dictionary",
                                                  kq::Dictionary{{"Archive File Name", "Other.safariextz"}, {"Apple-signed", true}},
                                                  kq::Dictionary{{"Archive File Name", "Notes.safariextz"}, {"Apple-signed", true}},
                                                  kq::Dictionary{{"Archive File Name", "Broken.safariextz"}, {"Apple-signed", true}}}}}));

    const kq::Dictionary notes = scanner.safariExtensionDictionaryWithURL(item("Notes.safariextz"));
    EXPECT_EQ(*notes.stringValueForKey("name"), "Sample Notes");
    ASSERT_NE(notes.objectForKey("icon"), nullptr);
    EXPECT_EQ(kq::Image::imageWithPropertyList(*notes.objectForKey("icon"))->representations().size(), 2u);
    EXPECT_TRUE(temporaryFolderIsEmpty());

    // A broken archive still names a record after its file; only the first
    // entry of the list naming it counts.
    const kq::Dictionary broken = scanner.safariExtensionDictionaryWithURL(item("Broken.safariextz"));
    EXPECT_EQ(*broken.stringValueForKey("name"), "Broken");
    EXPECT_EQ(broken.integerValueForKey("size", 0), 9);
    EXPECT_EQ(broken.objectForKey("icon"), nullptr);
    EXPECT_EQ(broken.integerValueForKey("sourceType", 0), KQUBrowserExtensionSourceKindStore);
    EXPECT_TRUE(temporaryFolderIsEmpty());

    const auto records = scanner.scanBrowserExtensionsOfType(KQUBrowserExtensionTypeSafari);
    ASSERT_EQ(records->size(), 2u);
    EXPECT_EQ((*records)[0].name(), "Broken");
    EXPECT_EQ((*records)[1].name(), "Sample Notes");
}

TEST_F(SafariReaderTest, ItemsThatAreNotArchivesGiveNoName) {
    tmp.writeFile("Users/alex/Library/Safari/Extensions/Extensions.plist",
                  plist(kq::Dictionary{{"Installed Extensions",
                                        kq::Array{kq::Dictionary{{"Archive File Name", "Folder.safariextz"},
                                                                 {"Apple-signed", false}},
                                                  kq::Dictionary{{"Archive File Name", "Folder.safariextz"},
                                                                 {"Apple-signed", true}}}}}));
    tmp.makeDirectory("Users/alex/Library/Safari/Extensions/Folder.safariextz");  // unpacking fails
    tmp.writeFile("Users/alex/Library/Safari/Extensions/Notes.zip", "x");

    EXPECT_TRUE(scanner.safariExtensionDictionaryWithURL(item("Notes.zip")).empty());
    EXPECT_TRUE(scanner.safariExtensionDictionaryWithURL(item("Missing.safariextz")).empty());
    const kq::Dictionary folder = scanner.safariExtensionDictionaryWithURL(item("Folder.safariextz"));
    EXPECT_EQ(*folder.stringValueForKey("name"), "Folder");
    EXPECT_FALSE(folder.contains("sourceType"));  // the first matching entry says no
    EXPECT_TRUE(temporaryFolderIsEmpty());
}

TEST_F(SafariReaderTest, PermissionsNeedADisplayName) {
    writeXar(extensions + "/Plain.SAFARIEXTZ",
             {{"Plain.safariextension/Info.plist",
               plist(kq::Dictionary{{"Permissions", kq::Dictionary{{"Website Access", kq::Dictionary{{"Level", "All"}}}}}})}});
    const kq::Dictionary plain = scanner.safariExtensionDictionaryWithURL(item("Plain.SAFARIEXTZ"));
    EXPECT_EQ(*plain.stringValueForKey("name"), "Plain");
    EXPECT_FALSE(plain.contains("permissionsInfo"));
    EXPECT_FALSE(plain.contains("icon"));
}

TEST_F(SafariReaderTest, UnpackingLeavesNothingBehindOnFailure) {
    writeXar(tmp / "good.xar", {{"a/b.txt", "hello"}});
    tmp.writeFile("bad.xar", "not an archive");
    EXPECT_FALSE(scanner.unpackedExtensionURLForArchiveAtURL(kq::URL::fileURLWithPath(tmp / "good.xar"), 7));
    EXPECT_FALSE(scanner.unpackedExtensionURLForArchiveAtURL(kq::URL::fileURLWithPath(tmp / "bad.xar"),
                                                             KQUExtensionUnarchiverTypeXar));
    EXPECT_TRUE(temporaryFolderIsEmpty());

    const auto folder = scanner.unpackedExtensionURLForArchiveAtURL(kq::URL::fileURLWithPath(tmp / "good.xar"),
                                                                    KQUExtensionUnarchiverTypeXar);
    ASSERT_TRUE(folder.has_value());
    EXPECT_EQ(folder->URLByDeletingLastPathComponent().path(), temporaryFolder);
    EXPECT_EQ(*kq::FileManager::defaultManager().contentsAtPath(folder->path() + "/a/b.txt"), (kq::Data{'h', 'e', 'l', 'l', 'o'}));
}

}  // namespace
