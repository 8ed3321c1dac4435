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
#include "KQFoundation/System/FileSystemLayout.h"
#include "Support/TemporaryDirectory.h"

namespace {

using Report = std::map<std::string, std::set<std::string>>;  // type -> paths relative to the root

class ReportCollector : public KQULeftoversScannerDelegate {
public:
    explicit ReportCollector(std::string root) : root_(std::move(root) + "/") {}
    Report report;
    void leftoversScannerDidFindItem(KQULeftoversScanner&, const kq::URL& item, const std::string& type) override {
        const std::string path = item.path();
        report[type].insert(path.rfind(root_, 0) == 0 ? path.substr(root_.size()) : path);
    }

private:
    std::string root_;
};

class LeftoversScannersResourceTests : public ::testing::Test {
protected:
    void TearDown() override { kq::FileSystemLayout::setCurrent(savedLayout); }

    Report scan(const std::string& root, const std::string& home, const std::vector<std::string>& applications) {
        kq::FileSystemLayout::setCurrent(std::make_shared<kq::FileSystemLayout>(root, home));
        std::vector<kq::URL> urls;
        for (const std::string& app : applications) urls.push_back(kq::URL::fileURLWithPath(root + "/" + app, true));
        KQULeftoversScanner scanner(urls);
        ReportCollector collector(root);
        scanner.setDelegate(&collector);
        scanner.scan();
        return collector.report;
    }

    void installApplication(const std::string& bundle, const std::string& identifier) const {
        tmp.writeFile(bundle + "/Contents/Info.plist",
                      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
                      "<key>CFBundleIdentifier</key><string>" + identifier + "</string></dict></plist>\n");
    }

    std::shared_ptr<const kq::FileSystemLayout> savedLayout = kq::FileSystemLayout::current();
    kqtest::TemporaryDirectory tmp;
};

TEST_F(LeftoversScannersResourceTests, EveryEntryHasOneOfTheExportedTypes) {
    const std::set<std::string> exported{kKQUContainerLeftoverType,   kKQUPreferencesLeftoverType,
                                         kKQUSavedStateLeftoverType,  kKQUApplicationSupportLeftoverType,
                                         kKQUCachesLeftoverType,      kKQULogsLeftoverType,
                                         kKQUOtherLeftoverType};
    EXPECT_EQ(exported.size(), 7u);
    KQULeftoversScanner scanner({});
    ASSERT_FALSE(scanner.scanners().empty());
    std::set<std::string> used;
    for (const auto& child : scanner.scanners()) {
        const std::string* type = child->userInfo().stringValueForKey("Type");
        ASSERT_NE(type, nullptr);
        EXPECT_TRUE(exported.count(*type)) << *type;
        used.insert(*type);
        EXPECT_TRUE(child->skipSubdirectoryDescendants());
    }
    EXPECT_EQ(used, exported);
}

TEST_F(LeftoversScannersResourceTests, ReportsLeftoversOfRemovedApplicationsOnly) {
    const std::string home = "Users/kim";
    installApplication("Applications/Editor.app", "com.example.Editor");
    // Removed: com.example.Gone and net.example.Old. Everything else is kept.
    for (const char* path : {
             // Containers: the installed app and its extension, the system, a UUID-named iOS container.
             "Library/Containers/com.example.Gone/c", "Library/Containers/com.example.editor/c",
             "Library/Containers/com.example.Editor.ShareExtension/c", "Library/Containers/com.apple.Notes/c",
             "Library/Containers/6F1C2A4E-0B7D-4C59-9E3A-2D8B1F0C7A11/c",
             "Library/Group Containers/group.com.example.Gone/c", "Library/Group Containers/group.com.example.Editor/c",
             "Library/Group Containers/ABCDE12345.com.example.Gone/c", "Library/Group Containers/group.com.apple.notes/c",
             // Preferences, with ByHost, a lock file and the system's short names.
             "Library/Preferences/com.example.Gone.plist", "Library/Preferences/com.example.Editor.plist",
             "Library/Preferences/com.example.Gone.plist.lockfile", "Library/Preferences/loginwindow.plist",
             "Library/Preferences/.GlobalPreferences.plist", "Library/Preferences/com.apple.finder.plist",
             "Library/Preferences/ByHost/net.example.Old.0A1B2C3D-1111-2222-3333-444455556666.plist",
             "Library/Saved Application State/com.example.Gone.savedState/w",
             "Library/Saved Application State/com.example.Editor.savedState/w",
             "Library/Application Support/com.example.Gone/db", "Library/Application Support/Old/db",
             "Library/Application Support/com.apple.TCC/db", "Library/Caches/net.example.Old/db",
             "Library/Caches/org.swift.swiftpm/db", "Library/Caches/CloudKit/db", "Library/Logs/com.example.Gone.log",
             "Library/Logs/fsck_apfs.log", "Library/Logs/DiagnosticReports/Editor.ips",
             "Library/HTTPStorages/com.example.Gone.binarycookies", "Library/WebKit/com.example.Editor/w",
             "Library/LaunchAgents/net.example.Old.helper.plist", "Library/LaunchAgents/com.example.Editor.helper.plist"})
        tmp.writeFile(home + "/" + path);
    for (const char* path : {"Library/Preferences/net.example.Old.plist", "Library/Preferences/org.cups.printers.plist",
                             "Library/Caches/com.example.Gone/db", "Library/Logs/net.example.Old/log",
                             "Library/LaunchDaemons/net.example.Old.updater.plist",
                             "Library/Application Support/com.example.Editor/db"})
        tmp.writeFile(path);

    const Report report = scan(tmp.path(), tmp / home, {"Applications/Editor.app"});
    const Report expected{
        {kKQUContainerLeftoverType,
         {home + "/Library/Containers/com.example.Gone", home + "/Library/Group Containers/group.com.example.Gone"}},
        {kKQUPreferencesLeftoverType,
         {home + "/Library/Preferences/com.example.Gone.plist",
          home + "/Library/Preferences/ByHost/net.example.Old.0A1B2C3D-1111-2222-3333-444455556666.plist",
          "Library/Preferences/net.example.Old.plist"}},
        {kKQUSavedStateLeftoverType, {home + "/Library/Saved Application State/com.example.Gone.savedState"}},
        {kKQUApplicationSupportLeftoverType, {home + "/Library/Application Support/com.example.Gone"}},
        {kKQUCachesLeftoverType, {home + "/Library/Caches/net.example.Old", "Library/Caches/com.example.Gone"}},
        {kKQULogsLeftoverType, {home + "/Library/Logs/com.example.Gone.log", "Library/Logs/net.example.Old"}},
        {kKQUOtherLeftoverType,
         {home + "/Library/HTTPStorages/com.example.Gone.binarycookies",
          home + "/Library/LaunchAgents/net.example.Old.helper.plist",
          "Library/LaunchDaemons/net.example.Old.updater.plist"}},
    };
    EXPECT_EQ(report, expected);
}

TEST_F(LeftoversScannersResourceTests, SampleMacShowsOneLeftoverOfEveryKind) {
    const std::string root = std::string(KQ_SOURCE_DIR) + "/examples/SampleMac";
    const Report report = scan(root, root + "/Users/alex",
                               {"Applications/Quill.app", "Applications/Tally.app", "Users/alex/Applications/Sketchbook.app"});
    EXPECT_EQ(report.size(), 7u);
    for (const auto& [type, paths] : report)
        for (const std::string& path : paths)
            EXPECT_TRUE(path.find("Orbit") != std::string::npos || path.find("Drift") != std::string::npos)
                << type << " " << path;
}

}  // namespace
