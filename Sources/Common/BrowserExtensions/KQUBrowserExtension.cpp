// One installed browser extension: made from the scanner's dictionary, kept
// as a keyed archive.
#include "KQFoundation/KQUBrowserExtension.h"

#include <utility>

#include "KQFoundation/Foundation/KeyedArchiver.h"
#include "KQFoundation/Foundation/Log.h"
#include "KQFoundation/NSDictionary+KQValueTypeChecking.h"

namespace {

const std::vector<std::string> kExtensionClasses{"KQUBrowserExtension", "NSObject"};
const std::vector<std::string> kPermissionsClasses{"KQUBrowserExtentionPermissionsInfo", "NSObject"};

constexpr const char* kURLDataKey = "URLData";
constexpr const char* kLeftoversDataKey = "leftoversData";
constexpr const char* kIconDataKey = "iconData";

/// A URL given as a URL or as its text.
std::optional<kq::URL> URLOf(const kq::Value* value) {
    if (!value) return std::nullopt;
    if (const kq::URL* url = value->asURL()) return *url;
    if (const std::string* text = value->asString()) return kq::URL::URLWithString(*text);
    return std::nullopt;
}

std::uint64_t unsignedNumber(const kq::Dictionary& dictionary, std::string_view key) {
    const kq::Value* number = dictionary.numberValueForKey(key);
    return number ? number->unsignedIntegerValue() : 0;
}

kq::Value leftoversValue(const std::vector<kq::URL>& leftovers) {
    kq::Array urls;
    for (const kq::URL& url : leftovers) urls.emplace_back(url);
    return urls;
}

/// The archived blob under the key opened as a keyed archive: nullopt when
/// absent, a null value when present but unreadable.
std::optional<kq::Value> blob(const kq::KeyedUnarchiver& coder, std::string_view key) {
    if (!coder.containsValueForKey(key)) return std::nullopt;
    auto data = coder.decodeObject(key);
    if (!data || !data->isData()) return kq::Value();
    auto value = kq::KeyedUnarchiver::unarchiveObjectWithData(*data->asData());
    return value ? std::move(*value) : kq::Value();
}

}  // namespace

std::optional<KQUBrowserExtension> KQUBrowserExtension::create(const kq::Dictionary& dictionary) {
    const std::string* name = dictionary.stringValueForKey(kKQUBrowserExtensionNameKey);
    if (!name) return std::nullopt;  // not an extension
    KQUBrowserExtension record;
    record.name_ = *name;
    record.type_ = unsignedNumber(dictionary, kKQUBrowserExtensionTypeKey);
    record.URL_ = URLOf(dictionary.objectForKey(kKQUBrowserExtensionURLKey));
    if (const kq::Array* leftovers = dictionary.arrayValueForKey(kKQUBrowserExtensionLeftoversKey)) {
        std::vector<kq::URL> urls;
        for (const kq::Value& leftover : *leftovers)
            if (auto url = URLOf(&leftover)) urls.push_back(std::move(*url));
        record.leftovers_ = std::move(urls);
    }
    record.size_ = unsignedNumber(dictionary, kKQUBrowserExtensionSizeKey);
    if (const kq::Value* icon = dictionary.objectForKey(kKQUBrowserExtensionIconKey))
        record.icon_ = kq::Image::imageWithPropertyList(*icon);
    record.permissionsInfo_ = KQUBrowserExtentionPermissionsInfo(
        dictionary.dictioniaryValueForKey(kKQUBrowserExtensionPermissionsInfoKey), record.type_);
    record.sourceType_ = unsignedNumber(dictionary, kKQUBrowserExtensionSourceType);
    if (const std::string* browser = dictionary.stringValueForKey(kKQUBrowserExtensionBrowserKey))
        record.browser_ = *browser;
    // "version" is left unread on purpose: records never carry one.
    return record;
}

std::string KQUBrowserExtension::description() const {
    const std::string url = URL_ ? kq::describe(kq::Value(*URL_)) : "(null)";
    const std::string leftovers = leftovers_ ? kq::describe(leftoversValue(*leftovers_)) : "(null)";
    return kq::format("%@: %@ (%@)", name_, url, leftovers);
}

