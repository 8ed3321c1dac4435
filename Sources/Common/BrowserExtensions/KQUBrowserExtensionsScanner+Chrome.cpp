// The Chrome reader: one extension-id folder of a profile's "Extensions"
// folder (one folder per installed version inside) becomes the item's
// dictionary. All JSON goes through the library's own reader.
#include <unicode/ustring.h>

#include <string>
#include <string_view>
#include <utility>

#include "Common/BrowserExtensions/ExtensionFiles.h"
#include "KQFoundation/Foundation/PathUtilities.h"
#include "KQFoundation/Graphics/Image.h"
#include "KQFoundation/KQUBrowserExtensionsScanner.h"
#include "KQFoundation/NSDictionary+KQValueTypeChecking.h"
#include "KQFoundation/NSFileManager+KQFoundation.h"
#include "KQFoundation/NSObject+JSON.h"
#include "KQFoundation/System/FileManager.h"
#include "KQFoundation/System/FileSystemLayout.h"
#include "Foundation/UnicodeText.h"

namespace {

constexpr std::string_view kMessagePrefix = "__MSG_";
constexpr std::string_view kMessageSuffix = "__";
constexpr std::size_t kShortestMessagePlaceholder = 9;
constexpr const char* kDefaultLocaleKey = "default_locale";

kq::FileManager& files() { return kq::FileManager::defaultManager(); }

using kq::detail::readJSONObject;
using kq::detail::readUTF8Text;

/// The platform's uppercaseString (full Unicode mapping, so "ß" becomes "SS").
std::string uppercased(std::string_view text) {
    std::string ascii(text);
    for (char& c : ascii)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    if (kq::isASCII(text)) return ascii;
    auto units = kq::utf16FromUTF8(text);
    if (!units) return ascii;
    UErrorCode status = U_ZERO_ERROR;
    std::u16string upper(units->size() * 3 + 8, u'\0');
    const int32_t length = u_strToUpper(upper.data(), static_cast<int32_t>(upper.size()), units->data(),
                                        static_cast<int32_t>(units->size()), "", &status);
    if (U_FAILURE(status)) return ascii;
    upper.resize(static_cast<std::size_t>(length));
    return kq::utf8FromUTF16(upper).value_or(ascii);
}

/// The catalogue key of a "__MSG_key__" name, or nothing. Only the upper-cased
/// copy is tested for the prefix; the suffix test is exact.
std::optional<std::string> messageKey(const std::string& name) {
    if (kq::lengthInUTF16Units(name) < kShortestMessagePlaceholder) return std::nullopt;
    if (!name.ends_with(kMessageSuffix)) return std::nullopt;
    if (!uppercased(name).starts_with(kMessagePrefix)) return std::nullopt;
    auto rest = kq::substringFromUTF16Index(name, kMessagePrefix.size());
    if (!rest || rest->size() < kMessageSuffix.size()) return std::nullopt;
    rest->resize(rest->size() - kMessageSuffix.size());
    return rest;
}

/// Three levels above the extension folder: the folder that holds the profiles.
std::string dataFolderOf(const std::string& extensionFolder) {
    return kq::stringByDeletingLastPathComponent(
        kq::stringByDeletingLastPathComponent(kq::stringByDeletingLastPathComponent(extensionFolder)));
}

/// Where an "external_crx" path lies on this machine: absolute paths belong
/// to the inspected tree, relative ones to the descriptor's folder.
std::string resolveExternalPath(const std::string& path, const std::string& descriptorFolder) {
    if (kq::isAbsolutePath(path)) return kq::FileSystemLayout::current()->resolve(path);
    return kq::absolutePath(kq::stringByAppendingPathComponent(descriptorFolder, path));
}

/// A leftover must never be a folder that holds the user's data or the
/// browser's own folders: a hostile descriptor naming "/" or the home folder
/// would otherwise be offered for removal (and walked for its size).
bool isSafeLeftover(const std::string& path, const std::string& dataFolder) {
    const auto layout = kq::FileSystemLayout::current();
    if (path == "/" || path == layout->root() || kq::isPathInsideFolder(layout->home(), path)) return false;
    return !kq::isPathInsideFolder(dataFolder, path);
}

void addEntries(kq::Dictionary& target, const kq::Dictionary& source) {
    source.forEach([&](const std::string& key, const kq::Value& value) { target.setObject(key, value); });
}

}  // namespace

