#include <gtest/gtest.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <string>
#include <tuple>
#include <utility>

#include "System/Linux/LinuxVolumeDevices.h"
#include "Support/TemporaryDirectory.h"

namespace {

using kq::platform::DeviceBus;

TEST(VolumeDevicesTests, MountInfoWithEscapesAndOptionalFieldsAndBusFromTheDevicePath) {
    const auto volumes = kq::platform::parseMountInfo(
        "26 1 254:0 / / rw,relatime - ext4 /dev/vda rw\n"
        "41 26 8:17 / /media/jane/My\\040Disk rw,nosuid shared:12 master:3 - exfat /dev/sdb1 rw\n"
        "garbage line\n"
        "42 26 0:40 / /mnt/share rw - nfs4 server:/export rw\n");
    ASSERT_EQ(volumes.size(), 3u);
    EXPECT_EQ(std::tie(volumes[0].mountPoint, volumes[0].deviceID), std::make_tuple("/", makedev(254, 0)));
    EXPECT_EQ(std::tie(volumes[1].mountPoint, volumes[1].fileSystemType, volumes[1].source, volumes[1].deviceID),
              std::make_tuple("/media/jane/My Disk", "exfat", "/dev/sdb1", makedev(8, 17)));
    EXPECT_EQ(volumes[2].fileSystemType, "nfs4");

    // USB, NVMe and virtual devices are covered by the recorded tree below.
    for (auto [path, bus] : {std::pair{"/devices/pci0000:00/0000:00:17.0/ata1/host0/target0:0:0/0:0:0:0/block/sda",
                                       DeviceBus::Internal},
                             {"/devices/pci0000:00/0000:00:05.0/virtio2/block/vda", DeviceBus::Internal},
                             {"/devices/vbd-51712/block/xvda", DeviceBus::None}})
        EXPECT_EQ(kq::platform::busOfSysfsDevicePath(path), bus) << path;
}

class RecordedSysfs : public ::testing::Test {
protected:
    /// A disk folder with its removable flag and a partition, linked from dev/block.
    std::string disk(const std::string& devicePath, const std::string& name, int removable, const char* numbers,
                     const char* partitionNumbers) {
        const std::string folder = devicePath + "/block/" + name;
        tmp.writeFile("sys" + folder + "/removable", std::to_string(removable) + "\n");
        tmp.makeSymlink("sys/class/block/" + name, "../.." + folder);
        tmp.makeSymlink(std::string("sys/dev/block/") + numbers, "../.." + folder);
        if (partitionNumbers) {
            tmp.writeFile("sys" + folder + "/" + name + "1/partition", "1\n");
            tmp.makeSymlink("sys/class/block/" + name + "1", "../.." + folder + "/" + name + "1");
            tmp.makeSymlink(std::string("sys/dev/block/") + partitionNumbers, "../.." + folder + "/" + name + "1");
        }
        return folder;
    }

    kq::platform::DeviceClass classOf(unsigned major, unsigned minor) {
        return kq::platform::deviceClassOfBlockDevice(major, minor, tmp / "sys");
    }

    kqtest::TemporaryDirectory tmp;
};

TEST_F(RecordedSysfs, DisksAreClassifiedByBusAndRemovableFlag) {
    disk("/devices/pci0000:00/0000:00:14.0/usb2/2-1/2-1:1.0/host6/target6:0:0/6:0:0:0", "sdb", 0, "8:16", "8:17");
    disk("/devices/pci0000:00/0000:00:1d.0/0000:3d:00.0/nvme/nvme0", "nvme0n1", 0, "259:0", "259:1");
    disk("/devices/platform/soc/mmc_host/mmc0/mmc0:0001", "mmcblk0", 1, "179:0", nullptr);
    disk("/devices/virtual", "loop0", 0, "7:0", nullptr);
    // An encrypted volume on the NVMe partition.
    tmp.makeDirectory("sys/devices/virtual/block/dm-0/slaves");
    tmp.makeSymlink("sys/devices/virtual/block/dm-0/slaves/nvme0n11", "../../../../../class/block/nvme0n11");
    tmp.makeSymlink("sys/dev/block/253:0", "../../devices/virtual/block/dm-0");

    // External disks eject even without the removable flag; anonymous and
    // unknown devices (0:40, 8:99) have no bus.
    struct Case {
        unsigned major, minor;
        DeviceBus bus;
        bool ejectable;
    };
    for (const Case& c : {Case{8, 17, DeviceBus::External, true}, Case{259, 1, DeviceBus::Internal, false},
                          Case{179, 0, DeviceBus::Internal, true}, Case{7, 0, DeviceBus::None, false},
                          Case{253, 0, DeviceBus::Internal, false}, Case{0, 40, DeviceBus::None, false},
                          Case{8, 99, DeviceBus::None, false}}) {
        const auto found = classOf(c.major, c.minor);
        EXPECT_TRUE(found.bus == c.bus && found.ejectable == c.ejectable) << c.major << ":" << c.minor;
    }
}

TEST(VolumeDevicesTests, VolumeForPathFindsTheDeepestMount) {
    int error = 0;
    EXPECT_FALSE(kq::platform::mountedVolumeForPath("/no/such/path", error));
    EXPECT_EQ(error, ENOENT);
    EXPECT_EQ(kq::platform::mountedVolumeForPath("/", error).value().mountPoint, "/");
    EXPECT_EQ(kq::platform::mountedVolumeForPath("/proc/self/status", error).value().mountPoint, "/proc");
}

}  // namespace
