#include "KQFoundation/System/FileSystemLayout.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <tuple>

#include "KQFoundation/Foundation/PathUtilities.h"
#include "KQFoundation/Foundation/URL.h"
#include "Support/ScopedLayout.h"
#include "System/PerLayoutCache.h"

namespace {

using kq::FileSystemLayout;
using kq::SearchPathDirectory;
using Strings = std::vector<std::string>;

TEST(FileSystemLayout, NormalisesRootAndHomeAndResolvesMacPathsUnderTheRoot) {
    FileSystemLayout layout("/mnt/mac//", "/home/me/");
    EXPECT_EQ(std::make_tuple(layout.root(), layout.home(), layout.isHostRoot()), std::make_tuple("/mnt/mac", "/home/me", false));
    for (auto [root, home, normalRoot, normalHome] : {std::tuple{"", "/home/x", "/", "/home/x"}, {"///", "/h", "/", "/h"},
                                                      {"/mnt/mac", "", "/mnt/mac", "/mnt/mac"}}) {
        const FileSystemLayout other(root, home);
        EXPECT_EQ(std::make_tuple(other.root(), other.home()), std::make_tuple(normalRoot, normalHome)) << root;
    }
    EXPECT_TRUE(FileSystemLayout("", "/h").isHostRoot());
    EXPECT_EQ(FileSystemLayout("relative", "/h").root().front(), '/');

    EXPECT_EQ(layout.resolve("/"), "/mnt/mac");
    EXPECT_EQ(layout.resolve("relative/x"), "relative/x");
    EXPECT_EQ(FileSystemLayout("/", "/home/me").resolve("/Library"), "/Library");
    for (auto [path, resolved] : {std::pair{"~", "/home/me"}, {"~/Library", "/home/me/Library"}, {"/~/x", "/~/x"}})
        EXPECT_EQ(layout.expandTilde(path), resolved);
    for (auto [path, resolved] : {std::pair{"~/Library/Preferences", "/home/me/Library/Preferences"},
                                  {"/home/me/Desktop", "/home/me/Desktop"}, {"/home/meX", "/mnt/mac/home/meX"},
                                  {"/Library", "/mnt/mac/Library"}})
        EXPECT_EQ(layout.resolveResourcePath(path), resolved);
}

TEST(FileSystemLayout, SearchPathsPerDomainInPlatformOrder) {
    FileSystemLayout layout("/mac", "/mac/Users/me");
    EXPECT_EQ(layout.pathsForDirectory(SearchPathDirectory::Library, kq::AllDomainsMask),
              (Strings{"/mac/Users/me/Library", "/mac/Library", "/mac/Network/Library", "/mac/System/Library"}));
    EXPECT_EQ(layout.pathsForDirectory(SearchPathDirectory::Caches, kq::SystemDomainMask | kq::UserDomainMask),
              (Strings{"/mac/Users/me/Library/Caches", "/mac/System/Library/Caches"}));
    EXPECT_EQ(layout.pathsForDirectory(SearchPathDirectory::ApplicationSupport, kq::LocalDomainMask),
              (Strings{"/mac/Library/Application Support"}));
    EXPECT_EQ(layout.pathsForDirectory(SearchPathDirectory::Trash, kq::AllDomainsMask),
              (Strings{"/mac/Users/me/.Trash"}));
    EXPECT_EQ(layout.pathsForDirectory(SearchPathDirectory::AdminApplication, kq::UserDomainMask),
              (Strings{"/mac/Users/me/Applications/Utilities"}));
    EXPECT_TRUE(layout.pathsForDirectory(SearchPathDirectory::Document, kq::LocalDomainMask).empty());
    EXPECT_TRUE(layout.pathsForDirectory(SearchPathDirectory::Library, 0).empty());
    EXPECT_TRUE(layout.pathsForDirectory(static_cast<SearchPathDirectory>(99), kq::AllDomainsMask).empty());

    // Composite directories group by domain; a host root adds no slash.
    FileSystemLayout host("/", "/h");
    EXPECT_EQ(host.pathsForDirectory(SearchPathDirectory::AllApplications,
                                       kq::UserDomainMask | kq::LocalDomainMask),
              (Strings{"/h/Applications", "/h/Applications/Demos", "/h/Developer/Applications",
                       "/h/Applications/Utilities", "/Applications", "/Applications/Demos",
                       "/Developer/Applications", "/Applications/Utilities"}));
    EXPECT_EQ(host.pathsForDirectory(SearchPathDirectory::AllLibraries, kq::AllDomainsMask),
              (Strings{"/h/Library", "/h/Developer", "/Library", "/Developer", "/Network/Library",
                       "/Network/Developer", "/System/Library"}));
}

TEST(FileSystemLayout, TildeFollowsTheCurrentLayout) {
    kqtest::ScopedLayout layout{"/mac", "/mac/Users/me"};
    EXPECT_EQ(kq::URL::fileURLWithPath("~/Library", true).path(), "/mac/Users/me/Library");
    EXPECT_EQ(kq::stringByStandardizingPath("~/Library/../Desktop"), "/mac/Users/me/Desktop");
    EXPECT_EQ(kq::stringByExpandingTildeInPath("~"), "/mac/Users/me");
    EXPECT_EQ(kq::stringByExpandingTildeInPath("~other/x"), "~other/x");

    // A null layout restores the running machine.
    FileSystemLayout::setCurrent(nullptr);
    EXPECT_TRUE(FileSystemLayout::current()->isHostRoot());
}

TEST(FileSystemLayout, CurrentCanBeSwappedWhileOthersRead) {
    kqtest::ScopedLayout restore{"/", "/"};
    std::atomic<bool> done{false};
    std::atomic<int> badReads{0};
    std::thread reader([&] {
        while (!done) {
            auto layout = FileSystemLayout::current();
            const std::string expected = layout->isHostRoot() ? "/L" : layout->root() + "/L";
            if (layout->resolve("/L") != expected) ++badReads;
        }
    });
    for (int i = 0; i < 2000; ++i)
        FileSystemLayout::setCurrent(std::make_shared<FileSystemLayout>("/r" + std::to_string(i), "/h"));
    done = true;
    reader.join();
    EXPECT_EQ(badReads, 0);
}

TEST(FileSystemLayout, PerLayoutCacheBuildsOncePerRootAndHome) {
    kq::PerLayoutCache<std::string> cache;
    int builds = 0;
    const auto build = [&](const FileSystemLayout& layout) {
        ++builds;
        return layout.root();
    };
    kqtest::ScopedLayout restore{"/a", "/a/h"};
    EXPECT_EQ(cache.get(build), "/a");
    EXPECT_EQ(cache.get(build), "/a");
    FileSystemLayout::setCurrent(std::make_shared<FileSystemLayout>("/a", "/a/other"));
    EXPECT_EQ(cache.get(build), "/a");
    EXPECT_EQ(builds, 2);
    // A builder that fails leaves nothing behind: the next call builds again.
    FileSystemLayout::setCurrent(std::make_shared<FileSystemLayout>("/b", "/b/h"));
    EXPECT_THROW(cache.get([](const FileSystemLayout&) -> std::string { throw std::runtime_error("no"); }),
                 std::runtime_error);
    EXPECT_EQ(cache.get(build), "/b");
}

}  // namespace
