#include "System/Linux/LinuxVolumeDevices.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <climits>
#include <cstdlib>

#include "System/Linux/LinuxFiles.h"

namespace kq::platform {

namespace {

/// mountinfo writes space, tab, newline and backslash as octal escapes.
std::string unescapeMountField(std::string_view field) {
    std::string out;
    out.reserve(field.size());
    for (std::size_t i = 0; i < field.size(); ++i) {
        const auto isOctal = [](char c) { return c >= '0' && c <= '7'; };
        if (field[i] == '\\' && i + 3 < field.size() && isOctal(field[i + 1]) && isOctal(field[i + 2]) &&
            isOctal(field[i + 3])) {
            out.push_back(
                static_cast<char>(((field[i + 1] - '0') << 6) | ((field[i + 2] - '0') << 3) | (field[i + 3] - '0')));
            i += 3;
            continue;
        }
        out.push_back(field[i]);
    }
    return out;
}

std::vector<std::string_view> fields(std::string_view line) {
    std::vector<std::string_view> out;
    std::size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && line[i] == ' ') ++i;
        std::size_t start = i;
        while (i < line.size() && line[i] != ' ') ++i;
        if (i > start) out.push_back(line.substr(start, i - start));
    }
    return out;
}

std::optional<std::string> realPath(const std::string& path) {
    char* resolved = ::realpath(path.c_str(), nullptr);
    if (!resolved) return std::nullopt;
    std::string out(resolved);
    std::free(resolved);
    return out;
}

bool isPathPrefix(std::string_view prefix, std::string_view path) {
    if (prefix == "/") return !path.empty() && path.front() == '/';
    return path == prefix || (path.size() > prefix.size() && path.substr(0, prefix.size()) == prefix &&
                              path[prefix.size()] == '/');
}

std::string parentOf(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    if (slash == std::string::npos) return ".";
    if (slash == 0) return "/";
    return path.substr(0, slash);
}

/// Stacked devices (device mapper, md) name what they are built on in slaves/.
constexpr int kMaximumStackDepth = 8;

DeviceClass classifyDeviceFolder(const std::string& folder, const std::string& sysRoot,
                                 const std::string& resolvedSysRoot, int depth) {
    DeviceClass result;
    std::string disk = folder;
    if (linuxfiles::exists(folder + "/partition")) disk = parentOf(folder);

    if (depth < kMaximumStackDepth) {
        for (const std::string& slave : linuxfiles::listDirectory(disk + "/slaves")) {
            if (auto resolved = realPath(sysRoot + "/class/block/" + slave))
                return classifyDeviceFolder(*resolved, sysRoot, resolvedSysRoot, depth + 1);
        }
    }
    std::string_view relative = disk;
    if (isPathPrefix(resolvedSysRoot, relative) && resolvedSysRoot != "/") relative.remove_prefix(resolvedSysRoot.size());
    result.bus = busOfSysfsDevicePath(relative);
    // Mac volumes on external buses can always be ejected; on internal ones
    // only removable media (card readers, optical drives) can.
    result.ejectable = linuxfiles::readNumber(disk + "/removable").value_or(0) == 1 ||
                       result.bus == DeviceBus::External;
    return result;
}

}  // namespace

std::vector<MountedVolume> parseMountInfo(std::string_view text) {
    std::vector<MountedVolume> entries;
    for (std::string_view line : linuxfiles::split(text, '\n')) {
        // id parent major:minor root mount-point options [optional...] - type source super-options
        const std::vector<std::string_view> parts = fields(line);
        if (parts.size() < 7) continue;
        std::size_t separator = 6;
        while (separator < parts.size() && parts[separator] != "-") ++separator;
        if (separator + 1 >= parts.size()) continue;
        const std::string_view numbers = parts[2];
        const std::size_t colon = numbers.find(':');
        if (colon == std::string_view::npos) continue;
        auto major = linuxfiles::parseNumber(numbers.substr(0, colon));
        auto minor = linuxfiles::parseNumber(numbers.substr(colon + 1));
        if (!major || !minor) continue;
        MountedVolume entry;
        entry.deviceID = makedev(static_cast<unsigned>(*major), static_cast<unsigned>(*minor));
        entry.mountPoint = unescapeMountField(parts[4]);
        if (separator + 1 < parts.size()) entry.fileSystemType = unescapeMountField(parts[separator + 1]);
        if (separator + 2 < parts.size()) entry.source = unescapeMountField(parts[separator + 2]);
        entries.push_back(std::move(entry));
    }
    return entries;
}