kq::Dictionary KQUBrowserExtensionsScanner::chromeExtensionDictionaryWithURL(const kq::URL& url) {
    kq::Dictionary item;
    const std::string folder = url.path();
    for (const std::string& entry : files().contentsOfDirectoryAtPath(folder)) {
        const kq::URL version = kq::URL::fileURLWithPath(kq::stringByAppendingPathComponent(folder, entry), true);
        addEntries(item, parseChromeExtensionVersionAtURL(version));
        item.setObject(kKQUBrowserExtensionVersionKey, entry);
    }
    if (item.contains(kKQUBrowserExtensionNameKey)) {
        addEntries(item, searchForLeftoversWithExtensionURL(url));
        addEntries(item, parseChromeExtensionPreferencesAtURL(url));
    }
    const kq::Value* leftoversSize = item.numberValueForKey(kKQUBrowserExtensionSizeKey);
    const std::uint64_t size =
        (leftoversSize ? leftoversSize->unsignedIntegerValue() : 0) + files().sizeOfItemAtPath(folder);
    item.setObject(kKQUBrowserExtensionSizeKey, size);
    return item;
}

kq::Dictionary KQUBrowserExtensionsScanner::parseChromeExtensionVersionAtURL(const kq::URL& url) const {
    const std::string folder = url.path();
    kq::Dictionary manifest =
        parseChromeExtensionManifestAtURL(kq::URL::fileURLWithPath(kq::stringByAppendingPathComponent(folder, "manifest.json"), false));
    const std::string* name = manifest.stringValueForKey(kKQUBrowserExtensionNameKey);
    if (!name) return manifest;
    const auto key = messageKey(*name);
    // Without a placeholder no catalogue entry can match, so none is read.
    if (!key) return manifest;

    const std::string* locale = manifest.stringValueForKey(kDefaultLocaleKey);
    const std::string catalogue = kq::stringByAppendingPathComponent(
        folder, "_locales/" + (locale ? *locale : std::string("en")) + "/messages.json");
    const auto messages = readJSONObject(catalogue);
    if (!messages) return manifest;

    const std::string foldedKey = kq::foldForComparison(*key, true, false);
    for (std::size_t i = 0; i < messages->size(); ++i) {
        const kq::Dictionary* entry = messages->values()[i].asDictionary();
        if (!entry || !kq::equalsFolded(messages->keys()[i], foldedKey, {true, false})) continue;
        if (const std::string* message = entry->stringValueForKey("message"))
            manifest.setObject(kKQUBrowserExtensionNameKey, *message);
        break;
    }
    return manifest;
}

kq::Dictionary KQUBrowserExtensionsScanner::parseChromeExtensionManifestAtURL(const kq::URL& url) const {
    kq::Dictionary result;
    const std::string path = url.path();
    const auto manifest = readJSONObject(path);
    if (!manifest) return result;

    if (const std::string* name = manifest->stringValueForKey("name"))
        result.setObject(kKQUBrowserExtensionNameKey, *name);

    if (const kq::Dictionary* icons = manifest->dictioniaryValueForKey("icons")) {
        const std::string folder = kq::stringByDeletingLastPathComponent(path);
        std::optional<kq::Image> collected;
        icons->forEach([&](const std::string&, const kq::Value& value) {
            const std::string* iconPath = value.asString();
            if (!iconPath) return;
            auto image = kq::Image::imageWithContentsOfFile(kq::stringByAppendingPathComponent(folder, *iconPath));
            if (!image) return;
            if (!collected) collected.emplace();
            collected->addRepresentations(*image);
        });
        if (collected) result.setObject(kKQUBrowserExtensionIconKey, collected->propertyList());
    }

    if (const std::string* locale = manifest->stringValueForKey(kDefaultLocaleKey))
        result.setObject(kDefaultLocaleKey, *locale);
    return result;
}

const kq::Dictionary* KQUBrowserExtensionsScanner::preferencesOfChromeExtensionWithURL(const kq::URL& url) {
    const std::string extensionFolder = url.path();
    if (extensionFolder.empty()) return nullptr;
    const std::string extensionsFolder = kq::stringByDeletingLastPathComponent(extensionFolder);
    const std::string profile = kq::stringByDeletingLastPathComponent(extensionsFolder);

    auto cached = preferencesByChromeUser_.find(profile);
    if (cached == preferencesByChromeUser_.end()) {
        // The settings are moved out of the parsed file: preference files are
        // large and only this part of them is kept.
        auto settingsOf = [this](const std::string& file) -> std::optional<kq::Dictionary> {
            auto preferences = readJSONObject(file);
            ++chromePreferencesReadCount_;
            if (!preferences) return std::nullopt;
            kq::Value* extensions = preferences->objectForKey("extensions");
            kq::Dictionary* extensionsDictionary = extensions ? extensions->asDictionary() : nullptr;
            kq::Value* settings = extensionsDictionary ? extensionsDictionary->objectForKey("settings") : nullptr;
            if (!settings || !settings->asDictionary()) return std::nullopt;
            return std::move(*settings->asDictionary());
        };
        auto settings = settingsOf(kq::stringByAppendingPathComponent(profile, "Preferences"));
        if (!settings) settings = settingsOf(kq::stringByAppendingPathComponent(profile, "Secure Preferences"));

        std::unordered_map<std::string, kq::Dictionary> byFolder;
        if (settings) {
            for (std::size_t i = 0; i < settings->size(); ++i) {
                kq::Dictionary* entry = settings->objectForKey(settings->keys()[i])->asDictionary();
                if (!entry) continue;
                const kq::Dictionary* manifest = entry->dictioniaryValueForKey("manifest");
                const std::string* path = entry->stringValueForKey("path");
                if (!manifest || !manifest->contains("name") || !path) continue;
                // "path" is "<id>/<version>": its folder part names the extension folder.
                const std::size_t slash = path->rfind('/');
                const std::string folder = slash == std::string::npos
                                               ? extensionsFolder
                                               : kq::stringByAppendingPathComponent(extensionsFolder, path->substr(0, slash));
                byFolder.insert_or_assign(folder, std::move(*entry));
            }
        }
        cached = preferencesByChromeUser_.emplace(profile, std::move(byFolder)).first;
    }
    auto found = cached->second.find(extensionFolder);
    return found == cached->second.end() ? nullptr : &found->second;
}

