#include "KQFoundation/KQUBrowserExtensionsScanner.h"

#include <condition_variable>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "BrowserExtensionSearchFolders.h"
#include "KQFoundation/NSFileManager+KQFoundation.h"
#include "KQFoundation/NSString+KQFoundation.h"
#include "KQFoundation/System/ArchiveExtractor.h"
#include "KQFoundation/System/DispatchQueue.h"
#include "KQFoundation/System/FileManager.h"

namespace {

using kq::URL;

// Asynchronous scans use the scanner from a worker, so a scanner being torn
// down waits for the scans it started. The count lives outside the object so
// that the header keeps no bookkeeping of its own.
struct PendingScans {
    std::mutex mutex;
    std::condition_variable finished;
    std::unordered_map<const void*, int> counts;
};

PendingScans& pendingScans() {
    static PendingScans* pending = new PendingScans;  // outlives scanners torn down at exit
    return *pending;
}

void beginPendingScan(const void* scanner) {
    PendingScans& pending = pendingScans();
    std::lock_guard lock(pending.mutex);
    ++pending.counts[scanner];
}

void endPendingScan(const void* scanner) {
    PendingScans& pending = pendingScans();
    std::lock_guard lock(pending.mutex);
    if (--pending.counts[scanner] <= 0) pending.counts.erase(scanner);
    pending.finished.notify_all();
}

// The scanner whose completion handler runs on this thread: a handler that
// tears its own scanner down must neither wait for itself nor be touched after.
thread_local const void* completingScanner = nullptr;
thread_local bool completingScannerDestroyed = false;

const char* defaultBrowserName(std::uint64_t type) {
    switch (type) {
        case KQUBrowserExtensionTypeSafari: return "Safari";
        case KQUBrowserExtensionTypeFirefox: return "Firefox";
        case KQUBrowserExtensionTypeChrome: return "Chrome";
        default: return "";
    }
}

std::string temporaryFolder() {
    const char* tmp = std::getenv("TMPDIR");
    if (tmp && tmp[0] == '/') return tmp;
    return "/tmp";
}

}  // namespace

KQUBrowserExtensionsScanner::KQUBrowserExtensionsScanner() = default;

KQUBrowserExtensionsScanner::~KQUBrowserExtensionsScanner() {
    PendingScans& pending = pendingScans();
    int own = 0;
    if (completingScanner == this) {
        completingScannerDestroyed = true;
        own = 1;  // the completion running on this thread cannot finish first
    }
    std::unique_lock lock(pending.mutex);
    pending.finished.wait(lock, [&] {
        auto it = pending.counts.find(this);
        return it == pending.counts.end() || it->second <= own;
    });
}

std::optional<std::vector<KQUBrowserExtension>> KQUBrowserExtensionsScanner::scanAllBrowserExtensions() {
    return scanBrowserExtensionsOfTypes(
        {KQUBrowserExtensionTypeSafari, KQUBrowserExtensionTypeChrome, KQUBrowserExtensionTypeFirefox});
}

std::optional<std::vector<KQUBrowserExtension>> KQUBrowserExtensionsScanner::scanBrowserExtensionsOfType(
    std::uint64_t type) {
    return scanBrowserExtensionsOfTypes({type});
}

std::optional<std::vector<KQUBrowserExtension>> KQUBrowserExtensionsScanner::scanBrowserExtensionsOfTypes(
    const std::vector<std::uint64_t>& types) {
    if (types.empty() || scanning_.exchange(true)) return std::nullopt;
    struct ClearScanning {
        std::atomic<bool>& flag;
        ~ClearScanning() { flag = false; }
    } clearScanning{scanning_};

    const kq::FileManager& fileManager = kq::FileManager::defaultManager();
    std::vector<KQUBrowserExtension> found;
    for (std::uint64_t type : types) {
        for (const kq::detail::BrowserSearchFolder& folder :
             kq::detail::browserSearchFolders(type, includesOtherBrowsers_)) {
            for (const std::string& name : fileManager.contentsOfDirectoryAtPath(folder.path)) {
                const URL item = URL::fileURLWithPath(folder.path + "/" + name);
                if (auto record = kq::detail::extensionOfType(*this, type, item, folder.browser))
                    found.push_back(std::move(*record));
                // The flag stays set: only the asynchronous completion clears it.
                if (cancelScanRequested_.load()) return found;
            }
        }
    }
    return found;
}

std::optional<KQUBrowserExtension> KQUBrowserExtensionsScanner::scanBrowserExtensionWithType(std::uint64_t type,
                                                                                             const URL& url) {
    if (isScanning()) return std::nullopt;
    return extensionOfType(type, url);
}

