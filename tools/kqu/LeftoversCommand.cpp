// kqu leftovers: what removed applications left behind in the Library folders.
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "KQFoundation/Foundation/PathUtilities.h"
#include "Command.h"
#include "JsonOutput.h"
#include "ProgressLine.h"
#include "KQFoundation/KQUApplicationsScanner.h"
#include "KQFoundation/KQULeftoversScanner.h"
#include "KQFoundation/Foundation/Exceptions.h"
#include "KQFoundation/Foundation/PropertyList.h"

namespace {

struct LeftoversOptions {
    kqu::LayoutOptions layout;
    std::string knowledgeBasePath;
    std::vector<std::string> applications;
    bool json = false;
};

/// Collects the applications the applications scanner reports.
class ApplicationCollector final : public KQUApplicationsScannerDelegate {
public:
    std::vector<kq::URL> applications;
    void applicationsScannerDidFindApplication(KQUApplicationsScanner&, const kq::URL& application) override {
        applications.push_back(application);
    }
};

/// The installed applications of the layout, found as `kqu apps` finds them
/// (the system profiler describes the running machine, so it is asked only there).
std::vector<kq::URL> applicationsOfLayout(const kq::FileSystemLayout& layout) {
    KQUApplicationsScanner scanner;
    scanner.setShouldSkipSystemProfiler(!layout.isHostRoot());
    ApplicationCollector collector;
    scanner.setDelegate(&collector);
    scanner.scan();
    return std::move(collector.applications);
}

std::vector<kq::URL> applicationsFromArguments(const std::vector<std::string>& paths) {
    namespace fs = std::filesystem;
    std::vector<kq::URL> applications;
    for (const std::string& path : paths) {
        std::error_code error;
        if (!fs::is_directory(path, error))
            throw kqu::CommandFailure{kqu::kExitInputFailure, "not an application bundle: " + path};
        applications.push_back(kq::URL::fileURLWithPath(kq::absolutePath(path), true));
    }
    return applications;
}

kq::Array readKnowledgeBase(const std::string& path) {
    std::optional<kq::Value> document = kq::PropertyList::readFile(path);
    if (!document || !document->isArray())
        throw kqu::CommandFailure{kqu::kExitInputFailure,
                                  "cannot read knowledge base " + path + ": not a property-list array"};
    return std::move(*document->asArray());
}

/// Prints leftovers as they are found (text) or gathers them (JSON), and
/// draws the progress bar.
class LeftoversReport final : public KQULeftoversScannerDelegate {
public:
    explicit LeftoversReport(bool json) : json_(json), progress_(kqu::stderrIsTerminal()) {}

    void leftoversScannerDidFindItem(KQULeftoversScanner&, const kq::URL& item, const std::string& type) override {
        if (json_) {
            items_.emplace_back(kq::Dictionary{{"type", type}, {"path", item.path()}});
            return;
        }
        progress_.clear();
        std::printf("%s\t%s\n", type.c_str(), item.path().c_str());
        std::fflush(stdout);
    }

    void scannerDidReachProgress(KQUScanner&, double progress) override { progress_.show(progress); }

    void finish() {
        progress_.clear();
        if (json_) std::printf("%s\n", kqu::toJSON(kq::Dictionary{{"items", items_}}).c_str());
    }

private:
    bool json_;
    kqu::ProgressLine progress_;
    kq::Array items_;
};

int runLeftovers(const LeftoversOptions& options) {
    const std::shared_ptr<const kq::FileSystemLayout> layout = options.layout.apply();

    std::optional<kq::Array> knowledgeBase;
    if (!options.knowledgeBasePath.empty()) knowledgeBase = readKnowledgeBase(options.knowledgeBasePath);

    std::vector<kq::URL> applications = options.applications.empty()
                                            ? applicationsOfLayout(*layout)
                                            : applicationsFromArguments(options.applications);

    KQULeftoversScanner scanner(std::move(applications), std::move(knowledgeBase));
    LeftoversReport report(options.json);
    scanner.setDelegate(&report);
    try {
        scanner.scan();
    } catch (const kq::Exception& exception) {
        // The knowledge base is the only input whose faults surface here (a filter format that does not parse).
        const std::string source = options.knowledgeBasePath.empty() ? std::string("built-in LeftoversScanners.plist")
                                                                     : options.knowledgeBasePath;
        throw kqu::CommandFailure{kqu::kExitInputFailure, "knowledge base " + source + ": " + exception.reason()};
    }
    report.finish();
    return kqu::kExitSuccess;
}

const kqu::CommandRegistration registration{kqu::Command{
    "leftovers",
    "List what removed applications left behind (TYPE<TAB>PATH per line)",
    [](CLI::App& app) -> std::function<int()> {
        auto options = std::make_shared<LeftoversOptions>();
        options->layout.addTo(app);
        app.add_option("--knowledge-base", options->knowledgeBasePath,
                       "Property list to use instead of the built-in knowledge base");
        app.add_option("--app", options->applications,
                       "An installed application bundle (repeatable); default: the applications `kqu apps` "
                       "finds")
            ->allow_extra_args(false);
        app.add_flag("--json", options->json, "One JSON document {\"items\":[{\"type\",\"path\"}...]} on stdout");
        return [options] { return runLeftovers(*options); };
    }}};

}  // namespace
