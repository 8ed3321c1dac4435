#pragma once
// KQULeftoversScanner: finds what removed applications left behind. It runs
// one files scanner per entry of the leftovers knowledge base (a property
// list: leftover type, folders, filters) and forwards every match with the
// entry's type. The "InstalledApplicationIdentifiers" filters keep out what
// belongs to the applications it was given, by bundle identifier.
//
// Progress has two equal halves: collecting the installed identifiers (only
// when some filter needs them; its last report is (n - 1) / n, never 1) and
// the child scans. Without identifier filters a scan therefore ends at 0.5.
//
// Knowledge-base document (an array of entries, scanned in order):
//   { "Type": string (entries without one are ignored),
//     "SourceDirectories": [ "~/Library/Caches", "/Library/Caches" ]  (through the layout),
//     "Filters": [ { "Type": "Predicate" | "InstalledApplicationIdentifiers" |
//                            "InstalledApplicationNames" | "InstalledApplicationVendors",
//                    "Params": { "Format": string, "Variables": dictionary } } ],  (all must pass)
//     "SkipSubdirectoryDescendants": bool,
//     "MatchBundleIdentifier": bool }  (filters see a bundle as named by its identifier)
// A "*" component of a source folder stands for every folder there.
// Folders are written absolute ("/Library/...", resolved under the layout's
// root) or from the home ("~/..."); relative folders and folders that reach
// outside the root and the home ("/../..") are skipped with a log line.
// Installed identifiers that cannot name an application (empty, no dot) are
// left out with a log line: "NOT (lastPathComponent BEGINSWITH[c] '')" would
// keep everything.
//
// What the knowledge base reports then goes through a second pass,
// KQULeftoversProtection, which keeps what still belongs to installed
// software (launch jobs whose program exists, preference panes, Homebrew
// services, container metadata, vendor-wide names); see its header.
#include <atomic>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "KQFoundation/Export.h"
#include "KQFoundation/KQUFilesScanner.h"
#include "KQFoundation/KQULeftoverTypes.h"
#include "KQFoundation/KQULeftoversProtection.h"
#include "KQFoundation/KQUScanner.h"
#include "KQFoundation/Predicate/Predicate.h"
#include "KQFoundation/Foundation/Value.h"

/// Why an item was reported: the knowledge-base entry and the filters it passed.
struct KQ_EXPORT KQULeftoverReason {
    std::size_t entryIndex = 0;   // position of the entry in the document, from 0
    std::string type;             // the entry's "Type"
    std::string sourceDirectory;  // the entry's folder that holds the item, as written
    std::vector<std::string> filters;  // the formats the item passed, "%@" shown as <installed identifier>
    std::string application;      // the bundle identifier the item most likely belongs to
    /// One line: "entry 3 (Caches in ~/Library/Caches): FORMAT AND FORMAT".
    std::string description() const;
};

class KQ_EXPORT KQULeftoversScanner : public KQUScanner, public KQUFilesScannerDelegate {
public:
    /// nullptr when there is no set of applications. Without a knowledge base
    /// the built-in "LeftoversScanners" resource is used.
    static std::unique_ptr<KQULeftoversScanner> create(std::optional<std::vector<kq::URL>> installedApplications);
    static std::unique_ptr<KQULeftoversScanner> create(std::optional<std::vector<kq::URL>> installedApplications,
                                                       std::optional<kq::Array> knowledgeBase);
    explicit KQULeftoversScanner(std::vector<kq::URL> installedApplications,
                                 std::optional<kq::Array> knowledgeBase = std::nullopt);
    ~KQULeftoversScanner() override;

    /// The document given at creation; nullopt means the built-in one.
    const std::optional<kq::Array>& knowledgeBase() const { return knowledgeBase_; }
    /// Application bundles, duplicates collapsed.
    const std::vector<kq::URL>& installedApplications() const { return installedApplications_; }

    /// Bundle identifiers of the installed applications, collected on first
    /// call (reporting progress) and kept for the life of the scanner.
    const std::vector<std::string>& installedApplicationIdentifiers();
    /// Names the installed applications go by (bundle name without ".app",
    /// CFBundleName, CFBundleExecutable): crash reports are named after them.
    /// Collected with the identifiers.
    const std::vector<std::string>& installedApplicationNames();
    /// The vendor part ("com.example.") of every installed identifier of three
    /// or more components.
    std::vector<std::string> installedApplicationVendors();
    /// One files scanner per usable knowledge-base entry, in document order;
    /// built on first call and kept. Throws kq::InvalidArgumentException for
    /// a filter format that does not parse, and when there is no knowledge
    /// base and the built-in resource is missing.
    const std::vector<std::unique_ptr<KQUFilesScanner>>& scanners();

