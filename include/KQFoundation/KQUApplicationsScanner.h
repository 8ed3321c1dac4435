#pragma once
// KQUApplicationsScanner: finds the application bundles on the machine from
// two sources and reports each one to its delegate as soon as it is found:
//
// 1. a walk of the user's and the machine's Documents, Applications, Movies,
//    Pictures, Music, Downloads, Desktop and Public folders (through the
//    current file-system layout) for entries whose path ends in ".app"; the
//    folders named by the "SkipDirectoryFilters" of the "ApplicationsScanner"
//    resource (predicates on the folder's URL) are not entered;
// 2. the system profiler's list of applications.
//
// Progress runs 0 ... 0.9 over the walk and 0.9 ... 1 over the profiler list
// when both run, 0 ... 1 for whichever runs alone. Nothing is de-duplicated:
// an application in a walked folder that the profiler lists too is reported
// twice; receivers that need unique applications collapse them themselves.
#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "KQFoundation/Export.h"
#include "KQFoundation/KQUFilesScanner.h"
#include "KQFoundation/KQUScanner.h"
#include "KQFoundation/KQUScannerDelegate.h"
#include "KQFoundation/Predicate/Predicate.h"
#include "KQFoundation/Foundation/URL.h"

class KQ_EXPORT KQUApplicationsScanner : public KQUScanner, public KQUFilesScannerDelegate {
public:
    KQUApplicationsScanner() = default;
    ~KQUApplicationsScanner() override;
    KQUApplicationsScanner(const KQUApplicationsScanner&) = delete;
    KQUApplicationsScanner& operator=(const KQUApplicationsScanner&) = delete;

    /// The folder walker over sourceDirectories() with the predicate
    /// "path ENDSWITH[c] '.app'", this scanner as its delegate; created on
    /// first use. It walks everything, packages included.
    KQUFilesScanner& filesScanner();

    /// Do not walk the folders.
    bool shouldSkipSystemDirectories() const { return shouldSkipSystemDirectories_; }
    void setShouldSkipSystemDirectories(bool skip) { shouldSkipSystemDirectories_ = skip; }
    /// Do not look inside a found ".app" for further applications.
    bool shouldSkipChildApplications() const { return shouldSkipChildApplications_; }
    void setShouldSkipChildApplications(bool skip) { shouldSkipChildApplications_ = skip; }
    /// Do not ask the system profiler.
    bool shouldSkipSystemProfiler() const { return shouldSkipSystemProfiler_; }
    void setShouldSkipSystemProfiler(bool skip) { shouldSkipSystemProfiler_ = skip; }

    KQUApplicationsScannerDelegate* delegate() const { return applicationsDelegate_; }
    /// A delegate that does not adopt KQUApplicationsScannerDelegate hears
    /// only the KQUScannerDelegate calls.
    void setDelegate(KQUScannerDelegate* delegate) override;
    void setDelegate(KQUApplicationsScannerDelegate* delegate);
    void setDelegate(std::nullptr_t) { setDelegate(static_cast<KQUApplicationsScannerDelegate*>(nullptr)); }

    /// Stops the folder walk first, then this scanner.
    void stop() override;

    /// Runs the folder walk.
    void scanSystemDirectories();
    /// Reports the profiler's applications.
    void scanSystemProfiler();

    /// The walked folders: the eight search-path folders in the user and the
    /// local domain, in that order, duplicates left out (missing folders are
    /// kept and walk empty). Built once per file-system layout.
    static std::vector<kq::URL> sourceDirectories();
    /// The OR of the resource's "SkipDirectoryFilters", parsed once per
    /// process; matches nothing when the resource is missing. Throws
    /// kq::InvalidArgumentException for a filter that does not parse.
    static const kq::PredicatePtr& skipDirectoryPredicate();

    // KQUFilesScannerDelegate, for the folder walk.
    void filesScannerDidFindItem(KQUFilesScanner& scanner, const kq::URL& item,
                                 const kq::URL& sourceDirectory) override;
    void filesScannerDidFindDirectory(KQUFilesScanner& scanner, const kq::URL& directory,
                                      const kq::URL& sourceDirectory) override;
    bool respondsToFilesScannerDidFindDirectory() const override { return true; }
    void scannerDidReachProgress(KQUScanner& scanner, double progress) override;

protected:
    void performScan() override;
    /// The profiler's application paths, in the order they are reported
    /// (KQUSystemInformation::allApplicationsPathsWithSystemProfiler, sorted).
    virtual std::vector<std::string> systemProfilerApplicationPaths() const;

private:
    bool matchesApplicationPredicate(const kq::URL& directory) const;

    std::unique_ptr<KQUFilesScanner> filesScanner_;
    std::once_flag filesScannerOnce_;
    // What stop() may read from another thread while a scan creates the walker.
    std::atomic<KQUFilesScanner*> runningFilesScanner_{nullptr};
    bool shouldSkipSystemDirectories_ = false;
    bool shouldSkipChildApplications_ = false;
    bool shouldSkipSystemProfiler_ = false;
    KQUApplicationsScannerDelegate* applicationsDelegate_ = nullptr;
};
