#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "KQFoundation/NSFileManager+KQFoundation.h"
#include "KQFoundation/Foundation/PathUtilities.h"
#include "Support/MountNamespace.h"
#include "Support/ScopedEnvironment.h"
#include "ScanningTestSupport.h"

namespace {

using kqtest::readText;
using kqtest::exists;

std::vector<std::string> namesIn(const std::string& folder) {
    return kq::FileManager::defaultManager().contentsOfDirectoryAtPath(folder);
}

class NSFileManagerKQFoundationTrashTests : public kqtest::ScanningTest {
protected:
    std::string useLinuxHome() {
        const std::string home = tmp.makeDirectory("home");
        kq::FileSystemLayout::setCurrent(std::make_shared<kq::FileSystemLayout>("/", home));
        return home + "/.local/share/Trash";
    }
    std::string useMacHome() {
        const std::string home = tmp.makeDirectory("mac");
        tmp.makeDirectory("mac/.Trash");
        kq::FileSystemLayout::setCurrent(std::make_shared<kq::FileSystemLayout>("/", home));
        return home + "/.Trash";
    }

    struct Outcome {
        bool moved = false;
        std::string destination = "untouched";
        std::error_code error;
    };
    Outcome moveToTrash(const std::string& path) const {
        Outcome outcome;
        outcome.moved = fileManager.moveItemAtPathToTrash(path, &outcome.destination, &outcome.error);
        return outcome;
    }
    std::string trashed(const std::string& path) const {
        const Outcome outcome = moveToTrash(path);
        EXPECT_TRUE(outcome.moved) << path << ": " << outcome.error.message();
        return outcome.destination;
    }

