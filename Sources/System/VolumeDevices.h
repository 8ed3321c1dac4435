#pragma once
// Which mounted volume holds a path, and what kind of device is under it:
// the seam behind the volume questions of NSFileManager(KQFoundation).
// Linux answers from /proc/self/mountinfo and the block devices in /sys
// (Linux/VolumeDevices.cpp).
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kq::platform {

struct MountedVolume {
    /// The device number items on the volume report (st_dev).
    std::uint64_t deviceID = 0;
    std::string mountPoint;
    std::string fileSystemType;
    std::string source;
};

/// The mounts of this process, in mount order (later mounts hide earlier ones).
std::vector<MountedVolume> mountedVolumes();

/// The volume that holds the item at `path` (the item itself: a symbolic link
/// is looked up where it lies, not where it points). nullopt with `error` set
/// to an errno value when the item cannot be reached.
std::optional<MountedVolume> mountedVolumeForPath(const std::string& path, int& error);

enum class DeviceBus { None, Internal, External };

struct DeviceClass {
    bool ejectable = false;
    DeviceBus bus = DeviceBus::None;
};

/// The class of the device under the volume. Memory, network and virtual
/// file systems have no bus and are not ejectable.
DeviceClass deviceClassOfVolume(const MountedVolume& volume);

}  // namespace kq::platform
