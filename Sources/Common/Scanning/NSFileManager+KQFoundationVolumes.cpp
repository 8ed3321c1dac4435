// The device-class questions of NSFileManager(KQFoundation).
#include <cerrno>

#include "KQFoundation/NSFileManager+KQFoundation.h"
#include "System/VolumeDevices.h"

namespace kq {

namespace {

// The volume parameter bits the library reads.
constexpr std::uint32_t kIsEjectableBit = 1u << 0;
constexpr std::uint32_t kIsOnInternalBusBit = 1u << 21;
constexpr std::uint32_t kIsOnExternalBusBit = 1u << 27;

// A path with no file-system object behind it.
constexpr int kBadNameStatus = -37;

std::uint32_t volumeFlags(std::string_view path, bool& ok) {
    std::uint32_t flags = 0;
    ok = FileManager::defaultManager().vMExtendedAttributes(flags, path) == 0;
    return flags;
}

}  // namespace

int FileManager::vMExtendedAttributes(std::uint32_t& flags, std::string_view path) const {
    flags = 0;
    int error = 0;
    auto volume = platform::mountedVolumeForPath(std::string(path), error);
    if (!volume) return error == ENOENT || error == ENOTDIR ? kBadNameStatus : -error;
    const platform::DeviceClass device = platform::deviceClassOfVolume(*volume);
    if (device.ejectable) flags |= kIsEjectableBit;
    if (device.bus == platform::DeviceBus::Internal) flags |= kIsOnInternalBusBit;
    if (device.bus == platform::DeviceBus::External) flags |= kIsOnExternalBusBit;
    return 0;
}

bool FileManager::isPathOnEjectableDiskDrive(std::string_view path) const {
    bool ok = false;
    const std::uint32_t flags = volumeFlags(path, ok);
    return ok && (flags & kIsEjectableBit) != 0;
}

bool FileManager::isPathOnInternalDevice(std::string_view path) const {
    bool ok = false;
    const std::uint32_t flags = volumeFlags(path, ok);
    return ok && (flags & kIsOnInternalBusBit) != 0;
}

bool FileManager::isPathOnExternalDevice(std::string_view path) const {
    bool ok = false;
    const std::uint32_t flags = volumeFlags(path, ok);
    return ok && (flags & kIsOnExternalBusBit) != 0;
}

bool FileManager::isPathOnStorageDevice(std::string_view path) const {
    return isPathOnExternalDevice(path) || isPathOnInternalDevice(path);
}

}  // namespace kq