kq::Data KQUBrowserExtension::archivedData() const {
    return kq::KeyedArchiver::archivedDataWithRootObject(kExtensionClasses, [this](kq::KeyedArchiver& coder) {
        coder.encodeInteger(kKQUBrowserExtensionTypeKey, static_cast<std::int64_t>(type_));
        coder.encodeObject(kKQUBrowserExtensionNameKey, kq::Value(name_));
        if (URL_) coder.encodeObject(kURLDataKey, kq::KeyedArchiver::archivedDataWithRootObject(kq::Value(*URL_)));
        if (leftovers_ && !leftovers_->empty())
            coder.encodeObject(kLeftoversDataKey, kq::KeyedArchiver::archivedDataWithRootObject(leftoversValue(*leftovers_)));
        coder.encodeInteger(kKQUBrowserExtensionSizeKey, static_cast<std::int64_t>(size_));
        if (icon_) coder.encodeObject(kIconDataKey, kq::KeyedArchiver::archivedDataWithRootObject(icon_->propertyList()));
        coder.encodeInteger(kKQUBrowserExtensionSourceType, static_cast<std::int64_t>(sourceType_));
        coder.encodeObject(kKQUBrowserExtensionPermissionsInfoKey, kPermissionsClasses, [this](kq::KeyedArchiver& nested) {
            permissionsInfo_.encodeWithCoder().forEach([&nested](const std::string& key, const kq::Value& value) {
                if (value.isBool())
                    nested.encodeBool(key, value.boolValue());
                else if (value.isInteger())
                    nested.encodeInteger(key, value.integerValue());
                else
                    nested.encodeObject(key, value);
            });
        });
        if (!browser_.empty()) coder.encodeObject(kKQUBrowserExtensionBrowserKey, kq::Value(browser_));
    });
}

std::optional<KQUBrowserExtension> KQUBrowserExtension::unarchivedExtensionWithData(const kq::Data& data) {
    auto coder = kq::KeyedUnarchiver::unarchiverWithData(data);
    if (!coder) return std::nullopt;
    return coder->decodeObject<KQUBrowserExtension>(
        "root", kExtensionClasses.front(), [](const kq::KeyedUnarchiver& coder) -> std::optional<KQUBrowserExtension> {
            auto name = coder.decodeObject(kKQUBrowserExtensionNameKey);
            if (!name || !name->isString()) return std::nullopt;
            KQUBrowserExtension record;
            record.type_ = static_cast<std::uint64_t>(coder.decodeInteger(kKQUBrowserExtensionTypeKey));
            record.name_ = *name->asString();
            if (auto url = blob(coder, kURLDataKey)) {
                if (!url->isURL()) return std::nullopt;
                record.URL_ = *url->asURL();
            }
            if (auto leftovers = blob(coder, kLeftoversDataKey)) {
                if (!leftovers->isArray()) return std::nullopt;
                std::vector<kq::URL> urls;
                for (const kq::Value& leftover : *leftovers->asArray()) {
                    if (!leftover.isURL()) return std::nullopt;
                    urls.push_back(*leftover.asURL());
                }
                // An empty list was never written: none comes back as none.
                if (!urls.empty()) record.leftovers_ = std::move(urls);
            }
            record.size_ = static_cast<std::uint64_t>(coder.decodeInteger(kKQUBrowserExtensionSizeKey));
            if (auto icon = blob(coder, kIconDataKey)) {
                record.icon_ = kq::Image::imageWithPropertyList(*icon);
                if (!record.icon_) return std::nullopt;
            }
            record.sourceType_ = static_cast<std::uint64_t>(coder.decodeInteger(kKQUBrowserExtensionSourceType));
            auto permissions = coder.decodeObject<KQUBrowserExtentionPermissionsInfo>(
                kKQUBrowserExtensionPermissionsInfoKey, kPermissionsClasses.front(),
                [](const kq::KeyedUnarchiver& nested) -> std::optional<KQUBrowserExtentionPermissionsInfo> {
                    kq::Dictionary keys;
                    keys.setObject("APIUsage", kq::Value(nested.decodeInteger("APIUsage")));
                    if (nested.containsValueForKey("accessibleWebsites")) {
                        auto websites = nested.decodeObject("accessibleWebsites");
                        if (!websites) return std::nullopt;
                        keys.setObject("accessibleWebsites", std::move(*websites));
                    }
                    keys.setObject("hasAccessToAllWebsites", nested.decodeBool("hasAccessToAllWebsites"));
                    return KQUBrowserExtentionPermissionsInfo::initWithCoder(keys);
                });
            if (coder.containsValueForKey(kKQUBrowserExtensionPermissionsInfoKey) && !permissions) return std::nullopt;
            if (permissions) record.permissionsInfo_ = std::move(*permissions);
            if (auto browser = coder.decodeObject(kKQUBrowserExtensionBrowserKey); browser && browser->isString())
                record.browser_ = *browser->asString();
            return record;
        });
}
