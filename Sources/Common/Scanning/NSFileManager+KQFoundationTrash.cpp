// The trash of NSFileManager(KQFoundation): where the trash folders are, and
// moving items into them without ever losing one. See
// NSFileManager+KQFoundation.h for when the Mac trash and when the
// freedesktop.org trash is used.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <map>
#include <mutex>
#include <set>
#include <utility>

#include "KQFoundation/NSFileManager+KQFoundation.h"
#include "KQFoundation/Foundation/PathUtilities.h"
#include "System/FileSystemCalls.h"
#include "System/PerLayoutCache.h"
#include "System/VolumeDevices.h"

namespace kq {

namespace {

enum class TrashFlavour { Mac, Freedesktop };

struct TrashPlace {
    std::string folder;  // the trash itself
    std::string top;     // the volume folder it belongs to; empty for the home trash
};

// Tried names per item before giving up ("name 2" ... "name 9999").
constexpr int kMaximumNameAttempts = 9999;
// Longest file name the file systems take, in bytes.
constexpr std::size_t kMaximumNameBytes = 255;
constexpr std::string_view kTrashInfoSuffix = ".trashinfo";
// Longer "extensions" are just part of the name, cut like the rest of it.
constexpr std::size_t kLongestKeptExtension = 32;
// Where a Mac trash keeps an item's original place (the Finder's put-back).
constexpr std::string_view kPutBackAttribute = "kq.trash.putBackPath";

std::error_code errnoCode(int code) { return {code, std::generic_category()}; }

bool isDirectory(const std::string& path, bool followLinks = true) {
    auto status = platform::statusOfItem(path, followLinks);
    return status && status->type == FileType::Directory;
}

TrashFlavour flavourOf(const FileSystemLayout& layout) {
    if (!layout.isHostRoot()) return TrashFlavour::Mac;
    return isDirectory(stringByAppendingPathComponent(layout.home(), ".Trash")) ? TrashFlavour::Mac
                                                                               : TrashFlavour::Freedesktop;
}

/// The running user, or for a Mac tree the owner of its home folder (the
/// Mac's own user id survives a copy made with ownership kept).
std::uint32_t trashUserID(const FileSystemLayout& layout) {
    if (!layout.isHostRoot())
        if (auto status = platform::statusOfItem(layout.home(), true)) return status->owner;
    return platform::currentUserID();
}

std::string homeTrashFolder(const FileSystemLayout& layout, TrashFlavour flavour) {
    if (flavour == TrashFlavour::Mac) return stringByAppendingPathComponent(layout.home(), ".Trash");
    // XDG_DATA_HOME belongs to the user running us, so it counts only for that user's home.
    const char* home = std::getenv("HOME");
    const char* dataHome = std::getenv("XDG_DATA_HOME");
    if (dataHome && dataHome[0] == '/' && home && stringByStandardizingPath(home) == layout.home())
        return stringByAppendingPathComponent(dataHome, "Trash");
    return layout.home() + "/.local/share/Trash";
}

/// The trash a volume folder has or would get. The freedesktop.org shared
/// trash (.Trash/<uid>) is used only when an administrator prepared it: a
/// real folder with the sticky bit.
std::string volumeTrashFolder(const std::string& top, TrashFlavour flavour, std::uint32_t uid) {
    const std::string user = std::to_string(uid);
    if (flavour == TrashFlavour::Mac) return stringByAppendingPathComponent(top, ".Trashes/" + user);
    const std::string shared = stringByAppendingPathComponent(top, ".Trash");
    if (auto status = platform::statusOfItem(shared, false);
        status && status->type == FileType::Directory && status->sticky)
        return shared + "/" + user;
    return stringByAppendingPathComponent(top, ".Trash-" + user);
}

/// The device a folder is (or, not yet made, would be) on: that of its nearest existing ancestor.
std::optional<std::uint64_t> deviceOfFolder(std::string folder) {
    for (;;) {
        if (auto status = platform::statusOfItem(folder, true)) return status->device;
        std::string parent = stringByDeletingLastPathComponent(folder);
        if (parent == folder || parent.empty()) return std::nullopt;
        folder = std::move(parent);
    }
}

/// Makes the folder, or accepts the one there. On a shared volume anyone could
/// have put a link there instead, so `followLinks` false accepts only a real folder.
std::error_code makeFolder(const std::string& path, unsigned mode, bool followLinks = true) {
    const int code = platform::makeFolder(path, mode);
    if (code == 0) return {};
    if (code != EEXIST) return errnoCode(code);
    return isDirectory(path, followLinks) ? std::error_code() : errnoCode(ENOTDIR);
}

/// Creates the trash (and for the freedesktop trash its files/ and info/).
/// The home trash is made only below an existing home: a mistyped home must
/// not be created.
std::error_code prepareTrash(const TrashPlace& place, TrashFlavour flavour) {
    const bool onSharedVolume = !place.top.empty();
    const std::string parent = stringByDeletingLastPathComponent(place.folder);
    std::error_code error;
    if (flavour == TrashFlavour::Mac && onSharedVolume) {
        // Everyone may add a folder to .Trashes, only its owner can see into it.
        error = makeFolder(parent, 01333, false);
    } else if (!onSharedVolume) {
        FileManager::defaultManager().createDirectoryAtPath(parent, true, &error);
    }
    if (!error) error = makeFolder(place.folder, 0700, !onSharedVolume);
    if (!error && flavour == TrashFlavour::Freedesktop) error = makeFolder(place.folder + "/files", 0700, false);
    if (!error && flavour == TrashFlavour::Freedesktop) error = makeFolder(place.folder + "/info", 0700, false);
    return error;
}

/// `text` cut to at most `length` bytes without splitting a UTF-8 sequence.
std::string cutAtCharacter(const std::string& text, std::size_t length) {
    if (text.size() <= length) return text;
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) --length;
    return text.substr(0, length);
}

/// "name.ext", "name 2.ext", "name 3.ext" ..., at most `limit` bytes: a long
/// name loses the end of its stem, keeping the number and the extension.
std::string candidateName(const std::string& name, int attempt, std::size_t limit) {
    std::string extension = pathExtension(name);
    std::string stem = stringByDeletingPathExtension(name);
    if (extension.size() > kLongestKeptExtension) {
        extension.clear();
        stem = name;
    }
    const std::string suffix = (attempt == 1 ? std::string() : " " + std::to_string(attempt)) +
                               (extension.empty() ? std::string() : "." + extension);
    return cutAtCharacter(stem, limit - suffix.size()) + suffix;
}

std::error_code moveIntoMacTrash(const std::string& item, const TrashPlace& place, std::string& moved) {
    const FileManager& fileManager = FileManager::defaultManager();
    const std::string name = lastPathComponent(item);
    for (int attempt = 1; attempt <= kMaximumNameAttempts; ++attempt) {
        const std::string target = place.folder + "/" + candidateName(name, attempt, kMaximumNameBytes);
        std::error_code error;
        if (fileManager.moveItemAtPath(item, target, &error)) {
            moved = target;
            // The original place, for putting it back; the move itself is done
            // (links cannot carry the attribute everywhere).
            fileManager.setExtendedAttribute(target, kPutBackAttribute, Data(item.begin(), item.end()));
            return {};
        }
        if (error != std::errc::file_exists) return error;
    }
    return TrashError::NamesExhausted;
}

std::error_code moveIntoFreedesktopTrash(const std::string& item, const TrashPlace& place, std::string& moved) {
    const std::string name = lastPathComponent(item);
    // In a volume's own trash the original place is recorded relative to the volume.
    std::string recordedPath = item;
    if (!place.top.empty() && place.top != "/" && item.compare(0, place.top.size() + 1, place.top + "/") == 0)
        recordedPath = item.substr(place.top.size() + 1);
    else if (place.top == "/")
        recordedPath = item.substr(1);
    const std::string record = "[Trash Info]\nPath=" + stringByAddingPercentEscapes(recordedPath) +
                               "\nDeletionDate=" + platform::localDateTimeNow() + "\n";

    for (int attempt = 1; attempt <= kMaximumNameAttempts; ++attempt) {
        // The record's name (name + ".trashinfo") must fit too.
        const std::string candidate =
            candidateName(name, attempt, kMaximumNameBytes - kTrashInfoSuffix.size());
        const std::string target = place.folder + "/files/" + candidate;
        if (platform::statusOfItem(target, false)) continue;
        // The record is written (and reaches the disk) first: it reserves the
        // name, and an item is never in the trash without it.
        const std::string info = place.folder + "/info/" + candidate + std::string(kTrashInfoSuffix);
        const int reserved = platform::createFileExclusively(info, record);
        if (reserved == EEXIST) continue;
        if (reserved != 0) return errnoCode(reserved);
        std::error_code error;
        if (FileManager::defaultManager().moveItemAtPath(item, target, &error)) {
            moved = target;
            return {};
        }
        platform::removeFile(info);
        // Someone else took the name between our check and the move.
        if (error != std::errc::file_exists) return error;
    }
    return TrashError::NamesExhausted;
}

std::string absoluteStandardPath(std::string_view path) {
    return absolutePath(stringByExpandingTildeInPath(path));
}

/// The path with its folders resolved (the item itself, if a link, is kept).
std::string resolvedFolders(const std::string& path) {
    auto parent = platform::resolvedPath(stringByDeletingLastPathComponent(path));
    return parent ? stringByAppendingPathComponent(*parent, lastPathComponent(path)) : path;
}

bool isStrictlyInside(std::string_view path, std::string_view folder) {
    return path != folder && isPathInsideFolder(path, folder);
}

/// The item a user means by `path`, resolved so that no spelling (trailing
/// slashes, "..", links in its folders) hides what it is: its folders resolved,
/// the item itself (a link is moved, not what it names) kept.
std::error_code locateItem(std::string_view path, std::string& item) {
    // Not standardised: "a/.." must still read as a dot path.
    const std::string absolute = absolutePath(stringByExpandingTildeInPath(path), false);
    const std::string last = lastPathComponent(absolute);
    // "." and ".." name a folder by where one stands (or stood): too easy to
    // mean something else than what gets moved.
    if (last == "." || last == "..") return TrashError::DotPath;
    int code = 0;
    std::optional<std::string> resolved;
    if (last == "/")
        resolved = platform::resolvedPath(absolute, &code);
    else if ((resolved = platform::resolvedPath(stringByDeletingLastPathComponent(absolute), &code)))
        resolved = stringByAppendingPathComponent(*resolved, last);
    if (!resolved) return errnoCode(code);
    if (!platform::statusOfItem(*resolved, false, &code)) return errnoCode(code);
    item = std::move(*resolved);
    return {};
}

/// Refuses the folders whose loss would take the user's data or the whole
/// inspected tree with them, whether named directly or through a link.
std::error_code protectionFor(const std::string& item, const FileSystemLayout& layout) {
    const std::string target = platform::resolvedPath(item).value_or(item);
    if (item == "/" || target == "/") return TrashError::RootFolder;
    if (!layout.isHostRoot()) {
        const std::string root = platform::resolvedPath(layout.root()).value_or(layout.root());
        if (item == root || target == root) return TrashError::LayoutRoot;
        if (!isStrictlyInside(item, root)) return TrashError::OutsideLayout;
    }
    const auto home = platform::resolvedPath(layout.home());
    if (!home || !isDirectory(*home)) return TrashError::HomeMissing;
    for (const std::string& candidate : {item, target})
        if (candidate == *home || isStrictlyInside(*home, candidate)) return TrashError::HomeFolder;
    return {};
}

std::vector<std::string> buildTrashFolders(const FileSystemLayout& layout) {
    const TrashFlavour flavour = flavourOf(layout);
    const std::uint32_t uid = trashUserID(layout);
    std::vector<std::string> folders{homeTrashFolder(layout, flavour)};
    auto addExisting = [&](const std::string& top) {
        std::string trash = volumeTrashFolder(top, flavour, uid);
        if (isDirectory(trash) && std::find(folders.begin(), folders.end(), trash) == folders.end())
            folders.push_back(std::move(trash));
    };
    if (!layout.isHostRoot()) {
        // A Mac tree's volumes are its root and the folders of its /Volumes.
        addExisting(layout.root());
        const std::string volumes = layout.resolve("/Volumes");
        for (const std::string& name : FileManager::defaultManager().contentsOfDirectoryAtPath(volumes))
            if (isDirectory(volumes + "/" + name)) addExisting(volumes + "/" + name);
        return folders;
    }
    std::set<std::string> seen;
    for (const platform::MountedVolume& volume : platform::mountedVolumes()) {
        if (!seen.insert(volume.mountPoint).second) continue;
        // Classified from the mount table alone, so network mounts are never touched.
        if (platform::deviceClassOfVolume(volume).bus == platform::DeviceBus::None) continue;
        addExisting(volume.mountPoint);
    }
    return folders;
}

class TrashErrorCategory final : public std::error_category {
public:
    const char* name() const noexcept override { return "trash"; }
    std::string message(int value) const override {
        switch (static_cast<TrashError>(value)) {
            case TrashError::RootFolder: return "the root folder is never moved to the trash";
            case TrashError::DotPath: return "a path ending in '.' or '..' is never moved to the trash (name the folder itself)";
            case TrashError::HomeFolder: return "the home folder, and any folder holding it, is never moved to the trash";
            case TrashError::LayoutRoot: return "the root of the inspected tree is never moved to the trash";
            case TrashError::OutsideLayout: return "the item lies outside the inspected tree";
            case TrashError::HomeMissing: return "the home folder does not exist";
            case TrashError::AlreadyInTrash: return "the item is already in the trash";
            case TrashError::CrossesMount:
                return "the item is on another mount than its trash (a bind mount?); moving it would take a copy, "
                       "which the trash never makes";
            case TrashError::NoTrashForVolume: return "no trash can be made on the item's volume";
            case TrashError::NamesExhausted: return "every name for the item in the trash is taken";
        }
        return "unknown trash error";
    }
};

}  // namespace

