#include "KQFoundation/KQUApplicationsScanner.h"

#include <algorithm>
#include <map>
#include <utility>

#include "KQFoundation/KQUSystemInformation.h"
#include "KQFoundation/Foundation/Bundle.h"
#include "KQFoundation/Foundation/Exceptions.h"
#include "KQFoundation/System/FileManager.h"
#include "KQFoundation/System/FileSystemLayout.h"
#include "KQFoundation/Foundation/PropertyList.h"
#include "System/PerLayoutCache.h"

namespace {

constexpr const char* kApplicationPredicateFormat = "path ENDSWITH[c] '.app'";
constexpr const char* kSkipDirectoryFiltersKey = "SkipDirectoryFilters";

// The walk covers the profiler's share of the progress too, unless it is skipped.
constexpr double kFilesScannerShare = 0.9;

// The folders where people keep or download applications, in search order.
constexpr kq::SearchPathDirectory kSourceFolders[] = {
    kq::SearchPathDirectory::Document, kq::SearchPathDirectory::Application, kq::SearchPathDirectory::Movies,
    kq::SearchPathDirectory::Pictures, kq::SearchPathDirectory::Music,       kq::SearchPathDirectory::Downloads,
    kq::SearchPathDirectory::Desktop,  kq::SearchPathDirectory::SharedPublic,
};

const kq::PredicatePtr& applicationPredicate() {
    static const kq::PredicatePtr predicate = kq::Predicate::predicateWithFormat(kApplicationPredicateFormat);
    return predicate;
}

kq::PredicatePtr loadSkipDirectoryPredicate() {
    std::vector<kq::PredicatePtr> filters;
    auto bytes = kq::Bundle::libraryBundle()->dataForResource("ApplicationsScanner", "plist");
    std::optional<kq::Value> resource = bytes ? kq::PropertyList::read(*bytes) : std::nullopt;
    const kq::Dictionary* dictionary = resource ? resource->asDictionary() : nullptr;
    if (const kq::Array* formats = dictionary ? dictionary->arrayValueForKey(kSkipDirectoryFiltersKey) : nullptr) {
        for (const kq::Value& format : *formats) {
            const std::string* text = format.asString();
            if (!text) continue;
            if (auto predicate = kq::Predicate::predicateWithFormat(*text)) filters.push_back(std::move(predicate));
        }
    }
    return kq::Predicate::orPredicateWithSubpredicates(std::move(filters));
}

/// A predicate that cannot be evaluated for a URL counts as not matching.
bool evaluates(const kq::Predicate& predicate, const kq::URL& url) {
    try {
        return predicate.evaluateWithObject(url);
    } catch (const kq::InvalidArgumentException&) {
        return false;
    }
}

}  // namespace

KQUApplicationsScanner::~KQUApplicationsScanner() {
    if (filesScanner_) filesScanner_->setDelegate(nullptr);
}

std::vector<kq::URL> KQUApplicationsScanner::sourceDirectories() {
    static kq::PerLayoutCache<std::vector<kq::URL>> byLayout;
    return byLayout.get([](const kq::FileSystemLayout& layout) {
        std::vector<kq::URL> folders;
        for (kq::SearchPathDirectory directory : kSourceFolders) {
            for (const std::string& path :
                 layout.pathsForDirectory(directory, kq::UserDomainMask | kq::LocalDomainMask)) {
                kq::URL url = kq::URL::fileURLWithPath(path, true);
                if (std::find(folders.begin(), folders.end(), url) == folders.end()) folders.push_back(std::move(url));
            }
        }
        return folders;
    });
}

const kq::PredicatePtr& KQUApplicationsScanner::skipDirectoryPredicate() {
    // A filter that does not parse throws out of the initialiser, so the next use tries (and throws) again.
    static const kq::PredicatePtr predicate = loadSkipDirectoryPredicate();
    return predicate;
}

KQUFilesScanner& KQUApplicationsScanner::filesScanner() {
    std::call_once(filesScannerOnce_, [this] {
        filesScanner_ = std::make_unique<KQUFilesScanner>(sourceDirectories());
        filesScanner_->setDelegate(static_cast<KQUFilesScannerDelegate*>(this));
        filesScanner_->setPredicate(applicationPredicate());
        runningFilesScanner_.store(filesScanner_.get());
    });
    return *filesScanner_;
}

void KQUApplicationsScanner::setDelegate(KQUScannerDelegate* delegate) {
    applicationsDelegate_ = dynamic_cast<KQUApplicationsScannerDelegate*>(delegate);
    KQUScanner::setDelegate(delegate);
}

void KQUApplicationsScanner::setDelegate(KQUApplicationsScannerDelegate* delegate) {
    applicationsDelegate_ = delegate;
    KQUScanner::setDelegate(delegate);
}

void KQUApplicationsScanner::stop() {
    if (KQUFilesScanner* walker = runningFilesScanner_.load()) walker->stop();
    KQUScanner::stop();
}

void KQUApplicationsScanner::performScan() {
    if (!shouldSkipSystemDirectories_) scanSystemDirectories();
    if (!shouldSkipSystemProfiler_ && !stopped()) scanSystemProfiler();
}

void KQUApplicationsScanner::scanSystemDirectories() {
    // The walker clears its own stop flag when it starts, so a stop that
    // arrived before it started is passed on by hand.
    KQUFilesScanner& walker = filesScanner();
    if (stopped()) return;
    walker.scan();
}

std::vector<std::string> KQUApplicationsScanner::systemProfilerApplicationPaths() const {
    auto paths = KQUSystemInformation::allApplicationsPathsWithSystemProfiler();
    std::vector<std::string> ordered(paths.begin(), paths.end());
    std::sort(ordered.begin(), ordered.end());
    return ordered;
}

void KQUApplicationsScanner::scanSystemProfiler() {
    const std::vector<std::string> paths = systemProfilerApplicationPaths();
    const double base = shouldSkipSystemDirectories_ ? 0.0 : kFilesScannerShare;
    const double span = 1.0 - base;
    const auto count = static_cast<double>(paths.size());
    for (std::size_t i = 0; i < paths.size(); ++i) {
        if (stopped()) return;
        if (applicationsDelegate_)
            applicationsDelegate_->applicationsScannerDidFindApplication(*this, kq::URL::fileURLWithPath(paths[i]));
        setProgress(base + static_cast<double>(i + 1) * span / count);
    }
}

bool KQUApplicationsScanner::matchesApplicationPredicate(const kq::URL& directory) const {
    const kq::PredicatePtr& predicate = filesScanner_ ? filesScanner_->predicate() : applicationPredicate();
    return predicate && evaluates(*predicate, directory);
}

void KQUApplicationsScanner::filesScannerDidFindItem(KQUFilesScanner&, const kq::URL& item, const kq::URL&) {
    if (applicationsDelegate_) applicationsDelegate_->applicationsScannerDidFindApplication(*this, item);
}

void KQUApplicationsScanner::filesScannerDidFindDirectory(KQUFilesScanner& scanner, const kq::URL& directory,
                                                          const kq::URL&) {
    // The item test comes after this call, so a skipped application is still reported.
    if (shouldSkipChildApplications_ && matchesApplicationPredicate(directory)) {
        scanner.skipDescendants();
        return;
    }
    if (evaluates(*skipDirectoryPredicate(), directory)) scanner.skipDescendants();
}

void KQUApplicationsScanner::scannerDidReachProgress(KQUScanner& scanner, double progress) {
    if (&scanner != filesScanner_.get()) return;
    setProgress(shouldSkipSystemProfiler_ ? progress : progress * kFilesScannerShare);
}
