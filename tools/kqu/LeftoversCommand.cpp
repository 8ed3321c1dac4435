// kqu leftovers: what removed applications left behind in the Library folders,
// grouped by the application they belong to; --trash moves them to the trash.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "KQFoundation/Foundation/PathUtilities.h"
#include "Command.h"
#include "JsonOutput.h"
#include "ProgressLine.h"
#include "KQFoundation/KQUApplicationsScanner.h"
#include "KQFoundation/KQULeftoversScanner.h"
#include "KQFoundation/NSFileManager+KQFoundation.h"
#include "KQFoundation/Foundation/Exceptions.h"
#include "KQFoundation/Foundation/PropertyList.h"

namespace {

struct LeftoversOptions {
    kqu::LayoutOptions layout;
    std::string knowledgeBasePath;
    std::vector<std::string> applications;
    bool json = false;
    bool trash = false;
    bool yes = false;
};

struct Leftover {
    std::string type;
    std::string path;
    std::string reason;
    std::string application;
    std::uint64_t size = 0;
};

struct KeptItem {
    std::string type;
    std::string path;
    std::string reason;
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

/// "KQFoundation.LeftoverType.ApplicationSupport" -> "Application Support".
std::string plainType(const std::string& type) {
    const std::size_t dot = type.rfind('.');
    const std::string word = dot == std::string::npos ? type : type.substr(dot + 1);
    std::string out;
    for (std::size_t i = 0; i < word.size(); ++i) {
        const bool upper = word[i] >= 'A' && word[i] <= 'Z';
        const bool afterLower = i > 0 && word[i - 1] >= 'a' && word[i - 1] <= 'z';
        if (upper && afterLower) out += ' ';
        out += word[i];
    }
    return out.empty() ? type : out;
}

/// Gathers leftovers (one per path: an item under two entries is listed once)
/// and draws the progress line once a scan has run for a moment.
class LeftoversReport final : public KQULeftoversScannerDelegate {
public:
    explicit LeftoversReport(bool showProgress) : progress_(showProgress) {}

    std::vector<Leftover> items;
    std::vector<KeptItem> kept;

    void leftoversScannerDidFindItem(KQULeftoversScanner& scanner, const kq::URL& item,
                                     const std::string& type) override {
        Leftover leftover{type, item.path(), {}, {}, 0};
        if (!paths_.insert(leftover.path).second) return;
        if (const KQULeftoverReason* reason = scanner.currentReason()) {
            leftover.reason = reason->description();
            leftover.application = reason->application;
        }
        leftover.size = kq::FileManager::defaultManager().sizeOfItemAtPath(leftover.path);
        items.push_back(std::move(leftover));
    }

    void leftoversScannerDidKeepItem(KQULeftoversScanner&, const kq::URL& item, const std::string& type,
                                     const std::string& reason) override {
        kept.push_back({type, item.path(), reason});
    }

    void scannerDidReachProgress(KQUScanner&, double progress) override {
        // Short scans finish before a bar would be worth reading.
        if (std::chrono::steady_clock::now() - start_ > std::chrono::milliseconds(300)) progress_.show(progress);
    }

