#include <gtest/gtest.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <iterator>
#include <tuple>

#include "KQFoundation/System/FileManager.h"
#include "Support/MountNamespace.h"
#include "Support/TemporaryDirectory.h"

namespace {

using kq::FileType;
using Strings = std::vector<std::string>;

Strings walk(const std::string& root) {
    Strings paths;
    auto enumerator = kq::FileManager::defaultManager().enumeratorAtPath(root);
    if (!enumerator) return paths;
    while (auto path = enumerator->nextObject()) paths.push_back(*path);
    return paths;
}

std::ptrdiff_t openDescriptorCount() { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); }

TEST(DirectoryEnumerator, DepthFirstInNameOrderWithTypesAndLevels) {
    kqtest::TemporaryDirectory tmp;
    tmp.writeFile("b.txt");
    tmp.writeFile("a/y/z");
    tmp.writeFile("a/x");
    tmp.writeFile(".hidden");
    tmp.makeDirectory("a/empty");
    tmp.makeSymlink("c", "a");
    ASSERT_EQ(mkfifo((tmp / "pipe").c_str(), 0600), 0);

    auto enumerator = kq::FileManager::defaultManager().enumeratorAtPath(tmp.path());
    ASSERT_TRUE(enumerator);
    std::vector<std::tuple<std::string, FileType, std::size_t>> seen;
    while (auto path = enumerator->nextObject()) seen.emplace_back(*path, enumerator->currentEntryType(), enumerator->level());
    EXPECT_EQ(seen, (decltype(seen){{".hidden", FileType::Regular, 1}, {"a", FileType::Directory, 1},
                                    {"a/empty", FileType::Directory, 2}, {"a/x", FileType::Regular, 2},
                                    {"a/y", FileType::Directory, 2}, {"a/y/z", FileType::Regular, 3},
                                    {"b.txt", FileType::Regular, 1}, {"c", FileType::SymbolicLink, 1},
                                    {"pipe", FileType::Other, 1}}));
    EXPECT_EQ(enumerator->nextObject(), std::nullopt);  // stays at the end
}

TEST(DirectoryEnumerator, SkipDescendantsAppliesToTheEntryJustReturned) {
    kqtest::TemporaryDirectory tmp;
    tmp.writeFile("A.app/Contents/Info.plist");
    tmp.writeFile("B/inner/file");
    tmp.writeFile("C/file");
    auto enumerator = kq::FileManager::defaultManager().enumeratorAtPath(tmp.path());
    ASSERT_TRUE(enumerator);
    Strings seen;
    while (auto path = enumerator->nextObject()) {
        seen.push_back(*path);
        if (*path == "A.app" || *path == "B/inner") enumerator->skipDescendants();
        if (*path == "C/file") enumerator->skipDescendants();  // a file: nothing to skip
    }
    EXPECT_EQ(seen, (Strings{"A.app", "B", "B/inner", "C", "C/file"}));
}

TEST(DirectoryEnumerator, NeverFollowsLinksToFolders) {
    kqtest::TemporaryDirectory tmp;
    tmp.writeFile("root/a/file");
    tmp.makeSymlink("root/a/up", "..");               // to an ancestor
    tmp.makeSymlink("root/a/self", tmp / "root/a");  // to its own folder
    tmp.makeSymlink("root/l1", "l2");                // a loop made only of links
    tmp.makeSymlink("root/l2", "l1");
    EXPECT_EQ(walk(tmp / "root"), (Strings{"a", "a/file", "a/self", "a/up", "l1", "l2"}));

    // The root itself may be a link; it is followed.
    tmp.makeSymlink("rootLink", tmp / "root");
    EXPECT_EQ(walk(tmp / "rootLink").size(), 6u);
}