const std::error_category& trashErrorCategory() {
    static const TrashErrorCategory category;
    return category;
}

std::vector<std::string> FileManager::trashFolders() const {
    static PerLayoutCache<std::vector<std::string>> lists;
    return lists.get(buildTrashFolders);
}

bool FileManager::isPathInTrash(std::string_view path) const {
    if (path.empty()) return false;
    const std::string item = absoluteStandardPath(path);
    const std::string resolvedItem = resolvedFolders(item);
    std::vector<std::string> folders = trashFolders();
    // The trash of the item's own volume counts even when it was made after
    // the list was built, or lies on a volume the list leaves out.
    const auto layout = FileSystemLayout::current();
    int error = 0;
    if (auto volume = platform::mountedVolumeForPath(item, error))
        folders.push_back(volumeTrashFolder(volume->mountPoint, flavourOf(*layout), trashUserID(*layout)));
    for (const std::string& folder : folders) {
        if (isStrictlyInside(item, folder) || isStrictlyInside(resolvedItem, resolvedFolders(folder))) return true;
    }
    return false;
}

bool FileManager::moveItemAtPathToTrash(std::string_view path, std::string* destination,
                                        std::error_code* error) const {
    auto fail = [error](std::error_code code) {
        if (error) *error = code;
        return false;
    };
    if (path.empty()) return fail(errnoCode(ENOENT));
    std::string item;
    if (auto code = locateItem(path, item)) return fail(code);
    const auto layout = FileSystemLayout::current();
    if (auto code = protectionFor(item, *layout)) return fail(code);
    if (isPathInTrash(item)) return fail(TrashError::AlreadyInTrash);
    const std::uint64_t itemDevice = platform::statusOfItem(item, false)->device;

    const TrashFlavour flavour = flavourOf(*layout);
    TrashPlace place{homeTrashFolder(*layout, flavour), {}};
    if (deviceOfFolder(place.folder) != itemDevice) {
        // Items are renamed, never copied: one on another volume goes to that volume's trash.
        int code = 0;
        auto volume = platform::mountedVolumeForPath(item, code);
        if (!volume) return fail(errnoCode(code));
        place = {volumeTrashFolder(volume->mountPoint, flavour, trashUserID(*layout)), volume->mountPoint};
        if (deviceOfFolder(place.folder) != itemDevice) return fail(TrashError::NoTrashForVolume);
    }
    if (auto code = prepareTrash(place, flavour)) return fail(code);

    std::string moved;
    std::error_code code = flavour == TrashFlavour::Mac ? moveIntoMacTrash(item, place, moved)
                                                        : moveIntoFreedesktopTrash(item, place, moved);
    if (code == std::errc::cross_device_link) code = TrashError::CrossesMount;
    if (code) return fail(code);
    if (destination) *destination = moved;
    return true;
}

}  // namespace kq
