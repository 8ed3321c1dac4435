#include "KQFoundation/KQUApplicationsScanner.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "KQFoundation/KQUSystemInformation.h"
#include "ScanningTestSupport.h"

namespace {

/// Records applications by their path below the temporary folder.
class ApplicationLog : public KQUApplicationsScannerDelegate {
public:
    explicit ApplicationLog(std::string prefix) : prefix_(std::move(prefix)) {}

    std::vector<std::string> applications;
    std::vector<double> progress;
    bool finished = false;
    std::function<void(KQUApplicationsScanner&)> onApplication = [](KQUApplicationsScanner&) {};

    void applicationsScannerDidFindApplication(KQUApplicationsScanner& scanner, const kq::URL& application) override {
        std::string path = application.path();
        applications.push_back(path.rfind(prefix_, 0) == 0 ? path.substr(prefix_.size()) : path);
        onApplication(scanner);
    }
    void scannerDidReachProgress(KQUScanner&, double value) override { progress.push_back(value); }
    void scannerDidFinish(KQUScanner&) override { finished = true; }

    std::vector<std::string> sorted() const {
        auto copy = applications;
        std::sort(copy.begin(), copy.end());
        return copy;
    }

private:
    std::string prefix_;
};

/// The profiler's list without running the profiler.
class ScannerWithProfilerList : public KQUApplicationsScanner {
public:
    std::vector<std::string> profilerPaths;
    mutable int profilerCalls = 0;

protected:
    std::vector<std::string> systemProfilerApplicationPaths() const override {
        ++profilerCalls;
        return profilerPaths;
    }
};

class KQUApplicationsScannerTests : public kqtest::ScanningTest {
protected:
    void SetUp() override {
        tmp.writeFile("root/Applications/Editor.app/Contents/Info.plist");
        tmp.writeFile("root/Applications/Editor.app/Contents/Helpers/Editor Helper.app/Contents/Info.plist");
        tmp.writeFile("root/Users/jane/Downloads/Viewer.APP/Contents/Info.plist");
        tmp.writeFile("root/Users/jane/Desktop/readme.app.txt");
        // Folders the resource tells the scanner to leave alone.
        tmp.writeFile("root/Users/jane/Documents/site/node_modules/shell/dist/Shell.app/Contents/Info.plist");
        tmp.writeFile("root/Users/jane/Pictures/Family.photoslibrary/resources/Preview.app/x");
        useLayout("root", "root/Users/jane");
        scanner.setDelegate(&log);
    }
    void TearDown() override { KQUSystemInformation::setSystemProfilerPath(std::nullopt); }