TEST(DirectoryEnumerator, FolderMountedInsideItselfIsWalkedOnce) {
    // A bind mount of a folder onto its own subfolder is a real loop of
    // folders (no links involved); only the device-and-inode guard ends it.
    kqtest::TemporaryDirectory tmp;
    tmp.writeFile("loop/file");
    tmp.makeDirectory("loop/inner");
    tmp.writeFile("zafter");
    const auto run = kqtest::runWithBindMounts({{tmp / "loop", tmp / "loop/inner"}}, [&] {
        std::string seen;
        auto enumerator = kq::FileManager::defaultManager().enumeratorAtPath(tmp.path());
        // Bounded, so a walk without the guard fails instead of running on.
        for (int count = 0; enumerator && count < 1000; ++count) {
            auto path = enumerator->nextObject();
            if (!path) break;
            seen += *path + "\n";
        }
        return seen;
    });
    if (!run.permitted) GTEST_SKIP() << "no bind mount in a private mount namespace here: " << run.skipReason;
    EXPECT_EQ(run.output, "loop\nloop/file\nloop/inner\nzafter\n");
}

TEST(DirectoryEnumerator, RootsThatAreNotReadableFolders) {
    kqtest::TemporaryDirectory tmp;
    tmp.writeFile("file");
    tmp.makeSymlink("dangling", tmp / "missing");
    auto& fm = kq::FileManager::defaultManager();
    for (const std::string& root : {tmp / "missing", tmp / "file", tmp / "dangling", std::string()})
        EXPECT_EQ(fm.enumeratorAtPath(root), nullptr) << root;
    tmp.makeDirectory("empty");
    auto empty = fm.enumeratorAtPath(tmp / "empty");
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty->nextObject(), std::nullopt);
}

TEST(DirectoryEnumerator, SkipsFoldersItCannotOpen) {
    kqtest::TemporaryDirectory tmp;
    tmp.writeFile("after/f");
    tmp.writeFile("locked/secret");
    tmp.writeFile("open/f");
    chmod((tmp / "locked").c_str(), 0);
    chmod(tmp.path().c_str(), 0755);
    const Strings expected = {"after", "after/f", "locked", "open", "open/f"};
    if (geteuid() != 0) {
        EXPECT_EQ(walk(tmp.path()), expected);
        return;
    }
    // Root reads everything; walk as an unprivileged user in a child process.
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (setgid(65534) != 0 || setuid(65534) != 0) _exit(3);
        _exit(walk(tmp.path()) == expected ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 3) GTEST_SKIP() << "cannot drop privileges";
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(DirectoryEnumerator, DeepPathsBeyondTheSystemLimitHoldNoDescriptors) {
    kqtest::TemporaryDirectory tmp;
    const std::string name(200, 'n');
    constexpr int kDepth = 30;  // about 6 000 bytes of path, beyond PATH_MAX
    std::vector<int> chain{open(tmp.path().c_str(), O_RDONLY | O_DIRECTORY)};
    for (int i = 0; i < kDepth; ++i) {
        ASSERT_EQ(mkdirat(chain.back(), name.c_str(), 0755), 0);
        chain.push_back(openat(chain.back(), name.c_str(), O_RDONLY | O_DIRECTORY));
        ASSERT_GE(chain.back(), 0);
    }
    close(openat(chain.back(), "leaf", O_CREAT | O_WRONLY, 0644));

    const std::ptrdiff_t before = openDescriptorCount();
    auto enumerator = kq::FileManager::defaultManager().enumeratorAtPath(tmp.path());
    ASSERT_TRUE(enumerator);
    Strings paths;
    std::ptrdiff_t descriptorsAtBottom = 0;
    while (auto path = enumerator->nextObject()) {
        paths.push_back(*path);
        if (enumerator->level() == kDepth + 1) descriptorsAtBottom = openDescriptorCount();
    }
    EXPECT_EQ(std::make_tuple(paths.size(), paths.back().size(), descriptorsAtBottom),
              std::make_tuple(kDepth + 1u, kDepth * (name.size() + 1) + 4, before));

    // Remove it level by level: the generic clean-up works with whole paths.
    unlinkat(chain.back(), "leaf", 0);
    for (int i = kDepth; i > 0; --i) {
        close(chain[static_cast<std::size_t>(i)]);
        unlinkat(chain[static_cast<std::size_t>(i - 1)], name.c_str(), AT_REMOVEDIR);
    }
    close(chain[0]);
}

}  // namespace
