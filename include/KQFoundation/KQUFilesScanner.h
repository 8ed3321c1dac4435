#pragma once
// KQUFilesScanner: walks a set of folders depth first, tests every entry's
// file URL against an optional predicate and reports the matches (and every
// folder met, to delegates that ask for folders). Composite scanners steer
// the walk from their callbacks with skipDescendants().
//
// Memory stays flat whatever the size of the tree: nothing is collected, and
// the walker keeps only the folders on the current path.
#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

#include "KQFoundation/Export.h"
#include "KQFoundation/KQUScanner.h"
#include "KQFoundation/System/FileManager.h"
#include "KQFoundation/Predicate/Predicate.h"
#include "KQFoundation/Foundation/URL.h"

class KQ_EXPORT KQUFilesScanner : public KQUScanner {
public:
    /// nullptr when there is no set of folders; an empty set scans nothing.
    static std::unique_ptr<KQUFilesScanner> create(std::optional<std::vector<kq::URL>> sourceDirectories);
    /// Duplicate folders collapse.
    explicit KQUFilesScanner(std::vector<kq::URL> sourceDirectories);

    const std::vector<kq::URL>& sourceDirectories() const { return sourceDirectories_; }

    /// Read once per folder: a change during a walk takes effect at the next folder.
    const kq::PredicatePtr& predicate() const { return predicate_; }
    void setPredicate(kq::PredicatePtr predicate) { predicate_ = std::move(predicate); }

    /// List only the direct children of each folder.
    bool skipSubdirectoryDescendants() const { return skipSubdirectoryDescendants_; }
    void setSkipSubdirectoryDescendants(bool skip) { skipSubdirectoryDescendants_ = skip; }
    /// Do not enter file packages that matched the predicate (or were hidden).
    bool skipPackageDescendants() const { return skipPackageDescendants_; }
    void setSkipPackageDescendants(bool skip) { skipPackageDescendants_ = skip; }
    /// Ignore entries whose extension-hidden flag is set (not dot files).
    bool skipHiddenFiles() const { return skipHiddenFiles_; }
    void setSkipHiddenFiles(bool skip) { skipHiddenFiles_ = skip; }

    /// The running recursive walk; nullptr outside a walk and for shallow listings.
    kq::DirectoryEnumerator* directoryEnumerator() const { return directoryEnumerator_; }

    KQUFilesScannerDelegate* delegate() const { return filesDelegate_; }
    /// A delegate that does not adopt KQUFilesScannerDelegate hears only the
    /// KQUScannerDelegate calls.
    void setDelegate(KQUScannerDelegate* delegate) override;
    void setDelegate(KQUFilesScannerDelegate* delegate);
    void setDelegate(std::nullptr_t) { setDelegate(static_cast<KQUFilesScannerDelegate*>(nullptr)); }

    /// Do not enter the entry the walk returned last. Meant for the
    /// delegate's callbacks; does nothing outside a recursive walk.
    void skipDescendants();

    /// Walks one folder; performScan calls it for each source folder.
    void scanDirectoryWithURL(const kq::URL& sourceDirectory);

protected:
    /// Walks every folder; progress advances by 1/n per finished folder.
    void performScan() override;

private:
    struct Walk;
    /// Tests, reports and prunes one entry. `listedType` is the type the
    /// listing gave, when it gave one.
    void visitEntry(const Walk& walk, const std::string& path, std::optional<kq::FileType> listedType);
    bool matches(const kq::Predicate& predicate, const kq::URL& item) const;

    std::vector<kq::URL> sourceDirectories_;
    kq::PredicatePtr predicate_;
    bool skipSubdirectoryDescendants_ = false;
    bool skipPackageDescendants_ = false;
    bool skipHiddenFiles_ = false;
    kq::DirectoryEnumerator* directoryEnumerator_ = nullptr;
    KQUFilesScannerDelegate* filesDelegate_ = nullptr;
};
