// The trash of NSFileManager(KQFoundation): where the trash folders are, and
// moving items into them without ever losing one. See
// NSFileManager+KQFoundation.h for when the Mac trash and when the
// freedesktop.org trash is used.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <map>
#include <mutex>
#include <set>
#include <utility>

#include "KQFoundation/NSFileManager+KQFoundation.h"
#include "KQFoundation/Foundation/PathUtilities.h"
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

std::optional<struct stat> statOf(const std::string& path, bool followLinks = true) {
    struct stat info {};
    if ((followLinks ? stat(path.c_str(), &info) : lstat(path.c_str(), &info)) != 0) return std::nullopt;
    return info;
}

bool isDirectory(const std::string& path) {
    auto info = statOf(path);
    return info && S_ISDIR(info->st_mode);
}

TrashFlavour flavourOf(const FileSystemLayout& layout) {
    if (!layout.isHostRoot()) return TrashFlavour::Mac;
    return isDirectory(stringByAppendingPathComponent(layout.home(), ".Trash")) ? TrashFlavour::Mac
                                                                               : TrashFlavour::Freedesktop;
}

/// The running user, or for a Mac tree the owner of its home folder (the
/// Mac's own user id survives a copy made with ownership kept).
uid_t trashUserID(const FileSystemLayout& layout) {
    if (!layout.isHostRoot())
        if (auto info = statOf(layout.home())) return info->st_uid;
    return getuid();
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
std::string volumeTrashFolder(const std::string& top, TrashFlavour flavour, uid_t uid) {
    const std::string user = std::to_string(uid);
    if (flavour == TrashFlavour::Mac) return stringByAppendingPathComponent(top, ".Trashes/" + user);
    const std::string shared = stringByAppendingPathComponent(top, ".Trash");
    if (auto info = statOf(shared, false); info && S_ISDIR(info->st_mode) && (info->st_mode & S_ISVTX))
        return shared + "/" + user;
    return stringByAppendingPathComponent(top, ".Trash-" + user);
}

/// The device a folder is (or, not yet made, would be) on: that of its nearest existing ancestor.
std::optional<std::uint64_t> deviceOfFolder(std::string folder) {
    for (;;) {
        if (auto info = statOf(folder)) return static_cast<std::uint64_t>(info->st_dev);
        std::string parent = stringByDeletingLastPathComponent(folder);
        if (parent == folder || parent.empty()) return std::nullopt;
        folder = std::move(parent);
    }
}

/// Makes the folder, or accepts the one there. On a shared volume anyone could
/// have put a link there instead, so `followLinks` false accepts only a real folder.
bool makeFolder(const std::string& path, mode_t mode, bool followLinks = true) {
    if (mkdir(path.c_str(), mode) == 0) {
        // The umask must not widen or narrow a trash's access.
        chmod(path.c_str(), mode);
        return true;
    }
    if (errno != EEXIST) return false;
    auto info = statOf(path, followLinks);
    return info && S_ISDIR(info->st_mode);
}

/// Creates the trash (and for the freedesktop trash its files/ and info/).
bool prepareTrash(const TrashPlace& place, TrashFlavour flavour) {
    const bool onSharedVolume = !place.top.empty();
    if (flavour == TrashFlavour::Mac) {
        if (onSharedVolume) {
            // Everyone may add a folder to .Trashes, only its owner can see into it.
            if (!makeFolder(stringByDeletingLastPathComponent(place.folder), 01333, false)) return false;
        } else if (!FileManager::defaultManager().createDirectoryAtPath(stringByDeletingLastPathComponent(place.folder),
                                                                        true)) {
            return false;
        }
        return makeFolder(place.folder, 0700, !onSharedVolume);
    }
    if (!onSharedVolume &&
        !FileManager::defaultManager().createDirectoryAtPath(stringByDeletingLastPathComponent(place.folder), true))
        return false;
    return makeFolder(place.folder, 0700, !onSharedVolume) && makeFolder(place.folder + "/files", 0700, false) &&
           makeFolder(place.folder + "/info", 0700, false);
}

/// "name.ext", "name 2.ext", "name 3.ext" ...
std::string candidateName(const std::string& name, int attempt) {
    if (attempt == 1) return name;
    const std::string extension = pathExtension(name);
    std::string candidate = stringByDeletingPathExtension(name) + " " + std::to_string(attempt);
    return extension.empty() ? candidate : candidate + "." + extension;
}

std::string deletionDate() {
    const std::time_t now = std::time(nullptr);
    std::tm local {};
    localtime_r(&now, &local);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &local);
    return text;
}

/// Reserves `name` in info/ by creating its .trashinfo exclusively. 0, EEXIST or another errno.
int writeTrashInfo(const std::string& infoPath, const std::string& originalPath) {
    const int fd = open(infoPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0) return errno;
    const std::string contents = "[Trash Info]\nPath=" + stringByAddingPercentEscapes(originalPath) +
                                 "\nDeletionDate=" + deletionDate() + "\n";
    std::size_t written = 0;
    int error = 0;
    while (written < contents.size()) {
        const ssize_t n = write(fd, contents.data() + written, contents.size() - written);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            error = n < 0 ? errno : EIO;
            break;
        }
        written += static_cast<std::size_t>(n);
    }
    // The record must be on disk before the item disappears from its place.
    if (!error && fsync(fd) != 0) error = errno;
    close(fd);
    if (error) unlink(infoPath.c_str());
    return error;
}

