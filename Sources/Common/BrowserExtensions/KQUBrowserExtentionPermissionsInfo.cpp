// What an extension may touch, from the browser's own permission data.
#include <array>
#include <string_view>
#include <utility>

#include "KQFoundation/Foundation/KeyedArchiver.h"
#include "KQFoundation/KQUBrowserExtension.h"
#include "KQFoundation/NSDictionary+KQValueTypeChecking.h"

namespace {

constexpr const char* kAPIUsageKey = "APIUsage";
constexpr const char* kAccessibleWebsitesKey = "accessibleWebsites";
constexpr const char* kAllWebsitesKey = "hasAccessToAllWebsites";

}  // namespace

KQUBrowserExtentionPermissionsInfo::KQUBrowserExtentionPermissionsInfo(const kq::Dictionary* dictionary,
                                                                       std::uint64_t type) {
    if (!dictionary) return;
    if (type == KQUBrowserExtensionTypeSafari) {
        const kq::Dictionary* access = dictionary->dictioniaryValueForKey("Website Access");
        if (!access) return;
        const std::string* level = access->stringValueForKey("Level");
        if (level && *level == "All") {
            hasAccessToAllWebsites_ = true;
            return;
        }
        if (const kq::Array* domains = access->arrayValueForKey("Allowed Domains")) accessibleWebsites_ = *domains;
    } else if (type == KQUBrowserExtensionTypeChrome) {
        if (const kq::Array* api = dictionary->arrayValueForKey("api")) APIUsage_ = APIOptionsWithChromeArray(*api);
        kq::Array websites;
        if (const kq::Array* hosts = dictionary->arrayValueForKey("explicit_host")) {
            for (const kq::Value& host : *hosts) {
                const std::string* pattern = host.asString();
                if (!pattern) continue;
                if (*pattern == "<all_urls>") {
                    hasAccessToAllWebsites_ = true;
                    break;
                }
                // A pattern that is no URL ("*://*/*") has nothing to show; it is skipped.
                if (auto url = kq::URL::URLWithString(*pattern)) websites.emplace_back(url->absoluteString());
            }
        }
        if (!hasAccessToAllWebsites_) accessibleWebsites_ = std::move(websites);
    }
}

std::uint64_t KQUBrowserExtentionPermissionsInfo::APIOptionsWithChromeArray(const kq::Array& array) {
    static constexpr std::array<std::pair<std::string_view, std::uint64_t>, 6> kPermissions{{
        {"alarms", KQUBrowserExtensionAPIUsageAlarms},
        {"contextMenus", KQUBrowserExtensionAPIUsageContextMenus},
        {"notifications", KQUBrowserExtensionAPIUsageNotifications},
        {"storage", KQUBrowserExtensionAPIUsageStorage},
        {"identity", KQUBrowserExtensionAPIUsageIdentity},
        {"cookies", KQUBrowserExtensionAPIUsageIdentity},
    }};
    std::uint64_t bits = 0;
    for (const kq::Value& element : array) {
        const std::string* permission = element.asString();
        if (!permission) continue;  // Chrome's object form carries no API bit
        for (const auto& [name, bit] : kPermissions) {
            if (*permission == name) {
                bits |= bit;
                break;
            }
        }
    }
    return bits;
}

kq::Dictionary KQUBrowserExtentionPermissionsInfo::encodeWithCoder() const {
    kq::Dictionary keys;
    keys.setObject(kAPIUsageKey, kq::Value(static_cast<unsigned long long>(APIUsage_)));
    // The list is a keyed archive of its own, as the record's other blobs.
    if (accessibleWebsites_)
        keys.setObject(kAccessibleWebsitesKey, kq::KeyedArchiver::archivedDataWithRootObject(kq::Value(*accessibleWebsites_)));
    keys.setObject(kAllWebsitesKey, hasAccessToAllWebsites_);
    return keys;
}

std::optional<KQUBrowserExtentionPermissionsInfo> KQUBrowserExtentionPermissionsInfo::initWithCoder(
    const kq::Dictionary& archive) {
    KQUBrowserExtentionPermissionsInfo info;
    if (const kq::Value* bits = archive.numberValueForKey(kAPIUsageKey)) info.APIUsage_ = bits->unsignedIntegerValue();
    if (const kq::Value* blob = archive.objectForKey(kAccessibleWebsitesKey)) {
        const kq::Data* data = blob->asData();
        auto websites = data ? kq::KeyedUnarchiver::unarchiveObjectWithData(*data) : std::nullopt;
        if (!websites || !websites->isArray()) return std::nullopt;
        info.accessibleWebsites_ = std::move(*websites->asArray());
    }
    if (const kq::Value* all = archive.numberValueForKey(kAllWebsitesKey)) info.hasAccessToAllWebsites_ = all->boolValue();
    return info;
}
