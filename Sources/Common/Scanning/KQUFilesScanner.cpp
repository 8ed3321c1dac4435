#include "KQFoundation/KQUFilesScanner.h"

#include <unordered_set>

#include "KQFoundation/Foundation/Exceptions.h"
#include "KQFoundation/Foundation/Log.h"
#include "KQFoundation/System/Workspace.h"

struct KQUFilesScanner::Walk {
    const kq::URL& sourceDirectory;
    const kq::Predicate* predicate;
    const kq::FileManager& fileManager;
    const kq::Workspace& workspace;
};

namespace {

/// "Exists and is a directory", following symbolic links. The listing's own
/// type answers for everything but links, which need the file system.
bool isExistingDirectory(const kq::FileManager& fileManager, const std::string& path,
                         std::optional<kq::FileType> listedType) {
    if (listedType) {
        switch (*listedType) {
            case kq::FileType::Directory:
                return true;
            case kq::FileType::Regular:
            case kq::FileType::Other:
                return false;
            case kq::FileType::SymbolicLink:
                break;
        }
    }
    bool isDirectory = false;
    return fileManager.fileExistsAtPath(path, isDirectory) && isDirectory;
}

/// Clears the scanner's enumerator however the walk of a folder ends.
struct EnumeratorReset {
    kq::DirectoryEnumerator*& slot;
    ~EnumeratorReset() { slot = nullptr; }
};

}  // namespace

std::unique_ptr<KQUFilesScanner> KQUFilesScanner::create(std::optional<std::vector<kq::URL>> sourceDirectories) {
    if (!sourceDirectories) return nullptr;
    return std::make_unique<KQUFilesScanner>(std::move(*sourceDirectories));
}

KQUFilesScanner::KQUFilesScanner(std::vector<kq::URL> sourceDirectories) {
    std::unordered_set<kq::URL> seen;
    for (kq::URL& url : sourceDirectories)
        if (seen.insert(url).second) sourceDirectories_.push_back(std::move(url));
}

void KQUFilesScanner::setDelegate(KQUScannerDelegate* delegate) {
    filesDelegate_ = dynamic_cast<KQUFilesScannerDelegate*>(delegate);
    KQUScanner::setDelegate(delegate);
}

void KQUFilesScanner::setDelegate(KQUFilesScannerDelegate* delegate) {
    filesDelegate_ = delegate;
    KQUScanner::setDelegate(delegate);
}

void KQUFilesScanner::skipDescendants() {
    if (directoryEnumerator_) directoryEnumerator_->skipDescendants();
}

void KQUFilesScanner::performScan() {
    setProgress(0.0);
    const std::size_t count = sourceDirectories_.size();
    for (std::size_t i = 0; i < count; ++i) {
        if (stopped()) return;
        scanDirectoryWithURL(sourceDirectories_[i]);
        setProgress(static_cast<double>(i + 1) / static_cast<double>(count));
    }
}

void KQUFilesScanner::scanDirectoryWithURL(const kq::URL& sourceDirectory) {
    const kq::FileManager& fileManager = kq::FileManager::defaultManager();
    // Hold the predicate for the whole folder: the delegate may replace it meanwhile.
    const kq::PredicatePtr predicate = predicate_;
    const Walk walk{sourceDirectory, predicate.get(), fileManager, kq::Workspace::sharedWorkspace()};

    const std::string rootPath = sourceDirectory.path();
    // One buffer for every entry's path; only the part after the root changes.
    std::string path = rootPath;
    if (path.empty() || path.back() != '/') path += '/';
    const std::size_t prefixLength = path.size();

    if (skipSubdirectoryDescendants_) {
        for (const std::string& name : fileManager.contentsOfDirectoryAtPath(rootPath)) {
            if (stopped()) break;
            path.resize(prefixLength);
            path += name;
            visitEntry(walk, path, std::nullopt);
        }
        return;
    }

    std::unique_ptr<kq::DirectoryEnumerator> enumerator = fileManager.enumeratorAtPath(rootPath);
    if (!enumerator) return;
    directoryEnumerator_ = enumerator.get();
    const EnumeratorReset reset{directoryEnumerator_};
    while (!stopped()) {
        std::optional<std::string> relative = enumerator->nextObject();
        if (!relative) break;
        path.resize(prefixLength);
        path += *relative;
        visitEntry(walk, path, enumerator->currentEntryType());
    }
}

void KQUFilesScanner::visitEntry(const Walk& walk, const std::string& path,
                                 std::optional<kq::FileType> listedType) {
    bool hidden = false;
    if (skipHiddenFiles_) {
        const std::optional<kq::FileAttributes> attributes = walk.fileManager.attributesOfItemAtPath(path);
        hidden = attributes && attributes->fileExtensionHidden;
    }
    const bool isDirectory = isExistingDirectory(walk.fileManager, path, listedType);

    if (!hidden) {
        const kq::URL item = kq::URL::fileURLWithPath(path, isDirectory);
        if (isDirectory && filesDelegate_ && filesDelegate_->respondsToFilesScannerDidFindDirectory())
            filesDelegate_->filesScannerDidFindDirectory(*this, item, walk.sourceDirectory);
        // A non-matching entry is not pruned: a package or hidden folder that
        // failed the test may still hold matches.
        if (walk.predicate && !matches(*walk.predicate, item)) return;
        if (filesDelegate_) filesDelegate_->filesScannerDidFindItem(*this, item, walk.sourceDirectory);
    }

    // Only folders can be packages, so files never pay for the package test.
    if (skipPackageDescendants_ && isDirectory && walk.workspace.isFilePackageAtPath(path))
        skipDescendants();
    else if (isDirectory && hidden)
        skipDescendants();
}

bool KQUFilesScanner::matches(const kq::Predicate& predicate, const kq::URL& item) const {
    try {
        return predicate.evaluateWithObject(item);
    } catch (const kq::Exception& exception) {
        // A key path a file URL lacks is one entry's problem, not the walk's.
        if (exception.name() != kq::kInvalidArgumentExceptionName) throw;
        kq::log("Exception catched: %@", exception);
        return false;
    }
}