std::vector<MountedVolume> mountedVolumes() {
    auto text = linuxfiles::readFile("/proc/self/mountinfo");
    return text ? parseMountInfo(*text) : std::vector<MountedVolume>{};
}

std::optional<MountedVolume> mountedVolumeForPath(const std::string& path, int& error) {
    struct stat info {};
    if (path.empty() || lstat(path.c_str(), &info) != 0) {
        error = path.empty() ? ENOENT : errno;
        return std::nullopt;
    }
    // Resolve the folders on the way, but not a link at the end.
    std::optional<std::string> location;
    if (S_ISLNK(info.st_mode)) {
        std::string name = path.substr(path.find_last_of('/') + 1);
        if (auto parent = realPath(parentOf(path))) location = (*parent == "/" ? "" : *parent) + "/" + name;
    } else {
        location = realPath(path);
    }
    if (!location) {
        error = errno ? errno : ENOENT;
        return std::nullopt;
    }

    const MountedVolume* best = nullptr;
    bool bestMatchesDevice = false;
    const std::vector<MountedVolume> mounts = mountedVolumes();
    for (const MountedVolume& mount : mounts) {
        if (!isPathPrefix(mount.mountPoint, *location)) continue;
        const bool matchesDevice = mount.deviceID == static_cast<std::uint64_t>(info.st_dev);
        // The deepest mount point wins, and among equals the later mount (it
        // hides the earlier one). File systems such as btrfs report other
        // device numbers for subvolumes, so a device match is preferred, not required.
        if (!best || (matchesDevice && !bestMatchesDevice) ||
            (matchesDevice == bestMatchesDevice && mount.mountPoint.size() >= best->mountPoint.size())) {
            best = &mount;
            bestMatchesDevice = matchesDevice;
        }
    }
    if (!best) {
        error = ENOENT;
        return std::nullopt;
    }
    error = 0;
    return *best;
}

DeviceBus busOfSysfsDevicePath(std::string_view devicePath) {
    bool onPCI = false, storageController = false;
    for (std::string_view component : linuxfiles::split(devicePath, '/')) {
        const auto startsWith = [&](std::string_view prefix) { return component.substr(0, prefix.size()) == prefix; };
        if (component == "virtual") return DeviceBus::None;
        const bool firewire = startsWith("firewire") || (startsWith("fw") && component.size() > 2 &&
                                                          component[2] >= '0' && component[2] <= '9');
        if (startsWith("usb") || firewire) return DeviceBus::External;
        if (startsWith("pci")) onPCI = true;
        if (startsWith("ata") || startsWith("nvme") || startsWith("virtio") || startsWith("mmc") ||
            startsWith("host"))
            storageController = true;
    }
    // Anything else on the PCI bus is a controller built into the machine.
    return onPCI || storageController ? DeviceBus::Internal : DeviceBus::None;
}

DeviceClass deviceClassOfBlockDevice(unsigned major, unsigned minor, const std::string& sysRoot) {
    // Major 0 is the anonymous devices of tmpfs, proc, overlay, network file systems.
    if (major == 0) return {};
    auto folder = realPath(sysRoot + "/dev/block/" + std::to_string(major) + ":" + std::to_string(minor));
    if (!folder) return {};
    const std::string resolvedRoot = realPath(sysRoot).value_or(sysRoot);
    return classifyDeviceFolder(*folder, sysRoot, resolvedRoot, 0);
}

DeviceClass deviceClassOfVolume(const MountedVolume& volume) {
    return deviceClassOfBlockDevice(::major(volume.deviceID), ::minor(volume.deviceID));
}

}  // namespace kq::platform
