#pragma once
// The Linux parts of the volume seam, open to tests: mountinfo parsing and
// the classification of block devices from their place in sysfs. A disk
// below a USB or FireWire controller is external; one on ATA, NVMe, virtio,
// MMC or another PCI storage controller internal. Device-mapper and md
// devices are classified by the first device they are built on (slaves/).
#include <string>
#include <string_view>
#include <vector>

#include "System/VolumeDevices.h"

namespace kq::platform {

/// The lines of a mountinfo file, in file order; lines it cannot read are skipped.
std::vector<MountedVolume> parseMountInfo(std::string_view text);

/// The bus of a block device from its resolved sysfs path
/// ("/sys/devices/pci0000:00/0000:00:14.0/usb2/.../block/sdb" is External).
DeviceBus busOfSysfsDevicePath(std::string_view devicePath);

/// The class of the block device major:minor, looked up below `sysRoot`
/// (tests point it at a recorded tree). Removable media, and every disk on
/// an external bus, are ejectable.
DeviceClass deviceClassOfBlockDevice(unsigned major, unsigned minor, const std::string& sysRoot = "/sys");

}  // namespace kq::platform