bool KQUBrowserExtensionsScanner::startScanAllBrowserExtensionsWithCompletionHandler(CompletionHandler handler) {
    if (isScanning()) return false;
    beginPendingScan(this);
    kq::DispatchQueue::globalQueue()->async([this, handler = std::move(handler)] {
        auto deliver = [this, handler](std::vector<KQUBrowserExtension> results) {
            completingScanner = this;
            completingScannerDestroyed = false;
            if (handler) handler(std::move(results), cancelScanRequested_.load(), nullptr);
            if (!completingScannerDestroyed) cancelScanRequested_ = false;
            completingScanner = nullptr;
            endPendingScan(this);
        };
        std::vector<KQUBrowserExtension> results = scanAllBrowserExtensions().value_or(std::vector<KQUBrowserExtension>{});
        if (auto queue = callbackQueue())
            queue->async([deliver, results = std::move(results)]() mutable { deliver(std::move(results)); });
        else
            deliver(std::move(results));
    });
    return true;
}

bool KQUBrowserExtensionsScanner::cancelScan() {
    if (!isScanning()) return false;
    cancelScanRequested_ = true;
    return true;
}

std::shared_ptr<kq::DispatchQueue> KQUBrowserExtensionsScanner::callbackQueue() const {
    std::lock_guard lock(callbackQueueMutex_);
    return callbackQueue_;
}

void KQUBrowserExtensionsScanner::setCallbackQueue(std::shared_ptr<kq::DispatchQueue> queue) {
    std::lock_guard lock(callbackQueueMutex_);
    if (queue != callbackQueue_) callbackQueue_ = std::move(queue);
}

std::vector<URL> KQUBrowserExtensionsScanner::searchURLsForBrowserExtensionOfType(std::uint64_t type) const {
    std::vector<URL> urls;
    for (const kq::detail::BrowserSearchFolder& folder : kq::detail::browserSearchFolders(type, includesOtherBrowsers_))
        urls.push_back(URL::fileURLWithPath(folder.path, true));
    return urls;
}

std::optional<KQUBrowserExtension> KQUBrowserExtensionsScanner::extensionOfType(std::uint64_t type, const URL& url) {
    // The browser is the one whose search folder holds the item; outside them
    // the type's own browser.
    std::string browser = defaultBrowserName(type);
    const std::string parent = url.URLByDeletingLastPathComponent().path();
    for (const kq::detail::BrowserSearchFolder& folder : kq::detail::browserSearchFolders(type, true)) {
        if (folder.path == parent) {
            browser = folder.browser;
            break;
        }
    }
    return kq::detail::extensionOfType(*this, type, url, browser);
}

std::optional<URL> KQUBrowserExtensionsScanner::unpackedExtensionURLForArchiveAtURL(const URL& archive,
                                                                                   std::uint64_t unarchiverType) const {
    kq::ArchiveFormat format;
    switch (unarchiverType) {
        case KQUExtensionUnarchiverTypeXar: format = kq::ArchiveFormat::Xar; break;
        case KQUExtensionUnarchiverTypeZip: format = kq::ArchiveFormat::Zip; break;
        default: return std::nullopt;
    }
    const kq::FileManager& fileManager = kq::FileManager::defaultManager();
    const std::string folder = temporaryFolder() + "/" + kq::stringWithUUID();
    if (!fileManager.createDirectoryAtPath(folder, true)) return std::nullopt;
    if (kq::extractArchive(archive.path(), folder, format)) {
        fileManager.removeItemAtPath(folder);
        return std::nullopt;
    }
    return URL::fileURLWithPath(folder, true);
}

namespace kq::detail {

std::optional<KQUBrowserExtension> extensionOfType(KQUBrowserExtensionsScanner& scanner, std::uint64_t type,
                                                   const URL& url, std::string_view browser) {
    Dictionary dictionary;
    dictionary.setObject(kKQUBrowserExtensionTypeKey, Value(type));
    dictionary.setObject(kKQUBrowserExtensionURLKey, Value(url));
    Dictionary found;
    switch (type) {
        case KQUBrowserExtensionTypeSafari: found = scanner.safariExtensionDictionaryWithURL(url); break;
        case KQUBrowserExtensionTypeFirefox: found = scanner.firefoxExtensionDictionaryWithURL(url); break;
        case KQUBrowserExtensionTypeChrome: found = scanner.chromeExtensionDictionaryWithURL(url); break;
        default: break;
    }
    found.forEach([&](const std::string& key, const Value& value) { dictionary.setObject(key, value); });
    if (!browser.empty()) dictionary.setObject(kKQUBrowserExtensionBrowserKey, Value(browser));
    return KQUBrowserExtension::create(dictionary);
}

}  // namespace kq::detail
