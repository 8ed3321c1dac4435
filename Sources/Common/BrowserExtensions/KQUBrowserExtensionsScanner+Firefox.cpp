#include <optional>
#include <string>
#include <string_view>

#include "Common/BrowserExtensions/FirefoxInstallManifest.h"
#include "Foundation/UnicodeText.h"
#include "Common/BrowserExtensions/ExtensionFiles.h"
#include "KQFoundation/Foundation/Bundle.h"
#include "KQFoundation/Foundation/Exceptions.h"
#include "KQFoundation/Foundation/PathUtilities.h"
#include "KQFoundation/Graphics/Image.h"
#include "KQFoundation/KQUBrowserExtensionsScanner.h"
#include "KQFoundation/NSBundle+KQFoundation.h"
#include "KQFoundation/NSDictionary+KQValueTypeChecking.h"
#include "KQFoundation/NSFileManager+KQFoundation.h"
#include "KQFoundation/NSObject+JSON.h"
#include "KQFoundation/System/FileManager.h"

namespace {

// Extensions installed for every profile live below a folder named after
// Firefox's application id.
constexpr std::string_view kFirefoxApplicationID = "{ec8030f7-c20a-464f-9b0e-13a3a9e97384}";

using kq::detail::readJSONObject;
using kq::detail::readUTF8Text;

/// The language whose message catalogue an add-on shows in this host: the
/// main bundle's preferred localization, or the user's language when the host
/// has no localized main bundle (a plain Linux program).
std::string hostLocalization() {
    try {
        return kq::Bundle::preferredApplicationLocalization();
    } catch (const kq::RangeException&) {
        auto languages = kq::Bundle::preferredLanguages();
        if (languages.empty()) return "";
        return languages.front().substr(0, languages.front().find('-'));
    }
}

/// The manifest's own icon: the first value of "icons", else the browser
/// button's icon when it is a single path.
std::string declaredIconPath(const std::optional<kq::Dictionary>& description) {
    if (!description) return "";
    if (const kq::Dictionary* icons = description->dictioniaryValueForKey("icons"); icons && !icons->empty()) {
        if (const std::string* path = icons->values().front().asString()) return *path;
    }
    if (const kq::Dictionary* action = description->dictioniaryValueForKey("browser_action")) {
        if (const std::string* path = action->stringValueForKey("default_icon")) return *path;
    }
    return "";
}

/// Every name of nine or more characters is tried as a placeholder: the key
/// is what lies between its first six and last two characters.
std::string localizedName(const std::string& name, const std::optional<kq::Dictionary>& messages) {
    if (!messages || kq::lengthInUTF16Units(name) < 9) return name;
    const auto units = kq::utf16FromUTF8(name);
    if (!units) return name;
    const auto key = kq::utf8FromUTF16(std::u16string_view(*units).substr(6, units->size() - 8));
    if (!key) return name;
    if (const kq::Dictionary* entry = messages->dictioniaryValueForKey(*key)) {
        if (const std::string* message = entry->stringValueForKey("message")) return *message;
    }
    return name;
}

struct FirefoxSources {
    std::optional<kq::Data> installManifest;
    std::optional<kq::Dictionary> description;
    std::optional<kq::Dictionary> messages;
    kq::Image icon;
};

void readIconsAndMessages(const std::string& folder, FirefoxSources& sources) {
    const std::string iconPath = declaredIconPath(sources.description);
    const std::string* defaultLocale = sources.description ? sources.description->stringValueForKey("default_locale")
                                                           : nullptr;
    std::optional<std::string> host;
    auto walker = kq::FileManager::defaultManager().enumeratorAtPath(folder);
    if (!walker) return;
    while (auto relative = walker->nextObject()) {
        if (walker->currentEntryType() == kq::FileType::Directory) continue;
        const std::string path = folder + "/" + *relative;
        const kq::URL item = kq::URL::fileURLWithPath(path, false);
        const std::string last = item.lastPathComponent();
        const bool iconByName = last.find("icon") != std::string::npos || last.find("logo") != std::string::npos;
        const bool iconByPath = !iconPath.empty() && path.find(iconPath) != std::string::npos;
        if (iconByName || iconByPath) {
            if (auto image = kq::Image::imageWithContentsOfFile(path)) sources.icon.addRepresentations(*image);
        }
        if (last != "messages.json") continue;
        const std::string language = item.URLByDeletingLastPathComponent().lastPathComponent();
        if (!host) host = hostLocalization();
        if (language == *host) {
            // The host's own language wins over whatever was read before.
            sources.messages = readJSONObject(path);
        } else if (!sources.messages && defaultLocale && *defaultLocale == language) {
            sources.messages = readJSONObject(path);
        }
    }
}

void readDescriptions(const kq::URL& folder, const KQUBrowserExtensionsScanner& scanner, FirefoxSources& sources) {
    sources.installManifest = kq::FileManager::defaultManager().contentsAtPath(
        folder.URLByAppendingPathComponent("install.rdf", false).path());
    sources.description = scanner.preferenecesDictionaryFirefoxExtensionAtURL(folder);
}

}  // namespace

std::optional<kq::Dictionary> KQUBrowserExtensionsScanner::preferenecesDictionaryFirefoxExtensionAtURL(
    const kq::URL& url) const {
    auto text = readUTF8Text(url.URLByAppendingPathComponent("package.json", false).path());
    if (!text) text = readUTF8Text(url.URLByAppendingPathComponent("manifest.json", false).path());
    if (!text) return std::nullopt;
    return kq::Dictionary::dictionaryWithJSONString(*text);
}

kq::Dictionary KQUBrowserExtensionsScanner::firefoxExtensionDictionaryWithURL(const kq::URL& url) const {
    kq::Dictionary result;
    const std::string path = url.path();
    if (path.find(kFirefoxApplicationID) != std::string::npos)
        result.setObject(kKQUBrowserExtensionSourceType,
                         kq::Value(static_cast<std::uint64_t>(KQUBrowserExtensionSourceKindApplicationWide)));

    FirefoxSources sources;
    kq::FileManager& files = kq::FileManager::defaultManager();
    bool isDirectory = false;
    const bool exists = files.fileExistsAtPath(path, isDirectory);
    if (exists && isDirectory) {
        // Unpacked add-ons are read for their names only: no icons, no catalogues.
        readDescriptions(url, *this, sources);
    } else if (kq::equalsCaseInsensitive(url.pathExtension(), "xpi")) {
        if (auto folder = unpackedExtensionURLForArchiveAtURL(url, KQUExtensionUnarchiverTypeZip)) {
            readDescriptions(*folder, *this, sources);
            readIconsAndMessages(folder->path(), sources);
            files.removeItemAtPath(folder->path());
        }
    }

    if (!sources.icon.empty()) result.setObject(kKQUBrowserExtensionIconKey, sources.icon.propertyList());

    std::optional<std::string> name;
    if (sources.installManifest) {
        const kq::Data& bytes = *sources.installManifest;
        name = kq::detail::firefoxInstallManifestName(
            std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
    }
    if (!name && sources.description) {
        if (const std::string* declared = sources.description->stringValueForKey("name"))
            name = localizedName(*declared, sources.messages);
    }
    if (name) result.setObject(kKQUBrowserExtensionNameKey, kq::Value(*name));

    result.setObject(kKQUBrowserExtensionSizeKey, kq::Value(static_cast<std::uint64_t>(files.sizeOfItemAtPath(path))));
    return result;
}