    /// Why the item being reported was found; valid (non-null) only during
    /// leftoversScannerDidFindItem.
    const KQULeftoverReason* currentReason() const { return currentReason_; }

    /// The second pass over what the knowledge base finds (on by default).
    bool protectsInstalledSoftware() const { return protectsInstalledSoftware_; }
    void setProtectsInstalledSoftware(bool protects) { protectsInstalledSoftware_ = protects; }

    /// The child scanner now running, nullptr between child scans.
    KQUFilesScanner* activeScanner() const { return activeScanner_.load(); }
    void setActiveScanner(KQUFilesScanner* scanner) { activeScanner_.store(scanner); }

    double scannersProgress() const { return scannersProgress_; }
    void setScannersProgress(double progress) { scannersProgress_ = progress; }
    double bundlesCollectorProgress() const { return bundlesCollectorProgress_; }
    void setBundlesCollectorProgress(double progress) { bundlesCollectorProgress_ = progress; }

    KQULeftoversScannerDelegate* delegate() const { return leftoversDelegate_; }
    void setDelegate(KQUScannerDelegate* delegate) override;
    void setDelegate(KQULeftoversScannerDelegate* delegate);
    void setDelegate(std::nullptr_t) { setDelegate(static_cast<KQULeftoversScannerDelegate*>(nullptr)); }

    /// Stops the running child, then this scanner; later children never start.
    void stop() override;

    // Filters of the knowledge base, turned into predicates (nullptr: none).
    /// "Predicate" or "InstalledApplicationIdentifiers"; any other type gives
    /// nullptr. Subclasses may add filter types.
    virtual kq::PredicatePtr filterWithType(std::string_view type, const kq::Dictionary& params);
    /// "Format" parsed without arguments, then "Variables" substituted.
    kq::PredicatePtr predicateFilterWithParams(const kq::Dictionary& params);
    /// The AND of "Format" applied to each installed identifier (escaped for
    /// LIKE when the format holds "LIKE[c] %@"); passes everything when no
    /// identifiers are installed.
    kq::PredicatePtr installedApplicationIdentifiersFilterWithParams(const kq::Dictionary& params);
    /// The same over the installed applications' names and vendors.
    kq::PredicatePtr installedApplicationNamesFilterWithParams(const kq::Dictionary& params);
    kq::PredicatePtr installedApplicationVendorsFilterWithParams(const kq::Dictionary& params);

    /// Sets progress to the mean of the two phases.
    void updateProgress();

    // As the delegate of the child scanners.
    void filesScannerDidFindItem(KQUFilesScanner& scanner, const kq::URL& item,
                                 const kq::URL& sourceDirectory) override;
    void scannerDidReachProgress(KQUScanner& scanner, double progress) override;
    void scannerWillStart(KQUScanner& scanner) override;

protected:
    void performScan() override;

private:
    const std::vector<std::string>& collectIdentifiers(bool reportProgress);
    std::size_t indexOfScanner(const KQUScanner& scanner) const;

    std::optional<kq::Array> knowledgeBase_;
    std::vector<kq::URL> installedApplications_;
    std::optional<std::vector<std::string>> installedApplicationIdentifiers_;
    std::vector<std::string> installedApplicationNames_;
    std::optional<std::vector<std::unique_ptr<KQUFilesScanner>>> scanners_;
    struct EntryInfo {
        KQULeftoverReason reason;  // without sourceDirectory and application
        std::vector<std::pair<std::string, std::string>> folders;  // resolved path, as written
    };
    std::vector<EntryInfo> entries_;  // parallel to scanners_
    std::vector<KQULeftoversProtection::VendorNames> vendorNames_;  // read with the scanners
    std::unique_ptr<KQULeftoversProtection> protection_;
    bool protectsInstalledSoftware_ = true;
    const KQULeftoverReason* currentReason_ = nullptr;
    std::atomic<KQUFilesScanner*> activeScanner_{nullptr};
    double scannersProgress_ = 0.0;
    double bundlesCollectorProgress_ = 0.0;
    KQULeftoversScannerDelegate* leftoversDelegate_ = nullptr;
};
