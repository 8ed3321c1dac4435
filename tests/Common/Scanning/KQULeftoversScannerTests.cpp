#include "KQFoundation/KQULeftoversScanner.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

#include "KQFoundation/NSString+LikePredicateWrapping.h"
#include "KQFoundation/Foundation/Exceptions.h"
#include "KQFoundation/Foundation/Log.h"
#include "ScanningTestSupport.h"

namespace {

using kqtest::entry;
using kqtest::filter;
using kqtest::LeftoverRecorder;

class KQULeftoversScannerTests : public kqtest::ScanningTest {
protected:
    kq::URL application(const std::string& name, const std::string& identifier) const {
        return install("Applications/" + name + ".app", identifier);
    }
    std::vector<std::string> scan(const std::vector<kq::URL>& apps, const kq::Array& knowledgeBase) {
        KQULeftoversScanner scanner(apps, knowledgeBase);
        LeftoverRecorder log;
        return kqtest::record(scanner, log).items;
    }
};

TEST(LikePredicateWrappingTests, EscapesBackslashFirstThenWildcards) {
    EXPECT_EQ(kq::stringWrappedForLikePredicate("com.example.Editor"), "com.example.Editor");
    EXPECT_EQ(kq::stringWrappedForLikePredicate("a*b?c\\d"), "a\\*b\\?c\\\\d");
    EXPECT_EQ(kq::stringWrappedForLikePredicate("\\*"), "\\\\\\*");
    EXPECT_EQ(kq::stringWrappedForLikePredicate(""), "");
}

TEST_F(KQULeftoversScannerTests, IdentifierFilterKeepsWhatBelongsToInstalledApplications) {
    // com.example.editor's case differs from the installed identifier.
    files("Caches/", {"com.example.editor/", "com.example.Gone/", "org.example.Other/"});
    const kq::Array knowledgeBase{
        entry("Caches", {tmp / "Caches"},
              {filter("InstalledApplicationIdentifiers", "NOT lastPathComponent BEGINSWITH[c] %@")})};
    const kq::URL editor = application("Editor", "com.example.Editor");
    const kq::URL sameIdentifier = application("Editor Copy", "com.example.Editor");
    // Identifiers that cannot name an application would "begin" every name.
    const kq::URL empty = application("Empty", "");
    const kq::URL oneWord = application("OneWord", "Tool");
    const std::vector<kq::URL> apps{editor, application("Other", "org.example.Other"), empty, oneWord,
                                    kq::URL::fileURLWithPath(tmp / "NotABundle.app", true), sameIdentifier};
    kq::LogCapture logs;
    KQULeftoversScanner scanner(apps, knowledgeBase);
    LeftoverRecorder log;
    EXPECT_EQ(kqtest::record(scanner, log).items, (std::vector<std::string>{"Caches com.example.Gone"}));
    EXPECT_EQ(scanner.installedApplicationIdentifiers(),
              (std::vector<std::string>{"com.example.Editor", "org.example.Other"}));
    std::string logged;
    for (const std::string& line : logs.lines()) logged += line + "\n";
    EXPECT_NE(logged.find("\"\" of " + empty.path()), std::string::npos) << logged;
    EXPECT_NE(logged.find("\"Tool\" of " + oneWord.path()), std::string::npos) << logged;

    // Either copy of an application alone still protects its files.
    for (const kq::URL& copy : {editor, sameIdentifier})
        EXPECT_EQ(scan({copy}, knowledgeBase),
                  (std::vector<std::string>{"Caches com.example.Gone", "Caches org.example.Other"}));
}

TEST_F(KQULeftoversScannerTests, EveryItemCarriesTheEntryAndFiltersThatFoundIt) {
    useLayout("Mac", "Mac/Users/u");
    tmp.writeFile("Mac/Users/u/Library/Caches/com.example.Gone.helper/db");
    const kq::Array knowledgeBase{
        entry("Logs", {"~/Library/Logs"}),
        entry("Caches", {"/Library/Caches", "~/Library/Caches"},
              {filter("Predicate", "lastPathComponent CONTAINS '.'"), filter("NoSuchFilter", "TRUEPREDICATE"),
               filter("InstalledApplicationIdentifiers", "NOT lastPathComponent BEGINSWITH[c] %@")})};
    KQULeftoversScanner scanner({}, knowledgeBase);
    LeftoverRecorder log;
    kqtest::record(scanner, log);
    ASSERT_EQ(log.reasons.size(), 1u);
    const KQULeftoverReason& reason = log.reasons[0];
    EXPECT_EQ(std::tie(reason.entryIndex, reason.sourceDirectory, reason.application),
              std::make_tuple(1u, "~/Library/Caches", "com.example.Gone"));
    EXPECT_EQ(reason.description(),
              "knowledge-base entry 1 (Caches in ~/Library/Caches): lastPathComponent CONTAINS '.' AND "
              "NOT lastPathComponent BEGINSWITH[c] <each installed identifier>");
    EXPECT_EQ(scanner.currentReason(), nullptr);
}

TEST_F(KQULeftoversScannerTests, WildcardsInIdentifiersAreLiteralForCaseInsensitiveLike) {
    files("Prefs/", {"com.example.*/", "com.example.Tool/"});
    const kq::URL app = application("Star", "com.example.*");
    // With [cd] the identifier goes in as written and its "*" is a wildcard.
    const std::vector<std::pair<const char*, std::vector<std::string>>> cases{
        {"NOT (lastPathComponent like[c] %@)", {"T com.example.Tool"}},
        {"NOT (lastPathComponent LIKE[cd] %@)", {}},
    };
    for (const auto& [format, expected] : cases) {
        EXPECT_EQ(scan({app}, {entry("T", {tmp / "Prefs"}, {filter("InstalledApplicationIdentifiers", format)})}),
                  expected)
            << format;
    }
}

TEST_F(KQULeftoversScannerTests, EntriesAndFiltersThatAreUnusableAreSkipped) {
    files("Logs/", {"keep.log", "drop.txt"});
    const kq::Dictionary noType{{"SourceDirectories", kq::Array{kq::Value(tmp / "Logs")}}};
    const kq::Value substituted = kq::Dictionary{
        {"Type", "Predicate"},
        {"Params", kq::Dictionary{{"Format", "pathExtension == $EXT"}, {"Variables", kq::Dictionary{{"EXT", "log"}}}}}};
    const kq::Array knowledgeBase{
        entry("", {tmp / "Logs"}),
        noType,
        kq::Value("not an entry"),
        entry("Everything", {tmp / "Logs"}),
        entry("My.Own.Type", {tmp / "Logs"}, {filter("NoSuchFilter", "FALSEPREDICATE"), substituted}),
    };
    KQULeftoversScanner scanner({}, knowledgeBase);
    ASSERT_EQ(scanner.scanners().size(), 2u);
    LeftoverRecorder log;
    EXPECT_EQ(kqtest::record(scanner, log).items,
              (std::vector<std::string>{"Everything drop.txt", "Everything keep.log", "My.Own.Type keep.log"}));
}

TEST_F(KQULeftoversScannerTests, EqualFilterDictionariesAreBuiltOnce) {
    struct Counting : KQULeftoversScanner {
        using KQULeftoversScanner::KQULeftoversScanner;
        int built = 0;
        kq::PredicatePtr filterWithType(std::string_view type, const kq::Dictionary& params) override {
            ++built;
            return KQULeftoversScanner::filterWithType(type, params);
        }
    };
    const kq::Value shared = filter("InstalledApplicationIdentifiers", "NOT lastPathComponent BEGINSWITH[c] %@");
    const kq::Array knowledgeBase{entry("A", {tmp / "A"}, {shared, filter("Predicate", "TRUEPREDICATE")}),
                                  entry("B", {tmp / "B"}, {shared}),
                                  entry("C", {tmp / "C"}, {filter("Predicate", "TRUEPREDICATE")})};
    Counting scanner({}, knowledgeBase);
    EXPECT_EQ(scanner.scanners().size(), 3u);
    EXPECT_EQ(scanner.built, 2);
}

TEST_F(KQULeftoversScannerTests, SourceDirectoriesResolveThroughTheLayoutAndStayInsideIt) {
    useLayout("Mac", "Mac/Users/u");
    tmp.writeFile("Outside/secret");
    tmp.makeDirectory("Mac/Library/Logs");
    // A link the walker would follow out of the tree, and one that stays inside it.
    std::filesystem::create_symlink(tmp / "Outside", tmp / "Mac/Library/Linked");
    std::filesystem::create_symlink("../../Outside", tmp / "Mac/Library/Up");
    std::filesystem::create_symlink("Logs", tmp / "Mac/Library/Inside");
    const kq::Array knowledgeBase{entry("T", {"~/Library/Caches", "/Library/Caches", "~/Library/Caches",
                                              "/Library/../Library/Logs", "/Library/Inside", "/../Outside",
                                              "/../../../../../../Outside", "~/../../../Outside", "Outside",
                                              "../Outside", "", "/Library/Linked", "/Library/Up/x"})};
    kq::LogCapture logs;
    KQULeftoversScanner scanner({}, knowledgeBase);
    std::vector<std::string> folders;
    for (const kq::URL& folder : scanner.scanners().at(0)->sourceDirectories()) folders.push_back(folder.path());
    EXPECT_EQ(folders, (std::vector<std::string>{tmp / "Mac/Users/u/Library/Caches", tmp / "Mac/Library/Caches",
                                                 tmp / "Mac/Library/Logs", tmp / "Mac/Library/Inside"}));
    EXPECT_EQ(logs.lines().size(), 8u);
    LeftoverRecorder log;
    EXPECT_TRUE(kqtest::record(scanner, log).items.empty());
}

TEST_F(KQULeftoversScannerTests, ProgressSplitsBetweenCollectorAndChildren) {
    std::vector<kq::URL> apps;
    for (int i = 0; i < 4; ++i)
        apps.push_back(application("App" + std::to_string(i), "com.example.App" + std::to_string(i)));
    const kq::Array knowledgeBase{
        entry("T", {tmp / "Nowhere"}, {filter("InstalledApplicationIdentifiers", "NOT lastPathComponent == %@")})};
    KQULeftoversScanner scanner(apps, knowledgeBase);
    LeftoverRecorder log;
    kqtest::record(scanner, log);
    // Collector: 0, 0.25, 0.5, 0.75 (halved); then the one child: 0 and 1 on top of 0.75.
    EXPECT_EQ(log.progress, (std::vector<double>{0.0, 0.125, 0.25, 0.375, 0.375, 0.875}));
    EXPECT_DOUBLE_EQ(scanner.bundlesCollectorProgress(), 0.75);

    // Without identifier filters no collector runs and the children's progress is the scanner's, halved.
    KQULeftoversScanner plain(apps, kq::Array{entry("A", {tmp / "A"}), entry("B", {tmp / "B"}), entry("C", {tmp / "C"})});
    LeftoverRecorder plainLog;
    kqtest::record(plain, plainLog);
    EXPECT_EQ(std::make_pair(plainLog.progress.back(), plain.installedApplicationIdentifiers().size()),
              std::make_pair(0.5, std::size_t{4}));
    plain.scannerDidReachProgress(*plain.scanners()[1], 0.5);
    EXPECT_EQ(std::make_pair(plain.scannersProgress(), plain.progress()), std::make_pair(0.5, 0.25));
}

TEST_F(KQULeftoversScannerTests, StopDuringAChildEndsItAndSkipsTheRest) {
    kq::Array knowledgeBase;
    for (const char* folder : {"1", "2", "3", "4", "5"}) {
        files(folder, {"/a", "/b"});
        knowledgeBase.push_back(entry(folder, {tmp / folder}));
    }
    KQULeftoversScanner scanner({}, knowledgeBase);
    LeftoverRecorder log;
    // The same forwarding serves a stop from another thread.
    KQUFilesScanner* activeAtStop = nullptr;
    log.onItem = [&](KQULeftoversScanner& s) {
        if (log.items.back() != "3 a") return;
        activeAtStop = s.activeScanner();
        s.stop();
    };
    kqtest::record(scanner, log);
    EXPECT_EQ(log.items, (std::vector<std::string>{"1 a", "1 b", "2 a", "2 b", "3 a"}));
    EXPECT_EQ(activeAtStop, scanner.scanners()[2].get());
    EXPECT_TRUE(activeAtStop->stopped());
    EXPECT_EQ(scanner.activeScanner(), nullptr);
    EXPECT_TRUE(log.finished);
}

TEST_F(KQULeftoversScannerTests, BadInputFailsCleanly) {
    EXPECT_EQ(KQULeftoversScanner::create(std::nullopt), nullptr);
    const kq::Array unparsable{entry("T", {tmp.path()}, {filter("Predicate", "lastPathComponent ==")})};
    auto scanner = KQULeftoversScanner::create(std::vector<kq::URL>{}, unparsable);
    ASSERT_NE(scanner, nullptr);
    EXPECT_THROW(scanner->scan(), kq::InvalidArgumentException);
    EXPECT_FALSE(scanner->active());
}

}  // namespace
