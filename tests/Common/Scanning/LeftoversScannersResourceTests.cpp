// The built-in knowledge base, end to end: a Mac-shaped tree with leftovers of
// removed applications beside the files of installed ones and of the system.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "KQFoundation/KQULeftoverTypes.h"
#include "KQFoundation/KQULeftoversScanner.h"
#include "ScanningTestSupport.h"

namespace {

using Report = std::map<std::string, std::set<std::string>>;  // type -> paths relative to the root

class LeftoversScannersResourceTests : public kqtest::ScanningTest {
protected:
    /// The built-in knowledge base over `root` (absolute), with these applications installed.
    static Report scan(const std::string& root, const std::string& home, const std::vector<std::string>& applications) {
        kq::FileSystemLayout::setCurrent(std::make_shared<kq::FileSystemLayout>(root, home));
        std::vector<kq::URL> urls;
        for (const std::string& app : applications) urls.push_back(kq::URL::fileURLWithPath(root + "/" + app, true));
        KQULeftoversScanner scanner(urls);
        kqtest::LeftoverRecorder recorder(root);
        return kqtest::record(scanner, recorder).byType;
    }
};

TEST_F(LeftoversScannersResourceTests, EveryEntryHasOneOfTheExportedTypes) {
    const std::set<std::string> exported{kKQUContainerLeftoverType,   kKQUPreferencesLeftoverType,
                                         kKQUSavedStateLeftoverType,  kKQUApplicationSupportLeftoverType,
                                         kKQUCachesLeftoverType,      kKQULogsLeftoverType,
                                         kKQUOtherLeftoverType};
    KQULeftoversScanner scanner({});
    std::set<std::string> used;
    for (const auto& child : scanner.scanners()) {
        const std::string* type = child->userInfo().stringValueForKey("Type");
        used.insert(type ? *type : "(none)");
    }
    EXPECT_EQ(used, exported);  // all of them, and nothing else
}

/// One folder the knowledge base searches: what a removed application left
/// there (reported with `type`) beside what must stay. Items ending in "/"
/// are folders; "Name.kext=identifier" is a bundle with that identifier.
struct Folder {
    const char* path;  // "~/..." in the home, "/..." under the root
    const char* type;
    std::vector<std::string> removed;
    std::vector<std::string> kept;
};

// Installed: com.example.Editor ("Editor.app", CFBundleName "Editor Pro",
// program "EditorCore"). Removed: com.example.Gone, net.example.Old, net.gone.Tool ("Tool").
const std::vector<Folder> kFolders{
    // Containers: the installed app and its extension, the system, a UUID-named iOS container.
    {"~/Library/Containers", kKQUContainerLeftoverType, {"com.example.Gone/"},
     {"com.example.editor/", "com.example.Editor.ShareExtension/", "com.apple.Notes/",
      "6F1C2A4E-0B7D-4C59-9E3A-2D8B1F0C7A11/"}},
    {"~/Library/Group Containers", kKQUContainerLeftoverType, {"group.com.example.Gone/"},
     {"group.com.example.Editor/", "ABCDE12345.com.example.Gone/", "group.com.apple.notes/"}},
    // Preferences: property lists only, not the system's short names or dot files.
    {"~/Library/Preferences", kKQUPreferencesLeftoverType, {"com.example.Gone.plist"},
     {"com.example.Editor.plist", "com.example.Gone.plist.lockfile", "loginwindow.plist", ".GlobalPreferences.plist",
      "com.apple.finder.plist"}},
    {"~/Library/Preferences/ByHost", kKQUPreferencesLeftoverType,
     {"net.example.Old.0A1B2C3D-1111-2222-3333-444455556666.plist"}, {}},
    {"/Library/Preferences", kKQUPreferencesLeftoverType, {"net.example.Old.plist"}, {"org.cups.printers.plist"}},
    {"~/Library/Saved Application State", kKQUSavedStateLeftoverType, {"com.example.Gone.savedState/"},
     {"com.example.Editor.savedState/"}},
    {"~/Library/Application Support", kKQUApplicationSupportLeftoverType, {"com.example.Gone/"},
     {"Old/", "com.apple.TCC/"}},
    {"/Library/Application Support", kKQUApplicationSupportLeftoverType, {}, {"com.example.Editor/"}},
    {"~/Library/Caches", kKQUCachesLeftoverType, {"net.example.Old/"}, {"org.swift.swiftpm/", "CloudKit/"}},
    {"/Library/Caches", kKQUCachesLeftoverType, {"com.example.Gone/"}, {}},
    {"~/Library/Logs", kKQULogsLeftoverType, {"com.example.Gone.log"}, {"fsck_apfs.log"}},
    {"/Library/Logs", kKQULogsLeftoverType, {"net.example.Old/"}, {}},
    {"~/Library/HTTPStorages", kKQUOtherLeftoverType, {"com.example.Gone.binarycookies"}, {}},
    {"~/Library/WebKit", kKQUOtherLeftoverType, {}, {"com.example.Editor/"}},
    {"~/Library/LaunchAgents", kKQUOtherLeftoverType, {"net.example.Old.helper.plist"},
     {"com.example.Editor.helper.plist"}},
    {"/Library/LaunchDaemons", kKQUOtherLeftoverType, {"net.example.Old.updater.plist"}, {}},
    {"~/Library/Cookies", kKQUOtherLeftoverType, {"net.gone.Tool.binarycookies"},
     {"com.example.Editor.binarycookies", "Cookies.binarycookies", "com.apple.Safari.binarycookies"}},
    // Helpers, receipts and drivers stay while any application of their vendor is installed.
    {"/Library/PrivilegedHelperTools", kKQUOtherLeftoverType, {"net.gone.Tool.helper"},
     {"com.example.vmnetd", "com.apple.helper"}},
    {"/private/var/db/receipts", kKQUOtherLeftoverType, {"net.gone.pkg.Tool.bom", "net.gone.pkg.Tool.plist"},
     {"com.example.pkg.Editor.bom", "com.apple.pkg.Core.bom", "net.gone.pkg.Tool.txt"}},
    // Bundles named after a product are judged by their identifier.
    {"~/Library/Internet Plug-Ins", kKQUOtherLeftoverType, {"ToolPlayer.plugin=net.gone.player"},
     {"EditorWeb.plugin=com.example.Editor.web", "NoInfo.plugin/"}},
    {"/Library/Internet Plug-Ins", kKQUOtherLeftoverType, {"Viewer.plugin=net.gone.viewer"},
     {"QuickLook.plugin=com.apple.quicklook"}},
    {"/Library/Extensions", kKQUOtherLeftoverType, {"ToolDriver.kext=net.gone.driver"},
     {"EditorAudio.kext=com.example.audio", "SoftRAID.kext=com.softraid.driver.SoftRAID", "NoInfo.kext/"}},
    // Crash reports by name: the bundle's, the display name's and the program's.
    {"~/Library/Logs/DiagnosticReports", kKQULogsLeftoverType,
     {"Tool_2024-01-02-120000_mac.crash", "Tool-2024-01-02-120000.ips"},
     {"Editor-2024-01-02-120000.ips", "Editor Pro Helper-2024-01-02-120000.ips", "EditorCore_2024-01-02_mac.crash",
      "WindowServer-2024-01-02-120000.ips", "launchd-2024-01-02-120000.ips", "Tool.ips",
      "Tool-2024-01-02-120000.diag", "Retired/"}},
    {"/Library/Logs/DiagnosticReports", kKQULogsLeftoverType, {"Tool-2024-01-02-120000.ips"},
     {"Editor_2024-01-02-120000_mac.crash", "Dock-2024-01-02-120000.ips"}},
    {"/Library/Application Support/CrashReporter", kKQULogsLeftoverType,
     {"Tool_0A1B2C3D-1111-2222-3333-444455556666.plist"},
     {"Editor_0A1B2C3D-1111-2222-3333-444455556666.plist", "SubmitDiagInfo.config"}},
    // Per-user caches and temporary folders, one pair per user.
    {"/private/var/folders/ab/x1y2/C", kKQUCachesLeftoverType, {"net.gone.Tool/"},
     {"com.example.Editor/", "com.apple.metal/"}},
    {"/private/var/folders/cd/z9w8/C", kKQUCachesLeftoverType, {"com.example.Gone/"}, {}},
    {"/private/var/folders/ab/x1y2/T", kKQUCachesLeftoverType, {"net.gone.Tool.ShipIt/"},
     {"com.example.Editor.ShipIt/", "TemporaryItems/"}},
    {"/Users/Shared", kKQUApplicationSupportLeftoverType, {"net.gone.Tool/"},
     {"com.example.Editor/", "Adobe/", ".localized"}},
};

TEST_F(LeftoversScannersResourceTests, EachFolderReportsLeftoversOfRemovedApplicationsOnly) {
    const std::string home = "Users/kim";
    install("Applications/Editor.app", "com.example.Editor",
            "<key>CFBundleName</key><string>Editor Pro</string><key>CFBundleExecutable</key><string>EditorCore</string>");
    Report expected;
    for (const Folder& folder : kFolders) {
        const std::string base = folder.path[0] == '~' ? home + (folder.path + 1) : std::string(folder.path + 1);
        const auto create = [&](const std::string& item) {
            const std::size_t equals = item.find('=');
            const std::string name = item.substr(0, equals);
            if (equals != std::string::npos)
                tmp.writeFile(base + "/" + name + "/Contents/Info.plist", kqtest::infoPlist(item.substr(equals + 1)));
            else
                tmp.writeFile(base + "/" + name + (name.back() == '/' ? "x" : ""));
            return base + "/" + (name.back() == '/' ? name.substr(0, name.size() - 1) : name);
        };
        for (const std::string& item : folder.removed) expected[folder.type].insert(create(item));
        for (const std::string& item : folder.kept) create(item);
    }
    // Only folders count for the "*" levels; a link does not lead out of the tree.
    tmp.writeFile("private/var/folders/ef/C/net.gone.Tool/x");
    tmp.writeFile("outside/gh/u1/C/net.gone.Tool/x");
    tmp.makeSymlink("private/var/folders/gh", tmp / "outside/gh");

    const Report report = scan(tmp.path(), tmp / home, {"Applications/Editor.app"});
    EXPECT_EQ(report, expected);
}

TEST_F(LeftoversScannersResourceTests, NamesAndVendorsOfInstalledApplications) {
    KQULeftoversScanner scanner({install("Applications/Editor.app", "com.example.Editor",
                                         "<key>CFBundleName</key><string>Editor</string>"
                                         "<key>CFBundleExecutable</key><string>EditorCore</string>"),
                                 install("Applications/Sheet.app", "com.example.Sheet"),
                                 install("Applications/Solo.app", "Solo"), install("Applications/Short.app", "org.short"),
                                 install("Applications/Odd.app", "org..odd.App")});
    EXPECT_EQ(scanner.installedApplicationNames(),
              (std::vector<std::string>{"Editor", "EditorCore", "Sheet", "Solo", "Short", "Odd"}));
    // Identifiers of fewer than three parts name no vendor.
    EXPECT_EQ(scanner.installedApplicationVendors(), (std::vector<std::string>{"com.example."}));
}

}  // namespace