    void finish() { progress_.clear(); }

private:
    kqu::ProgressLine progress_;
    std::set<std::string> paths_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

struct Group {
    std::string application;
    std::uint64_t size = 0;
    std::vector<const Leftover*> items;
};

std::vector<Group> groupByApplication(const std::vector<Leftover>& items) {
    std::map<std::string, Group> byApplication;
    for (const Leftover& item : items) {
        Group& group = byApplication[item.application];
        group.application = item.application;
        group.size += item.size;
        group.items.push_back(&item);
    }
    std::vector<Group> groups;
    for (auto& entry : byApplication) groups.push_back(std::move(entry.second));
    // Largest first: that is where space comes back; the name breaks ties.
    std::stable_sort(groups.begin(), groups.end(), [](const Group& a, const Group& b) { return a.size > b.size; });
    return groups;
}

void printGroups(const LeftoversReport& report) {
    std::uint64_t total = 0;
    for (const Group& group : groupByApplication(report.items)) {
        total += group.size;
        const std::string name = group.application.empty() ? std::string("(unknown application)") : group.application;
        std::printf("%s  (%zu %s, %s)\n", name.c_str(), group.items.size(), group.items.size() == 1 ? "item" : "items",
                    kqu::sizeText(group.size).c_str());
        for (const Leftover* item : group.items)
            std::printf("  %-20s %s  %s\n", plainType(item->type).c_str(), kqu::sizeText(item->size, 10).c_str(),
                        item->path.c_str());
    }
    // A run that found nothing at all prints nothing, so an empty tree stays quiet in scripts.
    if (!report.items.empty() || !report.kept.empty())
        std::printf("Total: %zu %s, %s\n", report.items.size(), report.items.size() == 1 ? "item" : "items",
                kqu::sizeText(total).c_str());
    if (!report.kept.empty()) {
        std::printf("Kept, still in use by installed software:\n");
        for (const KeptItem& item : report.kept) std::printf("  %s  (%s)\n", item.path.c_str(), item.reason.c_str());
    }
}

kq::Array itemsAsJSON(const LeftoversReport& report) {
    kq::Array items;
    for (const Leftover& item : report.items)
        items.emplace_back(kq::Dictionary{{"type", item.type},
                                          {"path", item.path},
                                          {"reason", item.reason},
                                          {"size", static_cast<unsigned long long>(item.size)},
                                          {"application", item.application}});
    return items;
}

struct TrashOutcome {
    kq::Array moved;     // {"path", "destination"}
    kq::Array notMoved;  // {"path", "reason"}
};

bool confirmTrash(const LeftoversOptions& options, std::size_t count) {
    if (options.yes) return true;
    if (options.json) {
        // stdout holds one document for a program; there is nobody to show the list to.
        std::fprintf(stderr, "kqu: nothing was moved to the trash: with --json, --trash needs --yes\n");
        return false;
    }
    if (isatty(STDIN_FILENO) != 1) {
        std::fprintf(stderr, "kqu: nothing was moved to the trash: stdin is not a terminal to ask on (add --yes)\n");
        return false;
    }
    std::fprintf(stderr, "Move %zu %s to the trash? [y/N] ", count, count == 1 ? "item" : "items");
    std::fflush(stderr);
    std::string answer;
    const bool confirmed = std::getline(std::cin, answer) && !answer.empty() &&
                           (answer.front() == 'y' || answer.front() == 'Y');
    if (!confirmed) std::fprintf(stderr, "kqu: nothing was moved to the trash\n");
    return confirmed;
}

/// Every item is tried; one inside a folder already moved went with it.
TrashOutcome moveToTrash(const std::vector<Leftover>& items) {
    const kq::FileManager& fileManager = kq::FileManager::defaultManager();
    TrashOutcome outcome;
    std::vector<std::string> movedPaths;
    for (const Leftover& item : items) {
        const auto insideMoved = std::find_if(movedPaths.begin(), movedPaths.end(), [&](const std::string& folder) {
            return item.path.rfind(folder + "/", 0) == 0;
        });
        std::string destination;
        std::string reason;
        std::error_code error;
        // The protected move itself refuses what is gone or already in the trash, and says why.
        if (insideMoved != movedPaths.end()) {
            reason = "it went to the trash with " + *insideMoved;
        } else if (!fileManager.moveItemAtPathToTrash(item.path, &destination, &error)) {
            reason = error.message() + "; it was left where it is";
        }
        if (reason.empty()) {
            movedPaths.push_back(item.path);
            outcome.moved.emplace_back(kq::Dictionary{{"path", item.path}, {"destination", destination}});
        } else {
            outcome.notMoved.emplace_back(kq::Dictionary{{"path", item.path}, {"reason", reason}});
        }
    }
    return outcome;
}

void printTrashOutcome(const TrashOutcome& outcome) {
    std::printf("Moved to the trash: %zu\n", outcome.moved.size());
    for (const kq::Value& entry : outcome.moved)
        std::printf("  %s -> %s\n", entry.asDictionary()->stringValueForKey("path")->c_str(),
                    entry.asDictionary()->stringValueForKey("destination")->c_str());
    if (outcome.notMoved.empty()) return;
    std::printf("Not moved: %zu\n", outcome.notMoved.size());
    for (const kq::Value& entry : outcome.notMoved)
        std::printf("  %s: %s\n", entry.asDictionary()->stringValueForKey("path")->c_str(),
                    entry.asDictionary()->stringValueForKey("reason")->c_str());
}

int runLeftovers(const LeftoversOptions& options) {
    const std::shared_ptr<const kq::FileSystemLayout> layout = options.layout.apply();
    kqu::warnIfNoMacTree(*layout);

    std::optional<kq::Array> knowledgeBase;
    if (!options.knowledgeBasePath.empty()) knowledgeBase = readKnowledgeBase(options.knowledgeBasePath);

    std::vector<kq::URL> applications = options.applications.empty()
                                            ? applicationsOfLayout(*layout)
                                            : applicationsFromArguments(options.applications);

    KQULeftoversScanner scanner(std::move(applications), std::move(knowledgeBase));
    LeftoversReport report(kqu::stderrIsTerminal() && !options.json);
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

    if (!options.json) {
        printGroups(report);
        std::fflush(stdout);
    }
    std::optional<TrashOutcome> outcome;
    bool refused = false;
    if (options.trash && !report.items.empty()) {
        if (confirmTrash(options, report.items.size()))
            outcome = moveToTrash(report.items);
        else
            refused = true;
    }
    if (options.json) {
        kq::Dictionary document{{"items", itemsAsJSON(report)}};
        kq::Array kept;
        for (const KeptItem& item : report.kept)
            kept.emplace_back(kq::Dictionary{{"type", item.type}, {"path", item.path}, {"reason", item.reason}});
        document.setObject("kept", std::move(kept));
        if (outcome) {
            document.setObject("moved", outcome->moved);
            document.setObject("notMoved", outcome->notMoved);
        }
        std::printf("%s\n", kqu::toJSON(document).c_str());
    } else if (outcome) {
        printTrashOutcome(*outcome);
    }
    if (refused) return kqu::kExitUsage;
    return outcome && !outcome->notMoved.empty() ? kqu::kExitInputFailure : kqu::kExitSuccess;
}

const kqu::CommandRegistration registration{kqu::Command{
    "leftovers",
    "List what removed applications left behind, grouped by application, with sizes; --trash moves it",
    [](CLI::App& app) -> std::function<int()> {
        auto options = std::make_shared<LeftoversOptions>();
        options->layout.addTo(app);
        app.add_option("--knowledge-base", options->knowledgeBasePath,
                       "Property list to use instead of the built-in knowledge base");
        app.add_option("--app", options->applications,
                       "An installed application bundle (repeatable); default: the applications `kqu apps` "
                       "finds")
            ->allow_extra_args(false);
        app.add_flag("--json", options->json,
                     "One JSON document on stdout: {\"items\":[{\"type\",\"path\",\"reason\",\"size\","
                     "\"application\"}...], \"kept\":[...]} (with --trash also \"moved\" and \"notMoved\")");
        app.add_flag("--trash", options->trash,
                     "After listing, ask, then move the leftovers to the trash (never deletes, never copies); "
                     "exit 1 when not confirmed");
        app.add_flag("--yes", options->yes, "With --trash: do not ask");
        return [options] { return runLeftovers(*options); };
    }}};

}  // namespace
