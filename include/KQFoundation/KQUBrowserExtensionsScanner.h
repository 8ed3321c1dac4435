#pragma once
// KQUBrowserExtensionsScanner: finds the current user's Safari, Chrome and
// Firefox extensions and returns them as KQUBrowserExtension records. Every
// folder is found through the current file-system layout, so a Mac tree
// (--root/--home) and the Linux host's own profiles are both scanned.
//
// Each item is first gathered as a kq::Dictionary under the record's keys
// (the icon as kq::Image::propertyList()) and then made a record; items that
// give no name are dropped. Nothing is reported: missing folders, unreadable
// or malformed files and failed unpacking give fewer keys.
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <unordered_map>
#include <vector>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/URL.h"
#include "KQFoundation/Foundation/Value.h"
#include "KQFoundation/KQUBrowserExtension.h"

namespace kq {
class DispatchQueue;
}

/// How an extension archive is unpacked: 0 xar (Safari), 1 zip (Firefox).
enum KQUExtensionUnarchiverType : std::uint64_t {
    KQUExtensionUnarchiverTypeXar = 0,
    KQUExtensionUnarchiverTypeZip = 1,
};

class KQ_EXPORT KQUBrowserExtensionsScanner {
public:
    /// The asynchronous completion: the records, whether a cancel was asked
    /// for, and an error slot that is always empty.
    using CompletionHandler =
        std::function<void(std::vector<KQUBrowserExtension> extensions, bool cancelled, const std::error_code* error)>;

    KQUBrowserExtensionsScanner();
    ~KQUBrowserExtensionsScanner();
    KQUBrowserExtensionsScanner(const KQUBrowserExtensionsScanner&) = delete;
    KQUBrowserExtensionsScanner& operator=(const KQUBrowserExtensionsScanner&) = delete;

    // ---- Driver (KQUBrowserExtensionsScanner.cpp) ----
    /// Safari, Chrome, Firefox in that order.
    std::optional<std::vector<KQUBrowserExtension>> scanAllBrowserExtensions();
    std::optional<std::vector<KQUBrowserExtension>> scanBrowserExtensionsOfType(std::uint64_t type);
    /// nullopt while a scan runs or when the list is empty.
    std::optional<std::vector<KQUBrowserExtension>> scanBrowserExtensionsOfTypes(const std::vector<std::uint64_t>& types);
    /// One item; nullopt while a scan runs.
    std::optional<KQUBrowserExtension> scanBrowserExtensionWithType(std::uint64_t type, const kq::URL& url);
    /// false while a scan runs; otherwise scans on the global queue and calls
    /// the handler on callbackQueue() (or on that worker when none is set).
    bool startScanAllBrowserExtensionsWithCompletionHandler(CompletionHandler handler);
    /// false when not scanning; otherwise asks the running scan to stop.
    bool cancelScan();
    bool isScanning() const { return scanning_.load(); }
    bool cancelScanRequested() const { return cancelScanRequested_.load(); }
    std::shared_ptr<kq::DispatchQueue> callbackQueue() const;
    void setCallbackQueue(std::shared_ptr<kq::DispatchQueue> queue);

    /// Where the items of a browser lie, in search order.
    std::vector<kq::URL> searchURLsForBrowserExtensionOfType(std::uint64_t type) const;
    /// One record for the item, or nullopt when it gives no name.
    std::optional<KQUBrowserExtension> extensionOfType(std::uint64_t type, const kq::URL& url);
    /// Unpacks into a fresh folder below the temporary folder; nullopt on
    /// failure (nothing left behind). The caller removes the folder.
    std::optional<kq::URL> unpackedExtensionURLForArchiveAtURL(const kq::URL& archive, std::uint64_t unarchiverType) const;

    /// Off by default: the other Chromium browsers (Chrome Beta/Dev/Canary,
    /// Chromium, Brave, Edge, Vivaldi, Opera) as further Chrome rows, and
    /// Firefox's snap and flatpak folders. Records carry the browser's name
    /// under kKQUBrowserExtensionBrowserKey either way.
    bool includesOtherBrowsers() const { return includesOtherBrowsers_; }
    void setIncludesOtherBrowsers(bool include) { includesOtherBrowsers_ = include; }

    // ---- Safari (KQUBrowserExtensionsScanner+Safari.cpp) ----
    kq::Dictionary safariExtensionDictionaryWithURL(const kq::URL& url) const;

    // ---- Chrome (KQUBrowserExtensionsScanner+Chrome.cpp) ----
    kq::Dictionary chromeExtensionDictionaryWithURL(const kq::URL& url);
    kq::Dictionary parseChromeExtensionVersionAtURL(const kq::URL& url) const;
    kq::Dictionary parseChromeExtensionManifestAtURL(const kq::URL& url) const;
    /// The extension's settings from its profile's preferences (read once per
    /// profile and kept), or nullptr.
    const kq::Dictionary* preferencesOfChromeExtensionWithURL(const kq::URL& url);
    kq::Dictionary parseChromeExtensionPreferencesAtURL(const kq::URL& url);
    kq::Dictionary searchForLeftoversWithExtensionURL(const kq::URL& url) const;
    /// Profile folder path -> (extension folder path -> settings).
    using ChromePreferencesCache = std::unordered_map<std::string, std::unordered_map<std::string, kq::Dictionary>>;
    const ChromePreferencesCache& preferencesByChromeUser() const { return preferencesByChromeUser_; }
    /// How many preference files were parsed (each profile's once per scanner).
    std::size_t chromePreferencesReadCount() const { return chromePreferencesReadCount_; }

    // ---- Firefox (KQUBrowserExtensionsScanner+Firefox.cpp) ----
    kq::Dictionary firefoxExtensionDictionaryWithURL(const kq::URL& url) const;
    /// package.json, else manifest.json of the folder (spelled so).
    std::optional<kq::Dictionary> preferenecesDictionaryFirefoxExtensionAtURL(const kq::URL& url) const;

private:
    std::atomic<bool> scanning_{false};
    std::atomic<bool> cancelScanRequested_{false};
    bool includesOtherBrowsers_ = false;
    mutable std::mutex callbackQueueMutex_;
    std::shared_ptr<kq::DispatchQueue> callbackQueue_;
    ChromePreferencesCache preferencesByChromeUser_;
    std::size_t chromePreferencesReadCount_ = 0;
};
