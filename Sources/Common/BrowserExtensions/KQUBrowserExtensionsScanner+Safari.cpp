#include "Foundation/UnicodeText.h"
#include "KQFoundation/Foundation/PropertyList.h"
#include "KQFoundation/Graphics/Image.h"
#include "KQFoundation/KQUBrowserExtensionsScanner.h"
#include "KQFoundation/NSDictionary+KQValueTypeChecking.h"
#include "KQFoundation/NSFileManager+KQFoundation.h"
#include "KQFoundation/System/FileManager.h"

namespace {

struct UnpackedContents {
    kq::Image icon;
    std::optional<kq::Dictionary> info;
};

/// Walks the unpacked archive: every folder's "Icon" files join the icon, and
/// the first folder with a readable Info.plist ends the walk.
UnpackedContents readUnpackedSafariExtension(const std::string& folder) {
    const kq::FileManager& fileManager = kq::FileManager::defaultManager();
    UnpackedContents contents;
    auto walker = fileManager.enumeratorAtPath(folder);
    if (!walker) return contents;
    while (auto relative = walker->nextObject()) {
        const std::string item = folder + "/" + *relative;
        for (const std::string& child : fileManager.contentsOfDirectoryAtPath(item)) {
            if (!kq::containsCaseInsensitive(child, "Icon")) continue;
            if (auto image = kq::Image::imageWithContentsOfFile(item + "/" + child)) contents.icon.addRepresentations(*image);
        }
        if ((contents.info = kq::PropertyList::readDictionaryFile(item + "/Info.plist"))) break;
    }
    return contents;
}

/// True when Extensions.plist beside the item says Apple signed it. Only the
/// first entry naming the item counts.
bool isStoreSignedInExtensionsList(const kq::URL& item) {
    const auto list =
        kq::PropertyList::readDictionaryFile(item.URLByDeletingLastPathComponent().path() + "/Extensions.plist");
    const kq::Array* installed = list ? list->arrayValueForKey("Installed Extensions") : nullptr;
    if (!installed) return false;
    const std::string fileName = item.lastPathComponent();
    for (const kq::Value& element : *installed) {
        const kq::Dictionary* entry = element.asDictionary();
        if (!entry) continue;
        const std::string* archiveName = entry->stringValueForKey("Archive File Name");
        if (!archiveName || *archiveName != fileName) continue;
        const kq::Value* signedByStore = entry->numberValueForKey("Apple-signed");
        return signedByStore && signedByStore->boolValue();
    }
    return false;
}

}  // namespace

kq::Dictionary KQUBrowserExtensionsScanner::safariExtensionDictionaryWithURL(const kq::URL& url) const {
    const kq::FileManager& fileManager = kq::FileManager::defaultManager();
    kq::Dictionary dictionary;
    const std::string path = url.path();
    if (fileManager.fileExistsAtPath(path) && kq::equalsCaseInsensitive(url.pathExtension(), "safariextz")) {
        dictionary.setObject(kKQUBrowserExtensionNameKey, url.URLByDeletingPathExtension().lastPathComponent());
        dictionary.setObject(kKQUBrowserExtensionSizeKey, kq::Value(fileManager.sizeOfItemAtPath(path)));
        if (const auto folder = unpackedExtensionURLForArchiveAtURL(url, KQUExtensionUnarchiverTypeXar)) {
            const UnpackedContents contents = readUnpackedSafariExtension(folder->path());
            if (!contents.icon.empty()) dictionary.setObject(kKQUBrowserExtensionIconKey, contents.icon.propertyList());
            fileManager.removeItemAtPath(folder->path());
            const std::string* displayName = contents.info ? contents.info->stringValueForKey("CFBundleDisplayName") : nullptr;
            if (displayName) {
                dictionary.setObject(kKQUBrowserExtensionNameKey, *displayName);
                if (const kq::Dictionary* permissions = contents.info->dictioniaryValueForKey("Permissions"))
                    dictionary.setObject(kKQUBrowserExtensionPermissionsInfoKey, *permissions);
            }
        }
    }
    if (isStoreSignedInExtensionsList(url))
        dictionary.setObject(kKQUBrowserExtensionSourceType,
                             kq::Value(static_cast<std::uint64_t>(KQUBrowserExtensionSourceKindStore)));
    return dictionary;
}
