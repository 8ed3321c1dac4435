#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <optional>
#include <sstream>
#include <string>

#include "KQFoundation/NSFileManager+KQFoundation.h"
#include "KQFoundation/Foundation/PathUtilities.h"
#include "Support/TemporaryDirectory.h"

namespace {

std::string contentsOf(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

bool exists(const std::string& path) {
    struct stat info {};
    return lstat(path.c_str(), &info) == 0;
}

/// Makes a folder immutable for as long as it lives, so that nothing can be
/// renamed out of it even by root (chmod does not stop root).
class ImmutableFolder {
public:
    explicit ImmutableFolder(const std::string& path) : fd_(open(path.c_str(), O_RDONLY | O_DIRECTORY)) {
        int flags = 0;
        if (fd_ >= 0 && ioctl(fd_, FS_IOC_GETFLAGS, &flags) == 0) {
            flags |= FS_IMMUTABLE_FL;
            applied_ = ioctl(fd_, FS_IOC_SETFLAGS, &flags) == 0;
        }
    }
    ~ImmutableFolder() {
        int flags = 0;
        if (applied_ && ioctl(fd_, FS_IOC_GETFLAGS, &flags) == 0) {
            flags &= ~FS_IMMUTABLE_FL;
            ioctl(fd_, FS_IOC_SETFLAGS, &flags);
        }
        if (fd_ >= 0) close(fd_);
    }
    bool applied() const { return applied_; }

private:
    int fd_;
    bool applied_ = false;
};

class NSFileManagerKQFoundationTrashTests : public ::testing::Test {
protected:
    void TearDown() override { kq::FileSystemLayout::setCurrent(savedLayout); }

    /// The running machine with a home of our own: the freedesktop.org trash.
    std::string useLinuxHome() {
        const std::string home = tmp.makeDirectory("home");
        kq::FileSystemLayout::setCurrent(std::make_shared<kq::FileSystemLayout>("/", home));
        return home + "/.local/share/Trash";
    }
    /// A Mac home on this machine: it holds .Trash.
    std::string useMacHome() {
        const std::string home = tmp.makeDirectory("mac");
        tmp.makeDirectory("mac/.Trash");
        kq::FileSystemLayout::setCurrent(std::make_shared<kq::FileSystemLayout>("/", home));
        return home + "/.Trash";
    }

    const kq::FileManager& fileManager = kq::FileManager::defaultManager();
    std::shared_ptr<const kq::FileSystemLayout> savedLayout = kq::FileSystemLayout::current();
    kqtest::TemporaryDirectory tmp;
};

TEST_F(NSFileManagerKQFoundationTrashTests, LinuxTrashRecordsWhereTheItemCameFrom) {
    const std::string trash = useLinuxHome();
    const std::string item = tmp.writeFile("work/my notes.txt", "keep me");

    std::string destination;
    ASSERT_TRUE(fileManager.moveItemAtPathToTrash(item, &destination));
    EXPECT_EQ(destination, trash + "/files/my notes.txt");
    EXPECT_FALSE(exists(item));
    EXPECT_EQ(contentsOf(destination), "keep me");

    const std::string info = contentsOf(trash + "/info/my notes.txt.trashinfo");
    EXPECT_EQ(info.rfind("[Trash Info]\nPath=" + kq::stringByAddingPercentEscapes(item) + "\nDeletionDate=", 0), 0u)
        << info;
    EXPECT_NE(info.find("my%20notes.txt"), std::string::npos);

    EXPECT_TRUE(fileManager.isPathInTrash(destination));
    EXPECT_FALSE(fileManager.isPathInTrash(tmp / "work"));
    EXPECT_EQ(fileManager.trashFolders().front(), trash);
}

TEST_F(NSFileManagerKQFoundationTrashTests, NameCollisionsGetNumberedNamesAndNothingIsReplaced) {
    const std::string trash = useLinuxHome();
    std::vector<std::string> destinations;
    for (const char* folder : {"a", "b", "c"}) {
        const std::string item = tmp.writeFile(std::string(folder) + "/report.pdf", folder);
        std::string destination;
        ASSERT_TRUE(fileManager.moveItemAtPathToTrash(item, &destination));
        destinations.push_back(destination);
    }
    EXPECT_EQ(destinations, (std::vector<std::string>{trash + "/files/report.pdf", trash + "/files/report 2.pdf",
                                                      trash + "/files/report 3.pdf"}));
    EXPECT_EQ(contentsOf(destinations[0]), "a");
    EXPECT_EQ(contentsOf(destinations[2]), "c");
    EXPECT_TRUE(exists(trash + "/info/report 3.pdf.trashinfo"));

    // A name taken only in info/ (a record without its item) is not reused either.
    tmp.writeFile("home/.local/share/Trash/info/Folder.app.trashinfo", "[Trash Info]\n");
    tmp.writeFile("d/Folder.app/Contents/Info.plist");
    tmp.writeFile("e/README");
    tmp.writeFile("f/README");
    std::string destination;
    ASSERT_TRUE(fileManager.moveItemAtPathToTrash(tmp / "d/Folder.app", &destination));
    EXPECT_EQ(destination, trash + "/files/Folder 2.app");
    EXPECT_TRUE(exists(destination + "/Contents/Info.plist"));
    ASSERT_TRUE(fileManager.moveItemAtPathToTrash(tmp / "e/README"));
    ASSERT_TRUE(fileManager.moveItemAtPathToTrash(tmp / "f/README", &destination));
    EXPECT_EQ(destination, trash + "/files/README 2");
}

TEST_F(NSFileManagerKQFoundationTrashTests, MacHomeUsesItsDotTrashWithoutRecords) {
    const std::string trash = useMacHome();
    EXPECT_EQ(fileManager.trashFolders().front(), trash);
    tmp.writeFile("mac/.Trash/photo.jpg", "older");
    const std::string item = tmp.writeFile("mac/Desktop/photo.jpg", "newer");

    std::string destination;
    ASSERT_TRUE(fileManager.moveItemAtPathToTrash(item, &destination));
    EXPECT_EQ(destination, trash + "/photo 2.jpg");
    EXPECT_EQ(contentsOf(trash + "/photo.jpg"), "older");
    EXPECT_EQ(contentsOf(destination), "newer");
    EXPECT_FALSE(exists(trash + "/info"));
    EXPECT_TRUE(fileManager.isPathInTrash("~/.Trash/photo 2.jpg"));
    EXPECT_FALSE(fileManager.isPathInTrash("~/.Trash"));
    EXPECT_FALSE(fileManager.isPathInTrash(""));
}

TEST_F(NSFileManagerKQFoundationTrashTests, MacTreeListsTheTrashesOfItsVolumes) {
    const std::string home = tmp.makeDirectory("root/Users/jane");
    const std::string uid = std::to_string(getuid());  // the owner of the home we made
    tmp.makeDirectory("root/.Trashes/" + uid);
    tmp.makeDirectory("root/Volumes/Backup/.Trashes/" + uid);
    tmp.makeDirectory("root/Volumes/Empty");
    kq::FileSystemLayout::setCurrent(std::make_shared<kq::FileSystemLayout>(tmp / "root", home));
    EXPECT_EQ(fileManager.trashFolders(),
              (std::vector<std::string>{home + "/.Trash", tmp / ("root/.Trashes/" + uid),
                                        tmp / ("root/Volumes/Backup/.Trashes/" + uid)}));
    EXPECT_TRUE(fileManager.isPathInTrash(tmp / ("root/Volumes/Backup/.Trashes/" + uid + "/old.txt")));
}

TEST_F(NSFileManagerKQFoundationTrashTests, RefusedMovesLeaveEverythingInPlace) {
    useLinuxHome();
    EXPECT_FALSE(fileManager.moveItemAtPathToTrash(tmp / "missing"));
    EXPECT_FALSE(fileManager.moveItemAtPathToTrash(""));

    // Something already in the trash stays where it is.
    std::string destination;
    ASSERT_TRUE(fileManager.moveItemAtPathToTrash(tmp.writeFile("x/once.txt", "1"), &destination));
    EXPECT_FALSE(fileManager.moveItemAtPathToTrash(destination));
    EXPECT_TRUE(exists(destination));
}

TEST_F(NSFileManagerKQFoundationTrashTests, FailedMoveFromLockedFolderKeepsItemAndDropsRecord) {
    const std::string trash = useLinuxHome();
    const std::string item = tmp.writeFile("locked/keep.txt", "precious");
    tmp.makeDirectory("home/.local/share/Trash/info");  // so the record's absence below means something

    std::optional<ImmutableFolder> immutable;
    if (geteuid() == 0) {
        // Root ignores permissions; an immutable folder stops even root.
        immutable.emplace(tmp / "locked");
        if (!immutable->applied()) GTEST_SKIP() << "cannot make a folder immutable here as root";
    } else {
        ASSERT_EQ(chmod((tmp / "locked").c_str(), 0555), 0);
    }

    std::string destination = "untouched";
    EXPECT_FALSE(fileManager.moveItemAtPathToTrash(item, &destination));
    EXPECT_EQ(destination, "untouched");
    immutable.reset();
    chmod((tmp / "locked").c_str(), 0755);

    EXPECT_EQ(contentsOf(item), "precious");
    EXPECT_FALSE(exists(trash + "/files/keep.txt"));
    EXPECT_FALSE(exists(trash + "/info/keep.txt.trashinfo"));
}

}  // namespace
