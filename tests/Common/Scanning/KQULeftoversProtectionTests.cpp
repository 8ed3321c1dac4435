// The second pass over what the knowledge base reports: files of software that
// is still installed, although their names tie them to no installed application.
#include "KQFoundation/KQULeftoversProtection.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "KQFoundation/KQULeftoversScanner.h"
#include "ScanningTestSupport.h"

namespace {

using kqtest::LeftoverRecorder;
using kqtest::plist;

class KQULeftoversProtectionTests : public kqtest::ScanningTest {
protected:
    void SetUp() override { useLayout("Mac", "Mac/Users/u"); }

    /// Every item of the folders, filtered by the installed identifiers only.
    LeftoverRecorder scan(const std::vector<kq::URL>& applications, bool protect = true) {
        const kq::Array patterns{kq::Value("com.microsoft.office.*"), kq::Value("com.microsoft.autoupdate*")};
        const kq::Dictionary identifierFilter{
            {"Type", "InstalledApplicationIdentifiers"},
            {"Params", kq::Dictionary{{"Format", "NOT (lastPathComponent BEGINSWITH[c] %@)"}}}};
        kq::Array folders;
        for (const char* folder : {"~/Library/Preferences", "~/Library/Caches", "~/Library/Containers",
                                   "~/Library/Group Containers", "/Library/LaunchAgents", "/Library/LaunchDaemons"})
            folders.emplace_back(folder);
        const kq::Array knowledgeBase{
            kq::Dictionary{
                {"VendorWideNames", kq::Array{kq::Dictionary{{"Vendor", "com.microsoft"}, {"Patterns", patterns}}}}},
            kq::Dictionary{{"Type", "T"},
                           {"SourceDirectories", folders},
                           {"SkipSubdirectoryDescendants", true},
                           {"Filters", kq::Array{identifierFilter}}}};
        KQULeftoversScanner scanner(applications, knowledgeBase);
        scanner.setProtectsInstalledSoftware(protect);
        LeftoverRecorder recorder(tmp / "Mac");
        return kqtest::record(scanner, recorder);
    }
};

TEST(LeftoverNamesTests, UsableIdentifiersAndOwners) {
    for (const char* usable : {"com.example.Editor", "a.b"}) EXPECT_TRUE(KQUIsUsableBundleIdentifier(usable)) << usable;
    for (const char* unusable : {"", "Editor", ".", ".hidden", "com.", "com example.x"})
        EXPECT_FALSE(KQUIsUsableBundleIdentifier(unusable)) << unusable;

    const std::map<std::string, std::string> owners{
        {"com.example.Editor", "com.example.Editor"}, {"com.example.Editor.plist", "com.example.Editor"},
        {"com.example.Editor.ShareExtension", "com.example.Editor"}, {"group.com.example.Editor", "com.example.Editor"},
        {"net.example.Drift.0A1B2C3D-1111.plist", "net.example.Drift"}, {"com.example.plist", "com.example"},
        {"Editor", "Editor"}, {"Editor-2024-05-01-120000.ips", "Editor"}, {"Editor_2024-05-01.crash", "Editor"},
    };
    for (const auto& [name, owner] : owners) EXPECT_EQ(KQUApplicationIdentifierForLeftoverName(name), owner) << name;
}

TEST_F(KQULeftoversProtectionTests, FilesOfInstalledSoftwareAreKept) {
    const std::string home = "Users/u/Library/";
    const kq::URL excel = install("Mac/Applications/Excel.app", "com.microsoft.Excel");
    install("Mac/Library/PreferencePanes/Pane.prefPane", "com.example.Pane");
    install("Mac/Library/Application Support/Example/Tools/1.0/SupportTool.app", "com.example.SupportTool");
    tmp.writeFile("Mac/usr/local/bin/tool");
    tmp.writeFile("Mac/opt/homebrew/Cellar/postgresql/16/bin/postgres");
    tmp.writeFile("outside/bin/tool");

    const std::map<std::string, std::string> kept{
        // Vendor-wide while Excel is installed: proper prefixes and the explicit patterns.
        {home + "Group Containers/group.com.microsoft", ""},
        {home + "Caches/com.microsoft", ""},
        {home + "Preferences/com.microsoft.office.licensingV2.plist", ""},
        {"Library/LaunchDaemons/com.microsoft.autoupdate.helper.plist", ""},
        // Launch jobs whose program is installed.
        {"Library/LaunchDaemons/org.example.tool.plist",
         plist("<key>Program</key><string>/usr/local/bin/tool</string>")},
        {"Library/LaunchAgents/org.example.args.plist",
         plist("<key>ProgramArguments</key><array><string>/usr/local/bin/tool</string><string>-x</string></array>")},
        {"Library/LaunchDaemons/homebrew.mxcl.postgresql.plist", ""},
        // Named after a preference pane and an application in Application Support.
        {home + "Preferences/com.example.Pane.plist", ""},
        {home + "Group Containers/group.com.example.Pane", ""},
        {home + "Caches/com.example.SupportTool", ""},
        // A container is whose its metadata says, whatever its folder is called.
        {home + "Containers/com.example.Renamed/" + ".com.apple.containermanagerd.metadata.plist",
         plist("<key>MCMMetadataIdentifier</key><string>com.microsoft.Excel</string>")},
    };
    const std::map<std::string, std::string> reported{
        // Another application of the same vendor, and a vendor with nothing installed.
        {home + "Preferences/com.microsoft.Word.plist", ""},
        {"Library/LaunchAgents/com.google.keystone.agent.plist", ""},
        {"Library/LaunchDaemons/org.example.gone.plist",
         plist("<key>ProgramArguments</key><array><string>/usr/local/bin/gone</string></array>")},
        // "/.." cannot reach a program outside the inspected tree.
        {"Library/LaunchDaemons/org.example.escape.plist",
         plist("<key>Program</key><string>/../outside/bin/tool</string>")},
        {"Library/LaunchDaemons/homebrew.mxcl.redis.plist", ""},
        {home + "Containers/com.example.Other/.com.apple.containermanagerd.metadata.plist",
         plist("<key>MCMMetadataIdentifier</key><string>com.example.Gone</string>")},
    };
    std::set<std::string> keptItems, reportedItems;
    for (const auto* table : {&kept, &reported})
        for (const auto& [path, contents] : *table) {
            tmp.writeFile("Mac/" + path, contents);
            const bool inContainer = path.find("/Containers/") != std::string::npos;
            const std::string item = inContainer ? path.substr(0, path.rfind('/')) : path;
            (table == &kept ? keptItems : reportedItems).insert(item);
        }

    const LeftoverRecorder protectedScan = scan({excel});
    EXPECT_EQ(protectedScan.reported(), reportedItems);
    std::set<std::string> keptPaths;
    for (const auto& [path, reason] : protectedScan.kept) keptPaths.insert(path);
    EXPECT_EQ(keptPaths, keptItems);
    EXPECT_NE(protectedScan.kept.at("Library/LaunchDaemons/org.example.tool.plist").find("/usr/local/bin/tool"),
              std::string::npos);
    EXPECT_EQ(protectedScan.applications.at(home + "Containers/com.example.Other"), "com.example.Gone")
        << "grouped by the metadata's identifier";

    // The base rules alone report all of it but what Excel's own identifier covers.
    const LeftoverRecorder baseOnly = scan({excel}, false);
    std::set<std::string> all = reportedItems;
    all.insert(keptItems.begin(), keptItems.end());
    EXPECT_EQ(std::make_pair(baseOnly.reported(), baseOnly.kept.size()), std::make_pair(all, std::size_t{0}));

    // With the vendor's last application gone, its vendor-wide files are leftovers.
    const std::set<std::string> withoutExcel = scan({}).reported();
    for (const std::string& path : {home + "Group Containers/group.com.microsoft", home + "Containers/com.example.Renamed",
                                    home + "Preferences/com.microsoft.office.licensingV2.plist"})
        EXPECT_TRUE(withoutExcel.count(path)) << path;
}

}  // namespace
