#include "KQFoundation/KQUFilesScanner.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "KQFoundation/Foundation/Exceptions.h"
#include "KQFoundation/Foundation/Log.h"
#include "Support/TemporaryDirectory.h"

namespace {

/// Records what the scanner reports, as paths relative to the fixture folder.
class WalkLog : public KQUFilesScannerDelegate {
public:
    explicit WalkLog(std::string base) : base_(std::move(base) + "/") {}

    bool wantsDirectories = false;
    std::vector<std::string> events;
    std::vector<double> progress;
    std::function<void(KQUFilesScanner&, const std::string&)> onItem = [](KQUFilesScanner&, const std::string&) {};
    std::function<void(KQUFilesScanner&, const std::string&)> onDirectory = [](KQUFilesScanner&,
                                                                               const std::string&) {};

    void filesScannerDidFindItem(KQUFilesScanner& scanner, const kq::URL& item, const kq::URL&) override {
        events.push_back(relative(item));
        onItem(scanner, relative(item));
    }
    void filesScannerDidFindDirectory(KQUFilesScanner& scanner, const kq::URL& directory,
                                      const kq::URL&) override {
        events.push_back("dir " + relative(directory));
        onDirectory(scanner, relative(directory));
    }
    bool respondsToFilesScannerDidFindDirectory() const override { return wantsDirectories; }
    void scannerDidReachProgress(KQUScanner&, double value) override { progress.push_back(value); }

private:
    std::string relative(const kq::URL& url) const {
        const std::string path = url.path();
        return path.rfind(base_, 0) == 0 ? path.substr(base_.size()) : path;
    }
    std::string base_;
};

class KQUFilesScannerTests : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* file : {"root/a.txt", "root/Sub/b.txt", "root/Sub/Deep/c.txt", "root/Foo.app/inside",
                                 "root/Bar.bundle/inside", "other/z.txt"})
            tmp.writeFile(file);
        scanner.setDelegate(&log);
    }
    kq::URL url(const std::string& relative) const { return kq::URL::fileURLWithPath(tmp / relative, true); }
    /// Walks tmp/root, the directory callback wanted, and returns what was reported.
    const std::vector<std::string>& walk() {
        log.wantsDirectories = true;
        scanner.scan();
        return log.events;
    }

    kqtest::TemporaryDirectory tmp;
    KQUFilesScanner scanner{std::vector<kq::URL>{url("root")}};
    WalkLog log{tmp / "root"};
};

TEST_F(KQUFilesScannerTests, WalksDepthFirstAndAnnouncesDirectoriesBeforeTheirItemTest) {
    EXPECT_EQ(walk(), (std::vector<std::string>{"dir Bar.bundle", "Bar.bundle", "Bar.bundle/inside", "dir Foo.app",
                                                    "Foo.app", "Foo.app/inside", "dir Sub", "Sub", "dir Sub/Deep",
                                                    "Sub/Deep", "Sub/Deep/c.txt", "Sub/b.txt", "a.txt"}));
    EXPECT_EQ(scanner.directoryEnumerator(), nullptr);
}

TEST_F(KQUFilesScannerTests, DelegateCanPruneFromEitherCallback) {
    log.onDirectory = [](KQUFilesScanner& s, const std::string& path) {
        if (path == "Sub") s.skipDescendants();
    };
    log.onItem = [](KQUFilesScanner& s, const std::string& path) {
        if (path == "Foo.app") s.skipDescendants();
    };
    EXPECT_EQ(walk(), (std::vector<std::string>{"dir Bar.bundle", "Bar.bundle", "Bar.bundle/inside", "dir Foo.app",
                                                "Foo.app", "dir Sub", "Sub", "a.txt"}));
}

TEST_F(KQUFilesScannerTests, ShallowListingReportsDirectChildrenOnly) {
    scanner.setSkipSubdirectoryDescendants(true);
    bool hadEnumerator = false;
    log.onItem = [&](KQUFilesScanner& s, const std::string&) {
        hadEnumerator |= s.directoryEnumerator() != nullptr;
        s.skipDescendants();  // nothing to prune in a listing
    };
    scanner.scan();
    EXPECT_EQ(log.events, (std::vector<std::string>{"Bar.bundle", "Foo.app", "Sub", "a.txt"}));
    EXPECT_FALSE(hadEnumerator);
}

TEST_F(KQUFilesScannerTests, MatchingPackagesAreNotEnteredButOthersAre) {
    scanner.setPredicate(
        kq::Predicate::predicateWithFormat("path ENDSWITH[c] '.APP' OR lastPathComponent == 'inside'"));
    scanner.setSkipPackageDescendants(true);
    scanner.scan();
    // Bar.bundle is a package too, but it did not match, so it is walked.
    EXPECT_EQ(log.events, (std::vector<std::string>{"Bar.bundle/inside", "Foo.app"}));
}

