#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include "KQFoundation/NSFileManager+MD5HashCalculation.h"
#include "Support/TemporaryDirectory.h"

namespace {

constexpr const char* kEmptyDigest = "d41d8cd98f00b204e9800998ecf8427e";
constexpr const char* kFoxDigest = "9e107d9d372bb6826bd81d3542a419d6";  // "The quick brown fox jumps over the lazy dog"

class NSFileManagerMD5HashCalculationTests : public ::testing::Test {
protected:
    kqtest::TemporaryDirectory dir;
    const kq::FileManager& fm = kq::FileManager::defaultManager();

    std::optional<std::string> md5(const std::string& relative, std::size_t chunkSize) const {
        return fm.md5HashStringForItemAtURL(kq::URL::fileURLWithPath(dir / relative), chunkSize);
    }
};

TEST_F(NSFileManagerMD5HashCalculationTests, FilesAndFoldersHashTheirRegularFilesInWalkOrder) {
    dir.writeFile("fox", "The quick brown fox jumps over the lazy dog");
    dir.writeFile("empty");
    dir.makeSymlink("link", "fox");
    dir.writeFile("tree/a", "The quick brown fox ");
    dir.writeFile("tree/sub/b", "jumps over ");
    dir.writeFile("tree/sub/deeper/c", "the lazy dog");
    dir.makeDirectory("tree/sub/empty");
    dir.makeSymlink("tree/link-to-file", "a");
    dir.makeSymlink("tree/sub/link-to-folder", "..");
    for (const std::size_t chunk : {std::size_t{5}, std::size_t{1} << 40}) EXPECT_EQ(md5("fox", chunk), kFoxDigest) << chunk;
    EXPECT_EQ(md5("empty", 64), kEmptyDigest);
    EXPECT_EQ(md5("link", 64), kFoxDigest);  // a link named itself is read through
    EXPECT_EQ(md5("tree", 3), kFoxDigest);
    EXPECT_EQ(md5("tree", 0), kEmptyDigest);
}

TEST_F(NSFileManagerMD5HashCalculationTests, NothingToHashGivesNullopt) {
    dir.makeDirectory("empty");
    dir.makeDirectory("folders/only/folders");
    dir.writeFile("target/file", "x");
    dir.makeSymlink("links/l", "../target/file");
    dir.makeSymlink("dangling", "missing");
    for (const char* item : {"missing", "empty", "folders", "links", "dangling"}) EXPECT_FALSE(md5(item, 16)) << item;
    EXPECT_FALSE(fm.md5HashStringForItemAtURL(*kq::URL::URLWithString("https://example.com/file"), 16));

    auto context = kq::MD5Context::create();
    ASSERT_TRUE(context);
    EXPECT_FALSE(fm.updateHash(nullptr, kq::URL::fileURLWithPath(dir / "target/file"), 16));
    EXPECT_FALSE(fm.updateHash(context.get(), kq::URL::fileURLWithPath(dir / "missing"), 16));
    EXPECT_TRUE(fm.updateHash(context.get(), kq::URL::fileURLWithPath(dir / "target/file"), 0));
}

TEST_F(NSFileManagerMD5HashCalculationTests, AnUnreadableFileFailsTheWholeFolder) {
    if (geteuid() == 0) GTEST_SKIP() << "root reads every file";
    dir.writeFile("tree/a", "readable");
    const auto locked = dir.writeFile("tree/b", "locked");
    ASSERT_EQ(chmod(locked.c_str(), 0), 0);
    EXPECT_FALSE(md5("tree", 16));
    EXPECT_FALSE(md5("tree/b", 0));
    EXPECT_EQ(md5("tree/a", 16), md5("tree/a", 1));
}

}  // namespace