    ApplicationLog log{tmp.path() + "/root"};
    ScannerWithProfilerList scanner;
};

TEST_F(KQUApplicationsScannerTests, WalkFindsApplicationsAndChildrenUnlessToldNotToButSkipsListedFolders) {
    const std::vector<std::string> parents{"/Applications/Editor.app", "/Users/jane/Downloads/Viewer.APP"};
    for (const bool skipChildren : {false, true}) {
        ApplicationLog walk{tmp.path() + "/root"};
        ScannerWithProfilerList scanner;
        scanner.setDelegate(&walk);
        scanner.setShouldSkipSystemProfiler(true);
        scanner.setShouldSkipChildApplications(skipChildren);
        scanner.scan();
        std::vector<std::string> expected = parents;
        // The parent is still reported when its insides are skipped.
        if (!skipChildren)
            expected.insert(expected.begin() + 1, "/Applications/Editor.app/Contents/Helpers/Editor Helper.app");
        EXPECT_EQ(walk.sorted(), expected) << skipChildren;
        EXPECT_EQ(scanner.progress(), 1.0);
        EXPECT_TRUE(walk.finished);
        EXPECT_EQ(scanner.profilerCalls, 0);
    }
}

TEST_F(KQUApplicationsScannerTests, ProgressGivesNineTenthsToTheWalkAndTheRestToTheProfiler) {
    scanner.profilerPaths = {tmp / "root/Applications/Editor.app", "/Applications/Mail.app"};
    scanner.scan();
    ASSERT_GE(log.progress.size(), 3u);
    EXPECT_TRUE(std::is_sorted(log.progress.begin(), log.progress.end()));
    const std::vector<double> tail(log.progress.end() - 3, log.progress.end());
    EXPECT_DOUBLE_EQ(tail[0], 0.9);
    EXPECT_DOUBLE_EQ(tail[1], 0.95);
    EXPECT_DOUBLE_EQ(tail[2], 1.0);
    // No de-duplication: the profiler's Editor.app comes on top of the walk's.
    EXPECT_EQ(std::count(log.applications.begin(), log.applications.end(), "/Applications/Editor.app"), 2);
    EXPECT_EQ(log.applications.size(), 3u + 2u);
}

TEST_F(KQUApplicationsScannerTests, ProfilerAloneRunsFromZeroToOne) {
    scanner.setShouldSkipSystemDirectories(true);
    scanner.profilerPaths = {tmp / "root/Applications/Editor.app", "/A.app", "/B.app", "/C.app"};
    scanner.scan();
    EXPECT_EQ(log.progress, (std::vector<double>{0.25, 0.5, 0.75, 1.0}));
    EXPECT_EQ(log.applications, (std::vector<std::string>{"/Applications/Editor.app", "/A.app", "/B.app", "/C.app"}));
}

TEST_F(KQUApplicationsScannerTests, AllSourcesSkippedDoesNothing) {
    scanner.setShouldSkipSystemDirectories(true);
    scanner.setShouldSkipSystemProfiler(true);
    scanner.setShouldSkipChildApplications(true);
    scanner.scan();
    EXPECT_TRUE(log.applications.empty());
    EXPECT_TRUE(log.progress.empty());
    EXPECT_EQ(scanner.progress(), 0.0);
    EXPECT_TRUE(log.finished);
}

TEST_F(KQUApplicationsScannerTests, StopDuringTheWalkPreventsTheProfilerStep) {
    scanner.profilerPaths = {"/A.app"};
    log.onApplication = [](KQUApplicationsScanner& s) { s.stop(); };
    scanner.scan();
    EXPECT_EQ(log.applications.size(), 1u);
    EXPECT_EQ(scanner.profilerCalls, 0);
    EXPECT_TRUE(log.finished);
    EXPECT_LT(scanner.progress(), 0.9);
}

TEST_F(KQUApplicationsScannerTests, WalksTheEightFoldersOfUserAndLocalDomains) {
    const std::string home = tmp / "root/Users/jane";
    std::vector<std::string> paths;
    for (const kq::URL& url : KQUApplicationsScanner::sourceDirectories()) paths.push_back(url.path());
    EXPECT_EQ(paths, (std::vector<std::string>{home + "/Documents", home + "/Applications", tmp / "root/Applications",
                                               home + "/Movies", home + "/Pictures", home + "/Music",
                                               home + "/Downloads", home + "/Desktop", home + "/Public"}));
    EXPECT_EQ(scanner.filesScanner().sourceDirectories().size(), paths.size());
}

TEST_F(KQUApplicationsScannerTests, ResourceFiltersMatchFoldersWithoutApplications) {
    const kq::PredicatePtr& skip = KQUApplicationsScanner::skipDirectoryPredicate();
    ASSERT_TRUE(skip);
    for (const char* folder : {"/p/node_modules", "/p/.git", "/p/Lib.PhotosLibrary", "/Music/Media.localized"})
        EXPECT_TRUE(skip->evaluateWithObject(kq::URL::fileURLWithPath(folder, true))) << folder;
    for (const char* folder : {"/Applications", "/p/Editor.app", "/p/modules", "/p/git"})
        EXPECT_FALSE(skip->evaluateWithObject(kq::URL::fileURLWithPath(folder, true))) << folder;
}

TEST_F(KQUApplicationsScannerTests, ProfilerListComesFromTheSystemInformationCollector) {
    const std::string profiler = tmp.writeFile(
        "bin/profiler",
        "#!/bin/sh\ncat <<'EOF'\n<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><array><dict>"
        "<key>_dataType</key><string>SPApplicationsDataType</string><key>_items</key><array>"
        "<dict><key>path</key><string>/Applications/Z.app</string></dict>"
        "<dict><key>path</key><string>/Applications/Y.app</string></dict>"
        "</array></dict></array></plist>\nEOF\n");
    ASSERT_EQ(chmod(profiler.c_str(), 0755), 0);
    KQUSystemInformation::setSystemProfilerPath(profiler);

    KQUApplicationsScanner real;
    real.setDelegate(&log);
    real.setShouldSkipSystemDirectories(true);
    real.scan();
    EXPECT_EQ(log.applications, (std::vector<std::string>{"/Applications/Y.app", "/Applications/Z.app"}));
}

}  // namespace
