// kqu apps: the application bundles found in the usual folders and in the
// system profiler's list, one path per line in the order they are found.
#include <cstdio>
#include <memory>
#include <string>

#include "Command.h"
#include "JsonOutput.h"
#include "KQFoundation/KQUApplicationsScanner.h"
#include "KQFoundation/Foundation/Exceptions.h"
#include "ProgressLine.h"

namespace {

struct AppsOptions {
    kqu::LayoutOptions layout;
    bool skipSystemDirectories = false;
    bool skipChildApplications = false;
    bool skipSystemProfiler = false;
    bool json = false;
};

/// Prints each application as it is found (text) or gathers them (JSON).
class ApplicationsReport final : public KQUApplicationsScannerDelegate {
public:
    explicit ApplicationsReport(bool json) : json_(json), progress_(kqu::stderrIsTerminal()) {}

    void applicationsScannerDidFindApplication(KQUApplicationsScanner&, const kq::URL& application) override {
        if (json_) {
            applications_.emplace_back(application.path());
            return;
        }
        progress_.clear();
        std::printf("%s\n", application.path().c_str());
        std::fflush(stdout);
    }
    void scannerDidReachProgress(KQUScanner&, double progress) override { progress_.show(progress); }

    void finish() {
        progress_.clear();
        if (json_) kqu::printJSON(kq::Dictionary{{"applications", applications_}});
    }

private:
    bool json_;
    kqu::ProgressLine progress_;
    kq::Array applications_;
};

int runApps(const AppsOptions& options) {
    const auto layout = options.layout.apply();
    kqu::warnIfNoMacTree(*layout);
    KQUApplicationsScanner scanner;
    scanner.setShouldSkipSystemDirectories(options.skipSystemDirectories);
    scanner.setShouldSkipChildApplications(options.skipChildApplications);
    // The profiler describes the running machine, not a Mac tree kept elsewhere.
    scanner.setShouldSkipSystemProfiler(options.skipSystemProfiler || !layout->isHostRoot());
    ApplicationsReport report(options.json);
    scanner.setDelegate(&report);
    try {
        scanner.scan();
    } catch (const kq::Exception& exception) {
        throw kqu::CommandFailure{kqu::kExitInputFailure,
                                  "built-in ApplicationsScanner.plist: " + exception.reason()};
    }
    report.finish();
    return kqu::kExitSuccess;
}

const kqu::CommandRegistration registration{kqu::Command{
    "apps",
    "List the application bundles (one path per line, duplicates kept)",
    [](CLI::App& app) -> std::function<int()> {
        auto options = std::make_shared<AppsOptions>();
        options->layout.addTo(app);
        app.add_flag("--skip-system-directories", options->skipSystemDirectories,
                     "Do not walk Applications, Documents, Downloads, Desktop and the media folders");
        app.add_flag("--skip-child-applications", options->skipChildApplications,
                     "Do not look for applications inside application bundles");
        app.add_flag("--skip-system-profiler", options->skipSystemProfiler,
                     "Do not ask the system profiler (never asked with --root)");
        app.add_flag("--json", options->json, "One JSON document {\"applications\":[...]} on stdout");
        return [options] { return runApps(*options); };
    }}};

}  // namespace