kq::Dictionary KQUBrowserExtensionsScanner::parseChromeExtensionPreferencesAtURL(const kq::URL& url) {
    kq::Dictionary result;
    const kq::Dictionary* settings = preferencesOfChromeExtensionWithURL(url);
    if (!settings) return result;
    auto isTrue = [settings](std::string_view key) {
        const kq::Value* number = settings->numberValueForKey(key);
        return number && number->boolValue();
    };
    if (isTrue("was_installed_by_default"))
        result.setObject(kKQUBrowserExtensionSourceType, static_cast<std::uint64_t>(KQUBrowserExtensionSourceKindDefault));
    else if (isTrue("from_webstore"))
        result.setObject(kKQUBrowserExtensionSourceType, static_cast<std::uint64_t>(KQUBrowserExtensionSourceKindStore));
    if (const kq::Dictionary* permissions = settings->dictioniaryValueForKey("active_permissions"))
        result.setObject(kKQUBrowserExtensionPermissionsInfoKey, *permissions);
    return result;
}

kq::Dictionary KQUBrowserExtensionsScanner::searchForLeftoversWithExtensionURL(const kq::URL& url) const {
    const std::string extensionFolder = url.path();
    const std::string identifier = kq::lastPathComponent(extensionFolder);
    const std::string dataFolder = dataFolderOf(extensionFolder);
    kq::Array leftovers;
    std::uint64_t total = 0;
    auto add = [&](const std::string& path, bool isDirectory) {
        leftovers.push_back(kq::URL::fileURLWithPath(path, isDirectory));
        total += files().sizeOfItemAtPath(path);
    };
    auto addIfPresent = [&](const std::string& path) {
        bool isDirectory = false;
        if (!files().fileExistsAtPath(path, isDirectory)) return false;
        add(path, isDirectory);
        return true;
    };

    addIfPresent(kq::stringByAppendingPathComponent(dataFolder, "Local Extension Settings/" + identifier));

    const std::string localStorage = kq::stringByAppendingPathComponent(dataFolder, "Local Storage");
    for (const std::string& entry : files().contentsOfDirectoryAtPath(localStorage)) {
        if (!kq::containsCaseInsensitive(entry, identifier)) continue;
        // Listed entries count even when they cannot be followed (a dangling link).
        const std::string path = kq::stringByAppendingPathComponent(localStorage, entry);
        bool isDirectory = false;
        files().fileExistsAtPath(path, isDirectory);
        add(path, isDirectory);
    }

    addIfPresent(kq::stringByAppendingPathComponent(dataFolder, "Sync Extension Settings/" + identifier));

    const std::string externalFolder =
        kq::stringByAppendingPathComponent(kq::stringByDeletingLastPathComponent(dataFolder), "External Extensions");
    const std::string descriptor =
        kq::stringByAppendingPathComponent(externalFolder, kq::stringByAppendingPathExtension(identifier, "json"));
    if (addIfPresent(descriptor)) {
        const auto external = readJSONObject(descriptor);
        const std::string* crx = external ? external->stringValueForKey("external_crx") : nullptr;
        if (crx && !crx->empty()) {
            const std::string path = resolveExternalPath(*crx, externalFolder);
            if (isSafeLeftover(path, dataFolder)) addIfPresent(path);
        }
    }

    kq::Dictionary result;
    result.setObject(kKQUBrowserExtensionLeftoversKey, std::move(leftovers));
    result.setObject(kKQUBrowserExtensionSizeKey, total);
    return result;
}
