#pragma once
// KQUBrowserExtension and KQUBrowserExtentionPermissionsInfo (spelled so):
// the immutable records of one installed browser extension and what it may
// touch. The scanner fills a kq::Dictionary under the keys below and makes a
// record of it.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/URL.h"
#include "KQFoundation/Foundation/Value.h"
#include "KQFoundation/Graphics/Image.h"

/// The browser whose folder held the extension.
enum KQUBrowserExtensionType : std::uint64_t {
    KQUBrowserExtensionTypeSafari = 1,
    KQUBrowserExtensionTypeFirefox = 2,
    KQUBrowserExtensionTypeChrome = 3,
};

/// Where the extension came from (stored under kKQUBrowserExtensionSourceType).
enum KQUBrowserExtensionSourceKind : std::uint64_t {
    KQUBrowserExtensionSourceKindUnknown = 0,
    KQUBrowserExtensionSourceKindDefault = 1,
    KQUBrowserExtensionSourceKindStore = 2,
    KQUBrowserExtensionSourceKindApplicationWide = 3,
};

/// Bits of the APIs an extension uses (Chrome's permission list only). 1 and
/// 32 are never produced; "identity" and "cookies" share 64. Stored archives
/// carry the raw integer, so the values never change.
enum KQUBrowserExtensionAPIUsage : std::uint64_t {
    KQUBrowserExtensionAPIUsageAlarms = 2,
    KQUBrowserExtensionAPIUsageNotifications = 4,
    KQUBrowserExtensionAPIUsageContextMenus = 8,
    KQUBrowserExtensionAPIUsageStorage = 16,
    KQUBrowserExtensionAPIUsageIdentity = 64,
};

// Keys of the dictionary a record is made from.
extern KQ_EXPORT const char* const kKQUBrowserExtensionTypeKey;             // "type"
extern KQ_EXPORT const char* const kKQUBrowserExtensionNameKey;             // "name"
extern KQ_EXPORT const char* const kKQUBrowserExtensionVersionKey;          // "version"
extern KQ_EXPORT const char* const kKQUBrowserExtensionURLKey;              // "URL"
extern KQ_EXPORT const char* const kKQUBrowserExtensionLeftoversKey;        // "leftovers"
extern KQ_EXPORT const char* const kKQUBrowserExtensionSizeKey;             // "size"
extern KQ_EXPORT const char* const kKQUBrowserExtensionIconKey;             // "icon"
extern KQ_EXPORT const char* const kKQUBrowserExtensionSourceType;          // "sourceType"
extern KQ_EXPORT const char* const kKQUBrowserExtensionPermissionsInfoKey;  // "permissionsInfo"
/// The name of the browser whose folder held the extension ("Chrome", "Brave"...).
extern KQ_EXPORT const char* const kKQUBrowserExtensionBrowserKey;          // "browser"

/// What an extension may touch.
class KQ_EXPORT KQUBrowserExtentionPermissionsInfo {
public:
    KQUBrowserExtentionPermissionsInfo() = default;
    /// From a browser's raw permission data: Safari's "Website Access"
    /// (type 1), Chrome's "api" and "explicit_host" lists (type 3); any other
    /// type gives the empty record.
    KQUBrowserExtentionPermissionsInfo(const kq::Dictionary* dictionary, std::uint64_t type);
    /// The API bits of a Chrome "api" list.
    static std::uint64_t APIOptionsWithChromeArray(const kq::Array& array);

    bool hasAccessToAllWebsites() const { return hasAccessToAllWebsites_; }
    void setHasAccessToAllWebsites(bool value) { hasAccessToAllWebsites_ = value; }
    /// Safari: the "Allowed Domains" strings; Chrome: URLs of the host
    /// patterns (as strings); nullopt when all sites are allowed or none given.
    const std::optional<kq::Array>& accessibleWebsites() const { return accessibleWebsites_; }
    std::uint64_t APIUsage() const { return APIUsage_; }

    /// The keyed archive form ("APIUsage", "accessibleWebsites", "hasAccessToAllWebsites").
    kq::Dictionary encodeWithCoder() const;
    static std::optional<KQUBrowserExtentionPermissionsInfo> initWithCoder(const kq::Dictionary& archive);

    friend bool operator==(const KQUBrowserExtentionPermissionsInfo&, const KQUBrowserExtentionPermissionsInfo&) = default;

private:
    bool hasAccessToAllWebsites_ = false;
    std::optional<kq::Array> accessibleWebsites_;
    std::uint64_t APIUsage_ = 0;
};

/// One installed extension.
class KQ_EXPORT KQUBrowserExtension {
public:
    /// A record from the scanner's dictionary; nullopt without a "name".
    static std::optional<KQUBrowserExtension> create(const kq::Dictionary& dictionary);

    std::uint64_t type() const { return type_; }
    std::uint64_t sourceType() const { return sourceType_; }
    const std::string& name() const { return name_; }
    /// Never filled (the scanner writes "version" but the record ignores it).
    const std::optional<std::string>& version() const { return version_; }
    const std::optional<kq::URL>& URL() const { return URL_; }
    /// nullopt for none (an empty list is archived as none).
    const std::optional<std::vector<kq::URL>>& leftovers() const { return leftovers_; }
    std::uint64_t size() const { return size_; }
    const std::optional<kq::Image>& icon() const { return icon_; }
    const KQUBrowserExtentionPermissionsInfo& permissionsInfo() const { return permissionsInfo_; }
    /// The browser whose folder held it ("Chrome", "Brave", ...); empty when unknown.
    const std::string& browser() const { return browser_; }

    /// "name: URL (leftovers)".
    std::string description() const;

    /// A keyed archive (the platform's "$archiver"/"$objects"/"$top" property
    /// list) of the record, and the record read back from one.
    kq::Data archivedData() const;
    static std::optional<KQUBrowserExtension> unarchivedExtensionWithData(const kq::Data& data);

    friend bool operator==(const KQUBrowserExtension&, const KQUBrowserExtension&) = default;

private:
    KQUBrowserExtension() = default;

    std::uint64_t type_ = 0;
    std::uint64_t sourceType_ = 0;
    std::string name_;
    std::optional<std::string> version_;
    std::optional<kq::URL> URL_;
    std::optional<std::vector<kq::URL>> leftovers_;
    std::uint64_t size_ = 0;
    std::optional<kq::Image> icon_;
    KQUBrowserExtentionPermissionsInfo permissionsInfo_;
    std::string browser_;
};