    const kq::FileManager& fileManager = kq::FileManager::defaultManager();
};

TEST_F(NSFileManagerKQFoundationTrashTests, LinuxTrashRecordsWhereTheItemCameFrom) {
    const std::string trash = useLinuxHome();
    const std::string item = tmp.writeFile("work/my notes.txt", "keep me");

    const std::string destination = trashed(item);
    EXPECT_EQ(destination, trash + "/files/my notes.txt");
    EXPECT_EQ(std::make_pair(exists(item), readText(destination)), std::make_pair(false, std::string("keep me")));

    const std::string info = readText(trash + "/info/my notes.txt.trashinfo");
    EXPECT_EQ(info.rfind("[Trash Info]\nPath=" + kq::stringByAddingPercentEscapes(item) + "\nDeletionDate=", 0), 0u)
        << info;
    EXPECT_NE(info.find("my%20notes.txt"), std::string::npos);

    EXPECT_TRUE(fileManager.isPathInTrash(destination));
    EXPECT_FALSE(fileManager.isPathInTrash(tmp / "work"));
}

TEST_F(NSFileManagerKQFoundationTrashTests, NameCollisionsGetNumberedNamesAndNothingIsReplaced) {
    const std::string trash = useLinuxHome();
    const std::vector<std::string> destinations{trashed(tmp.writeFile("a/report.pdf", "a")),
                                                trashed(tmp.writeFile("b/report.pdf", "b"))};
    EXPECT_EQ(destinations, (std::vector<std::string>{trash + "/files/report.pdf", trash + "/files/report 2.pdf"}));
    EXPECT_EQ(readText(destinations[0]) + readText(destinations[1]), "ab");
    EXPECT_TRUE(exists(trash + "/info/report 2.pdf.trashinfo"));

    // A name taken only in info/ (a record without its item) is not reused either.
    tmp.writeFile("home/.local/share/Trash/info/Folder.app.trashinfo", "[Trash Info]\n");
    tmp.writeFile("d/Folder.app/Contents/Info.plist");
    const std::string destination = trashed(tmp / "d/Folder.app");
    EXPECT_EQ(destination, trash + "/files/Folder 2.app");
    EXPECT_TRUE(exists(destination + "/Contents/Info.plist"));
}

TEST_F(NSFileManagerKQFoundationTrashTests, MacHomeUsesItsDotTrashWithoutRecords) {
    const std::string trash = useMacHome();
    tmp.writeFile("mac/.Trash/photo.jpg", "older");
    const std::string item = tmp.writeFile("mac/Desktop/photo.jpg", "newer");

    const std::string destination = trashed(item);
    EXPECT_EQ(destination, trash + "/photo 2.jpg");
    EXPECT_EQ(readText(trash + "/photo.jpg") + readText(destination), "oldernewer");
    EXPECT_FALSE(exists(trash + "/info"));
    EXPECT_TRUE(fileManager.isPathInTrash("~/.Trash/photo 2.jpg"));
    EXPECT_FALSE(fileManager.isPathInTrash("~/.Trash"));
    EXPECT_FALSE(fileManager.isPathInTrash(""));
}

TEST_F(NSFileManagerKQFoundationTrashTests, MacTreeListsTheTrashesOfItsVolumes) {
    const std::string home = tmp.makeDirectory("root/Users/jane");
    const std::string uid = std::to_string(getuid());  // the owner of the home we made
    files("root/", {".Trashes/" + uid + "/", "Volumes/Backup/.Trashes/" + uid + "/", "Volumes/Empty/"});
    kq::FileSystemLayout::setCurrent(std::make_shared<kq::FileSystemLayout>(tmp / "root", home));
    EXPECT_EQ(fileManager.trashFolders(),
              (std::vector<std::string>{home + "/.Trash", tmp / ("root/.Trashes/" + uid),
                                        tmp / ("root/Volumes/Backup/.Trashes/" + uid)}));
    EXPECT_TRUE(fileManager.isPathInTrash(tmp / ("root/Volumes/Backup/.Trashes/" + uid + "/old.txt")));
}

TEST_F(NSFileManagerKQFoundationTrashTests, RefusalsSayWhyAndLeaveEverythingInPlace) {
    using kq::TrashError;
    const std::string home = tmp.makeDirectory("home");
    tmp.writeFile("home/notes.txt", "n");
    const std::string macHome = tmp.makeDirectory("root/Users/jane");
    tmp.writeFile("outside.txt", "o");
    tmp.makeSymlink("homeLink", home);
    // Should a refusal ever fail, "~" must still name nothing but our own folder.
    const kqtest::ScopedEnvironment environment({{"HOME", home.c_str()}}, {});
    const auto host = std::make_shared<kq::FileSystemLayout>("/", home);
    const auto mac = std::make_shared<kq::FileSystemLayout>(tmp / "root", macHome);
    const struct {
        std::string path;
        std::shared_ptr<kq::FileSystemLayout> layout;
        std::error_code expected;
    } cases[] = {
        {home + "/./", host, TrashError::DotPath},
        {"~", host, TrashError::HomeFolder},
        {tmp / "homeLink", host, TrashError::HomeFolder},
        {tmp / "root/Users/../", mac, TrashError::DotPath},
        {tmp / "root/Users", mac, TrashError::HomeFolder},  // holds the home
        {tmp / "root/Users/jane/../../../outside.txt", mac, TrashError::OutsideLayout},
        {"", host, std::make_error_code(std::errc::no_such_file_or_directory)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path);
        kq::FileSystemLayout::setCurrent(c.layout);
        const Outcome outcome = moveToTrash(c.path);
        EXPECT_FALSE(outcome.moved);
        EXPECT_EQ(outcome.error, c.expected) << outcome.error.message();
        EXPECT_FALSE(outcome.error.message().empty());
        EXPECT_EQ(outcome.destination, "untouched");
    }
    EXPECT_EQ(readText(tmp / "outside.txt") + readText(home + "/notes.txt"), "on");
    // No trash was made for a refused item.
    for (const std::string& path : {home + "/.local", macHome + "/.Trash", tmp / "root/.Trashes"})
        EXPECT_FALSE(exists(path)) << path;

    kq::FileSystemLayout::setCurrent(host);
    const std::string destination = trashed(tmp.writeFile("x/once.txt", "1"));
    EXPECT_EQ(moveToTrash(destination).error, TrashError::AlreadyInTrash);
    EXPECT_TRUE(exists(destination));
}

TEST_F(NSFileManagerKQFoundationTrashTests, LongNamesAreCutToFitKeepingNumberExtensionAndOriginalPath) {
    const std::string trash = useLinuxHome();
    std::string e120, e119;  // "é" is two bytes: a cut must not split one
    for (int i = 0; i < 120; ++i) e120 += "\u00e9";
    e119 = e120.substr(2);
    const std::string longExtension = "a." + std::string(252, 'b');  // too long to count as an extension
    const struct {
        std::string name, first, second;
    } cases[] = {
        // The record "<name>.trashinfo" must fit in 255 bytes too.
        {std::string(251, 'a') + ".txt", std::string(241, 'a') + ".txt", std::string(239, 'a') + " 2.txt"},
        {e120 + "\u00e9\u00e9\u00e9.txt", e120 + ".txt", e119 + " 2.txt"},
        {longExtension, longExtension.substr(0, 245), longExtension.substr(0, 243) + " 2"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.first);
        for (const std::string& expected : {c.first, c.second}) {
            const std::string item = tmp.writeFile((expected == c.first ? "one/" : "two/") + c.name, expected);
            const std::string destination = trashed(item);
            EXPECT_EQ(destination, trash + "/files/" + expected);
            EXPECT_EQ(readText(destination), expected);
            const std::string info = readText(trash + "/info/" + expected + ".trashinfo");
            EXPECT_NE(info.find("\nPath=" + kq::stringByAddingPercentEscapes(item) + "\n"), std::string::npos) << info;
        }
    }

    // No records in the Mac trash: 255 bytes fit; each keeps its put-back path.
    const std::string macTrash = useMacHome();
    const std::string name = std::string(251, 'm') + ".txt";
    for (const std::string& expected : {name, std::string(249, 'm') + " 2.txt"}) {
        const std::string item = tmp.writeFile((expected == name ? "three/" : "four/") + name);
        const std::string destination = trashed(item);
        EXPECT_EQ(destination, macTrash + "/" + expected);
        EXPECT_EQ(fileManager.extendedAttribute(destination, "kq.trash.putBackPath"),
                  kq::Data(item.begin(), item.end()));
    }
}

TEST_F(NSFileManagerKQFoundationTrashTests, ItemOnABindMountIsNeverCopied) {
    // Same device on both sides, yet a rename fails with EXDEV: item whole, no record left.
    for (const bool macHome : {false, true}) {
        SCOPED_TRACE(macHome ? "Mac trash" : "freedesktop trash");
        const std::string trash = macHome ? useMacHome() : useLinuxHome();
        if (!macHome) files("home/.local/share/Trash/", {"files/", "info/"});
        const std::string source = tmp.makeDirectory("source");
        for (int i = 0; i < 20; ++i) tmp.writeFile("source/folder/file" + std::to_string(i), std::to_string(i));
        const std::string mount = tmp.makeDirectory("mount");

        const auto run = kqtest::runWithBindMounts({{source, mount}}, [&] {
            const Outcome outcome = moveToTrash(mount + "/folder");
            return std::string(outcome.moved ? "moved " : "kept ") + outcome.error.category().name() + ":" +
                   std::to_string(outcome.error.value()) + " " + outcome.destination;
        });
        if (!run.permitted) GTEST_SKIP() << "no bind mount in a private mount namespace here: " << run.skipReason;
        EXPECT_EQ(run.output, "kept trash:" + std::to_string(static_cast<int>(kq::TrashError::CrossesMount)) +
                                  " untouched");
        EXPECT_EQ(namesIn(source + "/folder").size(), 20u);
        EXPECT_EQ(readText(source + "/folder/file19"), "19");
        for (const std::string& folder : macHome ? std::vector<std::string>{""} : std::vector<std::string>{"/files", "/info"})
            EXPECT_EQ(namesIn(trash + folder), std::vector<std::string>{}) << folder;
        for (const char* folder : {"home", "mac", "source", "mount"}) std::filesystem::remove_all(tmp / folder);
    }
}

}  // namespace
