#include "KQFoundation/KQUApplicationComponentsScanner.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "KQFoundation/Foundation/Bundle.h"
#include "KQFoundation/Foundation/PropertyList.h"
#include "ScanningTestSupport.h"

namespace {

class KQUApplicationComponentsScannerTests : public kqtest::ScanningTest {
protected:
    // The table of components is read once per process, on first use; this
    // suite is its only user in the test program and gives it invented entries.
    static void SetUpTestSuite() { kq::Bundle::setLibraryResourcesPath(KQ_TEST_FIXTURES "/ComponentsResources"); }
    static void TearDownTestSuite() { kq::Bundle::setLibraryResourcesPath(std::nullopt); }

    void SetUp() override { useLayout("root", "root/Users/jane"); }

    std::string home(const std::string& relative) const { return tmp / ("root/Users/jane/" + relative); }
    std::string root(const std::string& relative) const { return tmp / ("root/" + relative); }

    std::vector<std::string> scan(std::optional<std::string> bundleID, std::string name, bool downloads = false,
                                  bool withApp = false) {
        auto configuration =
            KQUApplicationComponentsScannerConfiguration::configurationWithBundleID(std::move(bundleID), name);
        configuration->setShouldScanDownloadsFolder(downloads);
        configuration->setShouldAddAppInComponent(withApp);
        auto scanner = KQUApplicationComponentsScanner::create(configuration);
        EXPECT_TRUE(scanner);
        auto paths = scanner->scanForComponentPaths();
        EXPECT_FALSE(scanner->scanArguments());
        return paths;
    }
};

TEST_F(KQUApplicationComponentsScannerTests, IdentifierAndNameRulesInPreferencesAndCrashReports) {
    files("root/", {"Users/jane/Library/Preferences/COM.Example.Editor.plist", "Users/jane/Library/Preferences/editor.plist",
                    "Users/jane/Library/Preferences/EditorPro.plist", "Users/jane/Library/Preferences/com.example.other.plist",
                    "Library/Application Support/EDITOR/", "Users/jane/Library/Logs/DiagnosticReports/EditorPro_2024-01-02.crash",
                    "Users/jane/Library/Logs/DiagnosticReports/Viewer_2024-01-02.crash"});
    // Growl's row lists its extension with a capital T and never matches.
    tmp.writeFile("root/Users/jane/Library/Application Support/Growl/Tickets/Editor.growlTicket");

    EXPECT_EQ(scan("com.example.editor", "Editor"),
              (std::vector<std::string>{home("Library/Preferences/COM.Example.Editor.plist"),
                                        home("Library/Preferences/editor.plist"),
                                        root("Library/Application Support/EDITOR"),
                                        home("Library/Logs/DiagnosticReports/EditorPro_2024-01-02.crash")}));

    // Without an identifier only names count.
    EXPECT_EQ(scan(std::nullopt, "Editor"),
              (std::vector<std::string>{home("Library/Preferences/editor.plist"),
                                        root("Library/Application Support/EDITOR"),
                                        home("Library/Logs/DiagnosticReports/EditorPro_2024-01-02.crash")}));

    // Names fold case the Unicode way.
    tmp.writeFile("root/Users/jane/Library/Caches/CAFÉ.db");
    EXPECT_EQ(scan(std::nullopt, "Café"), (std::vector<std::string>{home("Library/Caches/CAFÉ.db")}));
}

TEST_F(KQUApplicationComponentsScannerTests, DownloadsRowTakesOnlyDiskImagesAndPackagesWhenAskedFor) {
    files("root/Users/jane/Downloads/", {"Editor.DMG", "Editor.pkg", "Editor.zip", "com.example.editor.dmg"});
    EXPECT_TRUE(scan("com.example.editor", "Editor").empty());
    EXPECT_EQ(scan("com.example.editor", "Editor", true),
              (std::vector<std::string>{home("Downloads/Editor.DMG"), home("Downloads/Editor.pkg"),
                                        home("Downloads/com.example.editor.dmg")}));
}

TEST_F(KQUApplicationComponentsScannerTests, ResourcePathsAreAddedAndDuplicatesKept) {
    // The resource lists ~/Library/Caches/ExampleBackup for this identifier;
    // the Caches row finds the same folder by name.
    files("root/", {"Users/jane/Library/Caches/ExampleBackup/", "Users/jane/Library/LaunchAgents/org.example.backupclient.scheduler.plist",
                    "Library/PrivilegedHelperTools/org.example.backupclient.helper", "System/Library/Extensions/ExampleBackup.kext/",
                    "Applications/ExampleBackup.app/"});
    tmp.makeSymlink("root/Users/jane/Library/Application Support/ExampleBackup", "/nowhere");

    const auto paths = scan("org.example.backupclient", "ExampleBackup", false, true);
    EXPECT_EQ(paths, (std::vector<std::string>{
                         // Row 6, then row 8 (the dangling link is an entry of Application Support).
                         home("Library/Caches/ExampleBackup"),
                         home("Library/Application Support/ExampleBackup"),
                         // The resource's paths that exist (local, user, system), links counted as themselves.
                         root("Library/PrivilegedHelperTools/org.example.backupclient.helper"),
                         home("Library/LaunchAgents/org.example.backupclient.scheduler.plist"),
                         home("Library/Application Support/ExampleBackup"),
                         home("Library/Caches/ExampleBackup"),
                         root("System/Library/Extensions/ExampleBackup.kext"),
                         // The bundle itself, last.
                         root("Applications/ExampleBackup.app"),
                     }));
}

TEST_F(KQUApplicationComponentsScannerTests, ScanArgumentsFollowTheRowTable) {
    auto configuration = KQUApplicationComponentsScannerConfiguration::configurationWithBundleID("a.b", "App");
    auto scanner = KQUApplicationComponentsScanner::create(configuration);
    scanner->loadScanArguments();
    const kq::Array& arguments = *scanner->scanArguments();
    // Library: 4 domains x 5 rows; Caches: 3 x 2; Application Support: 3 x 2; crash reports: 4.
    ASSERT_EQ(arguments.size(), 20u + 6u + 6u + 4u);
    EXPECT_EQ(*arguments[19].asDictionary()->stringValueForKey("path"), root("System/Library/Logs"));
}

TEST_F(KQUApplicationComponentsScannerTests, ConfigurationsWithoutNameAreRefusedAndAppPathsGiveOne) {
    EXPECT_FALSE(KQUApplicationComponentsScanner::create());
    EXPECT_FALSE(KQUApplicationComponentsScanner::create(
        std::make_shared<KQUApplicationComponentsScannerConfiguration>()));
    EXPECT_FALSE(KQUApplicationComponentsScanner::create(
        KQUApplicationComponentsScannerConfiguration::configurationWithBundleID("a.b", std::nullopt)));
    // The identifier is lower-cased.
    install("root/Applications/Editor.app", "Com.Example.Editor");
    auto configuration =
        KQUApplicationComponentsScannerConfiguration::configurationWithAppPath(root("Applications/Editor.app"));
    EXPECT_EQ(std::make_tuple(configuration->bundleID(), configuration->appName(), configuration->shouldAddAppInComponent()),
              std::make_tuple(std::optional<std::string>("com.example.editor"), std::optional<std::string>("Editor"), false));

    auto missing = KQUApplicationComponentsScannerConfiguration::configurationWithAppPath(root("Nowhere/Gone.app"));
    EXPECT_FALSE(missing->bundleID());
    EXPECT_EQ(missing->appName(), "Gone");
}

// The shipped table: lower-case identifiers (the look-up is exact and the
// identifier is lower-cased), only the three known keys, and paths that stay
// inside their Library folder.
TEST(ApplicationsComponentsResourceTests, EntriesAreWellFormed) {
    const auto bytes = kq::Bundle::libraryBundle()->dataForResource("ApplicationsComponents", "plist");
    ASSERT_TRUE(bytes);
    const auto document = kq::PropertyList::read(*bytes);
    ASSERT_TRUE(document && document->asDictionary());
    const kq::Dictionary& table = *document->asDictionary();
    EXPECT_GE(table.size(), 10u);
    EXPECT_FALSE(table.dictioniaryValueForKey("org.example.backupclient"));
    const std::set<std::string> keys{"componentsPathsInLocalLibDirectory", "componentsPathsInUserLibDirectory",
                                     "componentsPathsInSystemLibDirectory"};
    for (const std::string& identifier : table.keys()) {
        EXPECT_FALSE(std::any_of(identifier.begin(), identifier.end(), ::isupper)) << identifier;
        const kq::Dictionary* entry = table.dictioniaryValueForKey(identifier);
        ASSERT_TRUE(entry) << identifier;
        for (const std::string& key : entry->keys()) {
            const kq::Array* paths = entry->arrayValueForKey(key);
            EXPECT_TRUE(keys.count(key) && paths && !paths->empty()) << identifier << " " << key;
            for (const kq::Value& path : paths ? *paths : kq::Array{}) {
                const std::string text = path.asString() ? *path.asString() : "";
                EXPECT_TRUE(!text.empty() && text[0] != '/' && text[0] != '~' && text.find("..") == std::string::npos)
                    << identifier << ": " << text;
            }
        }
    }
}

}  // namespace