bool moveIntoMacTrash(const std::string& item, const TrashPlace& place, std::string& moved) {
    const std::string name = lastPathComponent(item);
    for (int attempt = 1; attempt <= kMaximumNameAttempts; ++attempt) {
        const std::string target = place.folder + "/" + candidateName(name, attempt);
        std::error_code error;
        if (FileManager::defaultManager().moveItemAtPath(item, target, &error)) {
            moved = target;
            return true;
        }
        if (error != std::errc::file_exists) return false;
    }
    return false;
}

bool moveIntoFreedesktopTrash(const std::string& item, const TrashPlace& place, std::string& moved) {
    const std::string name = lastPathComponent(item);
    // In a volume's own trash the original place is recorded relative to the volume.
    std::string recordedPath = item;
    if (!place.top.empty() && place.top != "/" && item.compare(0, place.top.size() + 1, place.top + "/") == 0)
        recordedPath = item.substr(place.top.size() + 1);
    else if (place.top == "/")
        recordedPath = item.substr(1);

    for (int attempt = 1; attempt <= kMaximumNameAttempts; ++attempt) {
        const std::string candidate = candidateName(name, attempt);
        const std::string target = place.folder + "/files/" + candidate;
        if (statOf(target, false)) continue;
        const std::string info = place.folder + "/info/" + candidate + ".trashinfo";
        const int reserved = writeTrashInfo(info, recordedPath);
        if (reserved == EEXIST) continue;
        if (reserved != 0) return false;
        std::error_code error;
        if (FileManager::defaultManager().moveItemAtPath(item, target, &error)) {
            moved = target;
            return true;
        }
        unlink(info.c_str());
        // Someone else took the name between our check and the move.
        if (error != std::errc::file_exists) return false;
    }
    return false;
}

std::string absoluteStandardPath(std::string_view path) {
    return absolutePath(stringByExpandingTildeInPath(path));
}

/// The path with its folders resolved (the item itself, if a link, is kept).
std::string resolvedPath(const std::string& path) {
    const std::string parent = stringByDeletingLastPathComponent(path);
    char* resolved = realpath(parent.c_str(), nullptr);
    if (!resolved) return path;
    std::string out = stringByAppendingPathComponent(resolved, lastPathComponent(path));
    std::free(resolved);
    return out;
}

bool isStrictlyInside(const std::string& path, const std::string& folder) {
    if (folder.empty() || path.size() <= folder.size() + 1) return false;
    if (folder == "/") return true;
    return path.compare(0, folder.size(), folder) == 0 && path[folder.size()] == '/';
}

std::vector<std::string> buildTrashFolders(const FileSystemLayout& layout) {
    const TrashFlavour flavour = flavourOf(layout);
    const uid_t uid = trashUserID(layout);
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

}  // namespace

std::vector<std::string> FileManager::trashFolders() const {
    static PerLayoutCache<std::vector<std::string>> lists;
    return lists.get(buildTrashFolders);
}

bool FileManager::isPathInTrash(std::string_view path) const {
    if (path.empty()) return false;
    const std::string item = absoluteStandardPath(path);
    const std::string resolvedItem = resolvedPath(item);
    std::vector<std::string> folders = trashFolders();
    // The trash of the item's own volume counts even when it was made after
    // the list was built, or lies on a volume the list leaves out.
    const auto layout = FileSystemLayout::current();
    int error = 0;
    if (auto volume = platform::mountedVolumeForPath(item, error))
        folders.push_back(volumeTrashFolder(volume->mountPoint, flavourOf(*layout), trashUserID(*layout)));
    for (const std::string& folder : folders) {
        const std::string resolvedFolder = resolvedPath(folder);
        if (isStrictlyInside(item, folder) || isStrictlyInside(resolvedItem, resolvedFolder)) return true;
    }
    return false;
}

bool FileManager::moveItemAtPathToTrash(std::string_view path, std::string* destination) const {
    if (path.empty()) return false;
    const std::string item = absoluteStandardPath(path);
    auto itemInfo = statOf(item, false);
    if (!itemInfo || item == "/" || isPathInTrash(item)) return false;
    const auto itemDevice = static_cast<std::uint64_t>(itemInfo->st_dev);

    const auto layout = FileSystemLayout::current();
    const TrashFlavour flavour = flavourOf(*layout);
    TrashPlace place{homeTrashFolder(*layout, flavour), {}};
    if (deviceOfFolder(place.folder) != itemDevice) {
        // Items are renamed, never copied: one on another volume goes to that volume's trash.
        int error = 0;
        auto volume = platform::mountedVolumeForPath(item, error);
        if (!volume) return false;
        place = {volumeTrashFolder(volume->mountPoint, flavour, trashUserID(*layout)), volume->mountPoint};
        if (deviceOfFolder(place.folder) != itemDevice) return false;
    }
    if (!prepareTrash(place, flavour)) return false;

    std::string moved;
    const bool ok = flavour == TrashFlavour::Mac ? moveIntoMacTrash(item, place, moved)
                                                 : moveIntoFreedesktopTrash(item, place, moved);
    if (ok && destination) *destination = moved;
    return ok;
}

}  // namespace kq
