#include "KQFoundation/KQUApplicationsScanner.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <functional>
#include <string>
#include <tuple>
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
        // The last two are in folders the resource tells the scanner to leave alone.
        files("root/", {"Applications/Editor.app/Contents/Helpers/Editor Helper.app/Contents/Info.plist",
                        "Users/jane/Downloads/Viewer.APP/Contents/Info.plist", "Users/jane/Desktop/readme.app.txt",
                        "Users/jane/Documents/site/node_modules/shell/dist/Shell.app/Contents/Info.plist",
                        "Users/jane/Pictures/Family.photoslibrary/resources/Preview.app/x"});
        useLayout("root", "root/Users/jane");
        scanner.setDelegate(&log);
    }
    void TearDown() override { KQUSystemInformation::setSystemProfilerPath(std::nullopt); }

    ApplicationLog log{tmp.path() + "/root"};
    ScannerWithProfilerList scanner;
};

TEST_F(KQUApplicationsScannerTests, WalkFindsApplicationsAndChildrenUnlessToldNotToButSkipsListedFolders) {
    // Skipping children is left to kqu's apps script.
    scanner.setShouldSkipSystemProfiler(true);
    scanner.scan();
    std::sort(log.applications.begin(), log.applications.end());
    EXPECT_EQ(log.applications, (std::vector<std::string>{"/Applications/Editor.app",
                                                      "/Applications/Editor.app/Contents/Helpers/Editor Helper.app",
                                                      "/Users/jane/Downloads/Viewer.APP"}));
    EXPECT_EQ(std::make_tuple(scanner.progress(), log.finished, scanner.profilerCalls), std::make_tuple(1.0, true, 0));
}

TEST_F(KQUApplicationsScannerTests, ProgressGivesNineTenthsToTheWalkAndTheRestToTheProfiler) {
    scanner.profilerPaths = {tmp / "root/Applications/Editor.app", "/Applications/Mail.app"};
    scanner.scan();
    ASSERT_GE(log.progress.size(), 3u);
    EXPECT_TRUE(std::is_sorted(log.progress.begin(), log.progress.end()));
    EXPECT_EQ(std::vector<double>(log.progress.end() - 3, log.progress.end()), (std::vector<double>{0.9, 0.95, 1.0}));
    // No de-duplication: the profiler's Editor.app comes on top of the walk's.
    EXPECT_EQ(std::count(log.applications.begin(), log.applications.end(), "/Applications/Editor.app"), 2);
    EXPECT_EQ(log.applications.size(), 3u + 2u);
}

TEST_F(KQUApplicationsScannerTests, ProfilerAloneRunsFromZeroToOne) {
    scanner.setShouldSkipSystemDirectories(true);
    scanner.setShouldSkipSystemProfiler(true);
    scanner.scan();  // with every source skipped: no progress at all
    EXPECT_EQ(std::make_tuple(log.progress.size(), scanner.progress(), log.finished), std::make_tuple(0u, 0.0, true));
    scanner.setShouldSkipSystemProfiler(false);
    scanner.profilerPaths = {tmp / "root/Applications/Editor.app", "/A.app", "/B.app", "/C.app"};
    scanner.scan();
    EXPECT_EQ(log.progress, (std::vector<double>{0.25, 0.5, 0.75, 1.0}));
    EXPECT_EQ(log.applications, (std::vector<std::string>{"/Applications/Editor.app", "/A.app", "/B.app", "/C.app"}));
}

TEST_F(KQUApplicationsScannerTests, StopDuringTheWalkPreventsTheProfilerStep) {
    scanner.profilerPaths = {"/A.app"};
    log.onApplication = [](KQUApplicationsScanner& s) { s.stop(); };
    scanner.scan();
    EXPECT_EQ(std::make_tuple(log.applications.size(), scanner.profilerCalls, log.finished), std::make_tuple(1u, 0, true));
    EXPECT_LT(scanner.progress(), 0.9);
}

TEST_F(KQUApplicationsScannerTests, WalksTheNineFoldersOfUserAndLocalDomains) {
    const std::string home = tmp / "root/Users/jane";
    std::vector<std::string> paths;
    for (const kq::URL& url : KQUApplicationsScanner::sourceDirectories()) paths.push_back(url.path());
    EXPECT_EQ(paths, (std::vector<std::string>{home + "/Documents", home + "/Applications", tmp / "root/Applications",
                                               home + "/Movies", home + "/Pictures", home + "/Music",
                                               home + "/Downloads", home + "/Desktop", home + "/Public"}));
    EXPECT_EQ(scanner.filesScanner().sourceDirectories().size(), paths.size());
}

TEST_F(KQUApplicationsScannerTests, ProfilerListComesFromTheSystemInformationCollector) {
    const std::string profiler =
        tmp.writeFile("bin/profiler", "#!/bin/sh\ncat '" KQ_TEST_FIXTURES "/SystemInformation/applications.xml'\n");
    ASSERT_EQ(chmod(profiler.c_str(), 0755), 0);
    KQUSystemInformation::setSystemProfilerPath(profiler);

    KQUApplicationsScanner real;
    real.setDelegate(&log);
    real.setShouldSkipSystemDirectories(true);
    real.scan();
    EXPECT_EQ(log.applications, (std::vector<std::string>{"/Applications/Safari.app", "/Users/sam/Applications/Café.app"}));
}

}  // namespace