TEST_F(KQUFilesScannerTests, HiddenEntriesAreNeitherReportedNorEntered) {
    const kq::FileManager& fm = kq::FileManager::defaultManager();
    if (!fm.setFileExtensionHidden(tmp / "root/Sub", true) || !fm.setFileExtensionHidden(tmp / "root/a.txt", true))
        GTEST_SKIP() << "no extended attributes on this file system";

    scanner.setSkipHiddenFiles(true);
    EXPECT_EQ(walk(), (std::vector<std::string>{"dir Bar.bundle", "Bar.bundle", "Bar.bundle/inside", "dir Foo.app",
                                                "Foo.app", "Foo.app/inside"}));
}

TEST_F(KQUFilesScannerTests, LinksAreReportedButNeverFollowed) {
    tmp.makeSymlink("root/LinkToSub", tmp / "root/Sub");
    tmp.makeSymlink("root/Broken", tmp / "root/missing");
    scanner.setPredicate(kq::Predicate::predicateWithFormat("lastPathComponent BEGINSWITH 'Link' OR "
                                                            "lastPathComponent == 'Broken' OR path CONTAINS 'LinkToSub/'"));
    // A link to a folder exists as a folder (the directory callback comes), a broken one does not.
    EXPECT_EQ(walk(), (std::vector<std::string>{"dir Bar.bundle", "Broken", "dir Foo.app", "dir LinkToSub",
                                                "LinkToSub", "dir Sub", "dir Sub/Deep"}));
}

TEST_F(KQUFilesScannerTests, InvalidArgumentFromThePredicateIsLoggedPerEntryAndTheWalkGoesOn) {
    KQUFilesScanner scanner({url("root/Sub")});
    // Only b.txt short-circuits before the key path a file URL does not have.
    scanner.setPredicate(kq::Predicate::predicateWithFormat("lastPathComponent == 'b.txt' OR noSuchKey == 1"));
    WalkLog log(tmp / "root/Sub");
    scanner.setDelegate(&log);
    kq::LogCapture capture;
    scanner.scan();
    EXPECT_EQ(log.events, (std::vector<std::string>{"b.txt"}));
    ASSERT_EQ(capture.lines().size(), 2u);  // Deep and Deep/c.txt
    EXPECT_EQ(capture.lines()[0].rfind("Exception catched: ", 0), 0u) << capture.lines()[0];
    EXPECT_NE(capture.lines()[0].find("noSuchKey"), std::string::npos);
}

TEST_F(KQUFilesScannerTests, OtherExceptionsFromThePredicateEndTheScan) {
    struct Failing : kq::Predicate {
        bool evaluateWithObject(const kq::Value&) const override { return false; }
        bool evaluateWithObject(const kq::Value&, const kq::Dictionary&) const override { return false; }
        bool evaluateWithObject(const kq::URL&) const override { throw kq::RangeException("out of range"); }
        kq::PredicatePtr predicateWithSubstitutionVariables(const kq::Dictionary&) const override { return nullptr; }
        std::string predicateFormat() const override { return "failing"; }
    };
    scanner.setPredicate(std::make_shared<Failing>());
    EXPECT_THROW(scanner.scan(), kq::RangeException);
    EXPECT_FALSE(scanner.directoryEnumerator() || scanner.active());
}

TEST_F(KQUFilesScannerTests, ProgressAdvancesPerRootAndStopAbandonsTheRemainingRoots) {
    KQUFilesScanner scanner({url("other"), url("root"), url("missing"), url("other")});
    ASSERT_EQ(scanner.sourceDirectories().size(), 3u);
    WalkLog log(tmp.path());
    scanner.setDelegate(&log);
    scanner.scan();
    EXPECT_EQ(log.progress, (std::vector<double>{0.0, 1.0 / 3, 2.0 / 3, 1.0}));
    log.progress.clear();
    log.onItem = [](KQUFilesScanner& s, const std::string& path) {
        if (path == "root/Foo.app") s.stop();
    };
    scanner.scan();
    // The abandoned root still takes its step; the roots after it are never walked.
    EXPECT_EQ(log.progress, (std::vector<double>{0.0, 1.0 / 3, 2.0 / 3}));
    EXPECT_EQ(log.events.back(), "root/Foo.app");

    // No roots give no scanner, and an empty set finishes at zero.
    EXPECT_EQ(KQUFilesScanner::create(std::nullopt), nullptr);
    KQUFilesScanner empty{std::vector<kq::URL>{}};
    empty.setDelegate(&log);
    log.progress.clear();
    empty.scan();
    EXPECT_EQ(log.progress, std::vector<double>{0.0});
}

}  // namespace
