#include "KQFoundation/NSFileManager+KQFoundation.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <string>

#include "KQFoundation/Foundation/Log.h"
#include "KQFoundation/Foundation/PropertyList.h"
#include "ScanningTestSupport.h"

namespace {

using namespace std::chrono_literals;

class NSFileManagerKQFoundationTests : public kqtest::ScanningTest {
protected:
    const kq::FileManager& fileManager = kq::FileManager::defaultManager();
};

TEST_F(NSFileManagerKQFoundationTests, SizeSumsLogicalSizesOfFilesAndLinksButNotFolders) {
    // Nested folders add nothing of their own (kqu's size script covers plain trees); a dangling
    // link counts its own length, and links to "." and ".." are measured, not entered.
    tmp.writeFile("tree/sub/deeper/three", "abc");
    tmp.makeSymlink("tree/sub/dangling", "/nowhere");
    tmp.makeSymlink("tree/self", ".");
    tmp.makeSymlink("tree/sub/up", "..");
    EXPECT_EQ(fileManager.sizeOfItemAtPath(tmp / "tree"), 3u + 8u + 1u + 2u);
}

TEST_F(NSFileManagerKQFoundationTests, SizeCountsHardLinksPerPath) {
    const std::string file = tmp.writeFile("tree/seven", "1234567");
    ASSERT_EQ(link(file.c_str(), (tmp / "tree/seven-again").c_str()), 0);
    EXPECT_EQ(fileManager.sizeOfItemAtPath(tmp / "tree"), 14u);
    EXPECT_EQ(fileManager.sizeOfItemAtPath(""), 0u);
}

TEST_F(NSFileManagerKQFoundationTests, CrashReportFoldersPreferDiagnosticReportsWhenPresent) {
    tmp.makeDirectory("root/Users/jane");
    useLayout("root", "root/Users/jane");
    tmp.makeDirectory("root/Library/Logs/DiagnosticReports");
    const std::vector<std::string> expected{
        tmp / "root/Library/Logs/DiagnosticReports",
        tmp / "root/Library/Application Support/CrashReporter",
        tmp / "root/Users/jane/Library/Logs/CrashReporter",
        tmp / "root/Users/jane/Library/Application Support/CrashReporter",
    };
    EXPECT_EQ(fileManager.crashReportFolders(), expected);
    // The choice is made once: a folder that appears later does not change the list.
    tmp.makeDirectory("root/Users/jane/Library/Logs/DiagnosticReports");
    EXPECT_EQ(fileManager.crashReportFolders(), expected);
}

TEST_F(NSFileManagerKQFoundationTests, LastUsedDateComesFromMetadataAttributeElseAccessTime) {
    kq::LogCapture capture;
    EXPECT_FALSE(fileManager.lastUsedDateOfTimeAtPath(tmp / "missing"));
    EXPECT_EQ(capture.lines().size(), 1u);

    const std::string file = tmp.writeFile("document.txt", "text");
    const timespec times[2] = {{1'500'000'000, 0}, {1'400'000'000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
    EXPECT_EQ(fileManager.lastUsedDateOfTimeAtPath(file), kq::Date(1'500'000'000s));

    const kq::Date used = kq::Date(1'600'000'000s);
    const kq::Data plist = kq::PropertyList::write(kq::Value(used), kq::PropertyListFormat::Binary);
    if (!fileManager.setExtendedAttribute(file, "com.apple.metadata:kMDItemLastUsedDate", plist))
        GTEST_SKIP() << "the temporary folder's file system takes no extended attributes";
    EXPECT_EQ(fileManager.lastUsedDateOfTimeAtPath(file), used);

    // An attribute that is no date is ignored.
    ASSERT_TRUE(fileManager.setExtendedAttribute(file, "com.apple.metadata:kMDItemLastUsedDate", {'j', 'u', 'n', 'k'}));
    EXPECT_EQ(fileManager.lastUsedDateOfTimeAtPath(file), kq::Date(1'500'000'000s));
}

TEST_F(NSFileManagerKQFoundationTests, FilePackageTestLooksAtEnclosingFoldersOnly) {
    tmp.writeFile("Editor.app/Contents/Resources/icon.icns");
    tmp.writeFile("Fake.app", "not a folder");  // a file named like a package is not one
    for (const auto& [path, inPackage] : std::vector<std::pair<std::string, bool>>{
             {tmp / "Editor.app/Contents/Info.plist", true}, {tmp / "Editor.app/Contents/Resources/icon.icns", true},
             {tmp / "Editor.app", false}, {tmp / "plain/file", false}, {"/", false}, {"file", false},
             {tmp / "Fake.app/inside", false}})
        EXPECT_EQ(fileManager.isPathInFilePackage(path), inPackage) << path;
}

TEST_F(NSFileManagerKQFoundationTests, VolumeQuestionsFailCleanlyAndMemoryFileSystemsAreNoStorage) {
    std::uint32_t flags = 0xffffffff;
    EXPECT_EQ(fileManager.vMExtendedAttributes(flags, tmp / "missing"), -37);
    EXPECT_EQ(flags, 0u);
    EXPECT_FALSE(fileManager.isPathOnEjectableDiskDrive(tmp / "missing") || fileManager.isPathOnInternalDevice(tmp / "missing") ||
                 fileManager.isPathOnStorageDevice(tmp / "missing"));

    flags = 0xffffffff;
    EXPECT_EQ(fileManager.vMExtendedAttributes(flags, "/proc/self"), 0);
    EXPECT_EQ(flags, 0u);
    EXPECT_FALSE(fileManager.isPathOnStorageDevice("/proc/self"));
}

}  // namespace
