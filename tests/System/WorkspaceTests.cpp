#include "KQFoundation/System/Workspace.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "Support/TemporaryDirectory.h"

namespace {

TEST(Workspace, PackagesAreFoldersWithAPackageExtension) {
    kqtest::TemporaryDirectory tmp;
    for (const char* folder : {"Safari.app", "Loud.APP", "Notes.rtfd", "Caf\xC3\xA9.Bundle", "Plain", "Resources.lproj", ".app"})
        tmp.makeDirectory(folder);
    tmp.writeFile("file.app");
    tmp.makeSymlink("Link.app", tmp / "Safari.app");
    tmp.makeSymlink("Dangling.app", tmp / "missing");

    auto& workspace = kq::Workspace::sharedWorkspace();
    for (const char* yes : {"Safari.app", "Loud.APP", "Notes.rtfd", "Caf\xC3\xA9.Bundle", "Link.app", "Safari.app/"})
        EXPECT_TRUE(workspace.isFilePackageAtPath(tmp / yes)) << yes;
    for (const char* no : {"Plain", "Resources.lproj", ".app", "file.app", "Dangling.app", "Missing.app"})
        EXPECT_FALSE(workspace.isFilePackageAtPath(tmp / no)) << no;
    EXPECT_FALSE(workspace.isFilePackageAtPath("") || workspace.isFilePackageAtPath("/"));
    EXPECT_TRUE(std::is_sorted(kq::Workspace::packageExtensions().begin(), kq::Workspace::packageExtensions().end()));
}

}  // namespace
