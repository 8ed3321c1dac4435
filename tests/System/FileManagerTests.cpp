#include "KQFoundation/System/FileManager.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <tuple>

#include "Support/TemporaryDirectory.h"

namespace {

using kq::Data;
using kq::FileManager;

Data bytes(std::string_view text) { return Data(text.begin(), text.end()); }

class FileManagerTest : public testing::Test {
protected:
    kqtest::TemporaryDirectory tmp;
    FileManager& fm = FileManager::defaultManager();
};

TEST_F(FileManagerTest, ExistenceFollowsLinksAndShallowListingIsSorted) {
    tmp.makeDirectory("dir");
    tmp.writeFile("file", "x");
    tmp.makeSymlink("toDir", tmp / "dir");
    tmp.makeSymlink("dangling", tmp / "missing");
    bool toDir = false, file = true;
    EXPECT_TRUE(fm.fileExistsAtPath(tmp / "toDir", toDir) && fm.fileExistsAtPath(tmp / "file", file));
    EXPECT_TRUE(toDir && !file);
    EXPECT_FALSE(fm.fileExistsAtPath(tmp / "dangling"));
    EXPECT_FALSE(fm.fileExistsAtPath(""));
    EXPECT_TRUE(fm.isReadableFileAtPath(tmp / "file") && !fm.isReadableFileAtPath(tmp / "missing"));

    for (const char* name : {"b", "a", ".hidden", "C", "a.app", "z/inner"}) tmp.writeFile("list/" + std::string(name));
    EXPECT_EQ(fm.contentsOfDirectoryAtPath(tmp / "list"), (std::vector<std::string>{".hidden", "C", "a", "a.app", "b", "z"}));
}

TEST_F(FileManagerTest, FailuresReportTheirErrorAndChangeNothing) {
    tmp.writeFile("file", "mine");
    tmp.writeFile("to", "theirs");
    tmp.makeDirectory("aFolder");
    tmp.makeDirectory("a/b");
    using Call = std::function<bool(std::error_code*)>;
    const std::pair<Call, std::errc> cases[] = {
        {[&](auto e) { return !fm.contentsOfDirectoryAtPath(tmp / "missing", e).empty(); }, std::errc::no_such_file_or_directory},
        {[&](auto e) { return !fm.contentsOfDirectoryAtPath(tmp / "file", e).empty(); }, std::errc::not_a_directory},
        {[&](auto e) { return fm.attributesOfItemAtPath(tmp / "missing", e).has_value(); }, std::errc::no_such_file_or_directory},
        {[&](auto e) { return fm.createFileAtPath(tmp / "no/such/folder/file", bytes("x"), e); }, std::errc::no_such_file_or_directory},
        {[&](auto e) { return fm.createDirectoryAtPath(tmp / "x/y/z", false, e); }, std::errc::no_such_file_or_directory},
        {[&](auto e) { return fm.createDirectoryAtPath(tmp / "a/b", false, e); }, std::errc::file_exists},
        {[&](auto e) { return fm.createDirectoryAtPath(tmp / "file", true, e); }, std::errc::not_a_directory},
        {[&](auto e) { return fm.moveItemAtPath(tmp / "file", tmp / "to", e); }, std::errc::file_exists},  // never replaces
        {[&](auto e) { return fm.moveItemAtPath(tmp / "missing", tmp / "other", e); }, std::errc::no_such_file_or_directory},
        {[&](auto e) { return fm.removeItemAtPath(tmp / "missing", e); }, std::errc::no_such_file_or_directory},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        std::error_code error;
        EXPECT_FALSE(cases[i].first(&error)) << i;
        EXPECT_EQ(error, cases[i].second) << i;
    }
    EXPECT_FALSE(fm.createDirectoryAtPath(tmp / "file/sub", true));
    EXPECT_FALSE(fm.createFileAtPath(tmp / "aFolder", bytes("x")));
    EXPECT_TRUE(std::filesystem::is_directory(tmp / "aFolder"));
    EXPECT_EQ(std::make_tuple(fm.contentsAtPath(tmp / "file"), fm.contentsAtPath(tmp / "to")), std::make_tuple(bytes("mine"), bytes("theirs")));
    EXPECT_EQ(fm.contentsOfDirectoryAtPath(tmp.path()), (std::vector<std::string>{"a", "aFolder", "file", "to"}));  // no temporaries
}

TEST_F(FileManagerTest, AttributesDescribeTheItemItself) {
    std::string file = tmp.writeFile("file.txt", "0123456789");
    chmod(file.c_str(), 0640);
    tmp.makeSymlink("link", "file.txt");

    auto attributes = fm.attributesOfItemAtPath(file);
    ASSERT_TRUE(attributes);
    EXPECT_EQ(std::tie(attributes->type, attributes->size, attributes->posixPermissions, attributes->referenceCount,
                       attributes->fileExtensionHidden),
              std::make_tuple(kq::FileType::Regular, 10u, 0640u, 1u, false));
    EXPECT_GT(attributes->modificationDate.time_since_epoch().count(), 0);

    EXPECT_EQ(fm.attributesOfItemAtPath(tmp / "link")->type, kq::FileType::SymbolicLink);
    EXPECT_EQ(fm.destinationOfSymbolicLinkAtPath(tmp / "link"), "file.txt");
    EXPECT_EQ(fm.destinationOfSymbolicLinkAtPath(file), std::nullopt);
}

TEST_F(FileManagerTest, ExtensionHiddenComesFromFinderInfo) {
    std::string file = tmp.writeFile("Report.pdf");
    // The hide-extension bit of the big-endian Finder flags; other flags (the high byte) do not count.
    for (auto [high, low, hidden] : {std::tuple{0x00, 0x10, true}, {0x10, 0x00, false}}) {
        Data finderInfo(32, 0);
        finderInfo[8] = static_cast<std::uint8_t>(high);
        finderInfo[9] = static_cast<std::uint8_t>(low);
        ASSERT_EQ(setxattr(file.c_str(), "user.com.apple.FinderInfo", finderInfo.data(), finderInfo.size(), 0), 0);
        EXPECT_EQ(fm.attributesOfItemAtPath(file)->fileExtensionHidden, hidden);
        EXPECT_EQ(fm.extendedAttribute(file, "com.apple.FinderInfo"), finderInfo);
        EXPECT_EQ(fm.extendedAttribute(file, "user.com.apple.FinderInfo"), finderInfo);
    }

    // A truncated attribute is read leniently, not trusted beyond its end.
    ASSERT_EQ(setxattr(file.c_str(), "user.com.apple.FinderInfo", "\0\0\0", 3, 0), 0);
    EXPECT_FALSE(fm.attributesOfItemAtPath(file)->fileExtensionHidden);

    // Setting the flag keeps the rest of the Finder info.
    std::string folder = tmp.makeDirectory("Hidden.app");
    Data typed(32, 0);
    typed[0] = 'A';
    ASSERT_TRUE(fm.setExtendedAttribute(folder, "com.apple.FinderInfo", typed));
    ASSERT_TRUE(fm.setFileExtensionHidden(folder, true));
    EXPECT_TRUE(fm.attributesOfItemAtPath(folder)->fileExtensionHidden);
    EXPECT_EQ(fm.extendedAttribute(folder, "com.apple.FinderInfo")->at(0), 'A');
    ASSERT_TRUE(fm.setFileExtensionHidden(folder, false));
    EXPECT_FALSE(fm.attributesOfItemAtPath(folder)->fileExtensionHidden);
    EXPECT_EQ(fm.extendedAttribute(folder, "com.apple.Missing"), std::nullopt);
}

TEST_F(FileManagerTest, CreateFileReplacesAtomicallyAndCreateDirectoryMakesParents) {
    std::string path = tmp / "data.bin";
    ASSERT_TRUE(fm.createFileAtPath(path, bytes("first")));
    ASSERT_TRUE(fm.createFileAtPath(path, bytes("second, longer")));
    EXPECT_EQ(fm.contentsAtPath(path), bytes("second, longer"));
    EXPECT_EQ(fm.contentsOfDirectoryAtPath(tmp.path()), std::vector<std::string>{"data.bin"});
    ASSERT_TRUE(fm.createFileAtPath(tmp / "empty", Data()));
    EXPECT_EQ(fm.contentsAtPath(tmp / "empty"), Data());
    EXPECT_EQ(fm.contentsAtPath(tmp.path()), std::nullopt);
    EXPECT_EQ(fm.contentsAtPath(tmp / "missing"), std::nullopt);

    // Replacing keeps the old file's permissions, writes through links and
    // never swaps a pipe or device for a file.
    std::string kept = tmp.writeFile("kept", "old");
    chmod(kept.c_str(), 0640);
    tmp.makeSymlink("link", "kept");
    ASSERT_TRUE(fm.createFileAtPath(tmp / "link", bytes("new")));
    EXPECT_EQ(fm.attributesOfItemAtPath(kept)->posixPermissions, 0640u);
    EXPECT_EQ(fm.attributesOfItemAtPath(tmp / "link")->type, kq::FileType::SymbolicLink);
    EXPECT_EQ(fm.contentsAtPath(kept), bytes("new"));
    std::string pipe = tmp / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_TRUE(fm.createFileAtPath(pipe, bytes("piped")));
    char got[8] = {};
    EXPECT_EQ(read(reader, got, sizeof got), 5);
    close(reader);
    EXPECT_EQ(fm.attributesOfItemAtPath(pipe)->type, kq::FileType::Other);
    std::string readOnly = tmp.writeFile("readOnly", "keep");
    chmod(readOnly.c_str(), 0444);
    const bool written = fm.createFileAtPath(readOnly, bytes("new"));
    EXPECT_EQ(written, geteuid() == 0);  // root may write anything, as with any write
    EXPECT_EQ(fm.contentsAtPath(readOnly), bytes(written ? "new" : "keep"));
    EXPECT_EQ(fm.attributesOfItemAtPath(readOnly)->posixPermissions, 0444u);

    EXPECT_TRUE(fm.createDirectoryAtPath(tmp / "a/b/c/", true));
    EXPECT_TRUE(std::filesystem::is_directory(tmp / "a/b/c"));
    EXPECT_TRUE(fm.createDirectoryAtPath(tmp / "a/b", true));
}

TEST_F(FileManagerTest, MoveAcrossFileSystemsFailsAndCopiesNothing) {
    // /dev/shm is a separate (memory) file system on Linux; skip where it is not.
    struct stat here {}, there {};
    if (stat(tmp.path().c_str(), &here) != 0 || stat("/dev/shm", &there) != 0 || here.st_dev == there.st_dev ||
        access("/dev/shm", W_OK) != 0)
        GTEST_SKIP() << "no second writable file system";
    const std::string destination = "/dev/shm/kqtest-move-" + std::to_string(getpid());
    std::filesystem::remove_all(destination);

    tmp.writeFile("tree/a.txt", "alpha");
    tmp.writeFile("tree/sub/b.txt", "beta");
    std::error_code error;
    EXPECT_FALSE(fm.moveItemAtPath(tmp / "tree", destination, &error));
    EXPECT_EQ(error, std::errc::cross_device_link);
    EXPECT_FALSE(fm.fileExistsAtPath(destination));
    EXPECT_EQ(fm.contentsAtPath(tmp / "tree/a.txt"), bytes("alpha"));
    EXPECT_EQ(fm.contentsAtPath(tmp / "tree/sub/b.txt"), bytes("beta"));
    std::filesystem::remove_all(destination);
}

TEST_F(FileManagerTest, RemoveIsRecursiveAndDoesNotFollowLinks) {
    tmp.writeFile("keep/precious", "x");
    tmp.writeFile("gone/a/b/c", "y");
    tmp.makeSymlink("gone/linkToKeep", tmp / "keep");
    EXPECT_TRUE(fm.removeItemAtPath(tmp / "gone"));
    EXPECT_FALSE(fm.fileExistsAtPath(tmp / "gone"));
    EXPECT_EQ(fm.contentsAtPath(tmp / "keep/precious"), bytes("x"));
}

}  // namespace
