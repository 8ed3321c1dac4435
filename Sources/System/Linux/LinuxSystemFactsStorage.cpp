// Disks and volumes on Linux: /proc/self/mountinfo, /sys/dev/block and statvfs.
//
// Visible volumes are mounts of block devices and network file systems;
// kernel file systems (proc, sysfs, tmpfs...), bind mounts of sub-folders and
// a device's second mount are hidden, and so are /boot and snap images.
// Volumes under /media, /run/media and /mnt are the ones a user mounted and
// may unmount; a device flagged removable, or on USB, is removable.
#include <sys/statvfs.h>

#include <filesystem>
#include <set>

#include "LinuxFiles.h"
#include "LinuxSystemFacts.h"

namespace kq {

using namespace linuxfiles;

namespace {

struct MountEntry {
    std::string device;  // "major:minor"
    std::string subtree;  // the part of the file system mounted ("/" for all of it)
    std::string mountPoint;
    std::string options;
    std::string type;
    std::string source;
};

// mountinfo writes space, tab, newline and backslash as \ooo.
std::string unescapeMountField(std::string_view field) {
    std::string out;
    for (std::size_t i = 0; i < field.size(); ++i) {
        const std::string_view digits = field.substr(i + 1, 3);
        if (field[i] == '\\' && digits.size() == 3 && digits.find_first_not_of("01234567") == std::string_view::npos) {
            out.push_back(static_cast<char>((digits[0] - '0') * 64 + (digits[1] - '0') * 8 + (digits[2] - '0')));
            i += 3;
        } else {
            out.push_back(field[i]);
        }
    }
    return out;
}

std::vector<MountEntry> readMounts(const LinuxSystemFacts& facts) {
    std::vector<MountEntry> mounts;
    const auto text = readFile(facts.path("/proc/self/mountinfo"));
    if (!text) return mounts;
    for (std::string_view line : split(*text, '\n')) {
        std::vector<std::string_view> fields;
        for (std::string_view field : split(line, ' '))
            if (!field.empty()) fields.push_back(field);
        // id parent major:minor root mount-point options [optional...] - type source super-options
        std::size_t dash = 6;
        while (dash < fields.size() && fields[dash] != "-") ++dash;
        if (fields.size() < 6 || dash + 2 >= fields.size()) continue;
        mounts.push_back(MountEntry{std::string(fields[2]), unescapeMountField(fields[3]), unescapeMountField(fields[4]),
                                    std::string(fields[5]), std::string(fields[dash + 1]),
                                    unescapeMountField(fields[dash + 2])});
    }
    return mounts;
}

bool isUnder(std::string_view path, std::string_view folder) {
    if (folder == "/") return true;
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

bool isNetworkFileSystem(std::string_view type) {
    static const std::set<std::string_view> types{"nfs", "nfs4", "cifs", "smb3", "smbfs", "afs", "9p", "fuse.sshfs"};
    return types.count(type) > 0;
}

bool isVisibleVolume(const MountEntry& mount) {
    if (mount.subtree != "/") return false;
    for (std::string_view hidden : {"/proc", "/sys", "/dev", "/boot", "/snap", "/var/snap", "/var/lib/docker"})
        if (isUnder(mount.mountPoint, hidden)) return false;
    if (isUnder(mount.mountPoint, "/run") && !isUnder(mount.mountPoint, "/run/media")) return false;
    if (mount.mountPoint == "/") return true;
    return mount.source.starts_with("/dev/") || isNetworkFileSystem(mount.type);
}

// The mount that holds the path (the longest mount point above it; the last of equals).
std::optional<MountEntry> mountHolding(const std::vector<MountEntry>& mounts, std::string_view path) {
    std::optional<MountEntry> best;
    for (const MountEntry& mount : mounts)
        if (isUnder(path, mount.mountPoint) && (!best || mount.mountPoint.size() >= best->mountPoint.size()))
            best = mount;
    return best;
}

std::optional<std::filesystem::path> blockDeviceFolder(const LinuxSystemFacts& facts, const MountEntry& mount) {
    std::error_code error;
    auto folder = std::filesystem::canonical(facts.path("/sys/dev/block/" + mount.device), error);
    if (!error) return folder;
    if (mount.source.starts_with("/dev/")) {
        folder = std::filesystem::canonical(facts.path("/sys/class/block/" + mount.source.substr(5)), error);
        if (!error) return folder;
    }
    return std::nullopt;
}

std::optional<std::uint64_t> sectorsAsBytes(const std::filesystem::path& folder) {
    auto sectors = readNumber((folder / "size").string());
    if (!sectors) return std::nullopt;
    return *sectors * 512;  // sysfs counts 512-byte sectors whatever the disk's block size
}

}  // namespace

// Partitions are slices of media, their parent folder is the whole disk;
// device-mapper and RAID devices are no media and lead on to the first
// device below them.
std::optional<std::vector<StorageEntryFact>> LinuxSystemFacts::rootVolumeStorageChain() const {
    const auto mounts = readMounts(*this);
    std::optional<MountEntry> rootMount;
    for (const MountEntry& mount : mounts)
        if (mount.mountPoint == "/") rootMount = mount;
    if (!rootMount) return std::nullopt;
    auto folder = blockDeviceFolder(*this, *rootMount);
    if (!folder) return std::nullopt;

    std::vector<StorageEntryFact> chain;
    for (int depth = 0; depth < 16; ++depth) {
        if (exists((*folder / "partition").string())) {
            chain.push_back({true, false, sectorsAsBytes(*folder)});
            folder = folder->parent_path();
            continue;
        }
        const auto slaves = listDirectory((*folder / "slaves").string());
        if (!slaves.empty()) {
            chain.push_back({false, false, std::nullopt});
            std::error_code error;
            auto next = std::filesystem::canonical(*folder / "slaves" / slaves.front(), error);
            if (error) break;
            folder = next;
            continue;
        }
        chain.push_back({true, true, sectorsAsBytes(*folder)});
        break;
    }
    return chain;
}

std::vector<std::string> LinuxSystemFacts::mountedVolumePaths() const {
    std::vector<std::string> paths;
    std::set<std::string> devices;
    for (const MountEntry& mount : readMounts(*this)) {
        if (!isVisibleVolume(mount) || !devices.insert(mount.device).second) continue;
        paths.push_back(mount.mountPoint);
    }
    return paths;
}

std::optional<VolumeFact> LinuxSystemFacts::volumeAtPath(std::string_view volumePath) const {
    if (volumePath.empty() || volumePath.front() != '/' || !exists(path(volumePath))) return std::nullopt;
    const auto mount = mountHolding(readMounts(*this), volumePath);
    if (!mount) return std::nullopt;
    VolumeFact fact;
    fact.type = mount->type;
    fact.description = mount->source;
    fact.writable = split(mount->options, ',').front() == "rw";
    if (auto folder = blockDeviceFolder(*this, *mount)) {
        auto disk = *folder;
        if (exists((disk / "partition").string())) disk = disk.parent_path();
        fact.removable = readNumber((disk / "removable").string()).value_or(0) == 1 ||
                         disk.string().find("/usb") != std::string::npos;
    }
    fact.unmountable = mount->mountPoint != "/" &&
                       (fact.removable || isUnder(mount->mountPoint, "/media") ||
                        isUnder(mount->mountPoint, "/run/media") || isUnder(mount->mountPoint, "/mnt"));
    return fact;
}

VolumeCapacityFact LinuxSystemFacts::volumeCapacity(std::string_view volumePath) const {
    VolumeCapacityFact capacity;
    struct statvfs info;
    if (::statvfs(path(volumePath).c_str(), &info) != 0) return capacity;
    capacity.available = static_cast<std::int64_t>(info.f_bavail) * static_cast<std::int64_t>(info.f_frsize);
    capacity.total = static_cast<std::int64_t>(info.f_blocks) * static_cast<std::int64_t>(info.f_frsize);
    return capacity;
}

}  // namespace kq
