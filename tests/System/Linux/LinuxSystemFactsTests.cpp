#include "System/Linux/LinuxSystemFacts.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <tuple>

#include "Support/TemporaryDirectory.h"

namespace {

using kqtest::TemporaryDirectory;

class LinuxSystemFactsTest : public ::testing::Test {
protected:
    kq::LinuxSystemFacts facts() const {
        return kq::LinuxSystemFacts({root.path(), root / "home/sam", /*runDesktopTools=*/false});
    }
    auto processor() const {
        const auto f = facts();
        return std::make_tuple(f.cpuFrequency(), f.processorClockSpeed(), f.cpuPackages(), f.cpuCores());
    }
    static kq::Data bytes(std::string_view text) { return kq::Data(text.begin(), text.end()); }
    TemporaryDirectory root;
};

TEST_F(LinuxSystemFactsTest, ModelFromDMIThenDeviceTreeThenACPI) {
    // A virtual machine names itself in the ACPI tables.
    root.writeFile("sys/firmware/acpi/tables/FACP", "short");
    EXPECT_EQ(facts().deviceTreeModel(), std::nullopt);
    std::string fadt(116, '\0');
    fadt.replace(0, 4, "FACP");
    fadt.replace(10, 6, "BOCHS ");
    fadt.replace(16, 8, "BXPCFACP");
    root.writeFile("sys/firmware/acpi/tables/FACP", fadt);
    EXPECT_EQ(facts().deviceTreeModel(), bytes("BOCHS BXPCFACP"));

    root.writeFile("sys/firmware/devicetree/base/model", std::string_view("Raspberry Pi 4 Model B\0", 23));
    root.writeFile("sys/firmware/devicetree/base/compatible", std::string_view("raspberrypi,4-model-b\0brcm,bcm2711\0", 35));
    EXPECT_EQ(facts().deviceTreeModel(), bytes(std::string_view("Raspberry Pi 4 Model B\0", 23)));
    EXPECT_EQ(std::make_tuple(facts().modelIdentifier(), facts().modelName()),
              std::make_tuple("raspberrypi,4-model-b", "Raspberry Pi 4 Model B"));

    root.writeFile("sys/class/dmi/id/product_name", "20KH006MGE\n");
    root.writeFile("sys/class/dmi/id/product_family", "ThinkPad X1 Carbon 6th\n");
    root.writeFile("sys/class/dmi/id/sys_vendor", "LENOVO\n");
    EXPECT_EQ(std::make_tuple(facts().deviceTreeModel(), facts().modelName()),
              std::make_tuple(bytes("20KH006MGE"), "LENOVO ThinkPad X1 Carbon 6th"));
}

TEST_F(LinuxSystemFactsTest, SerialNumberAndComputerName) {
    EXPECT_EQ(facts().platformSerialNumber(), std::nullopt);
    root.writeFile("sys/firmware/devicetree/base/serial-number", std::string_view("10000000abcdef01\0", 17));
    EXPECT_EQ(facts().platformSerialNumber(), "10000000abcdef01");
    root.writeFile("sys/class/dmi/id/product_serial", "PF1ABCDE\n");
    EXPECT_EQ(facts().platformSerialNumber(), "PF1ABCDE");

    root.writeFile("etc/hostname", "# set by the installer\nworkstation\n");
    EXPECT_EQ(facts().computerName(), "workstation");
    root.writeFile("etc/machine-info", "PRETTY_HOSTNAME=\"Sam's \\\"Laptop\\\"\"\nCHASSIS=laptop\n");
    EXPECT_EQ(facts().computerName(), "Sam's \"Laptop\"");
}

TEST_F(LinuxSystemFactsTest, EnNamesCountNonLoopbackInterfacesInNameOrder) {
    root.writeFile("sys/class/net/lo/address", "00:00:00:00:00:00\n");
    root.writeFile("sys/class/net/lo/type", "772\n");
    EXPECT_EQ(facts().networkInterface("en0"), std::nullopt);

    root.writeFile("sys/class/net/wlp2s0/address", "a4:5e:60:c1:22:3b\n");
    root.writeFile("sys/class/net/tun0/address", "\n");
    root.writeFile("sys/class/net/enp0s31f6/address", "8c:16:45:01:02:03\n");
    root.writeFile("sys/class/net/ib0/address", "80:00:02:08:fe:80:00:00:00:00:00:00:00:02:c9:03:00:0a:bc:d1\n");
    const auto en0 = facts().networkInterface("en0").value();
    EXPECT_EQ(en0.services.size(), 1u);
    EXPECT_EQ(en0.services.at(0).hardwareAddress, (kq::Data{0x8c, 0x16, 0x45, 0x01, 0x02, 0x03}));
    EXPECT_EQ(facts().networkInterface("en1")->services[0].hardwareAddress->size(), 20u);
    EXPECT_EQ(facts().networkInterface("en2")->services[0].hardwareAddress,
              (kq::Data{0xa4, 0x5e, 0x60, 0xc1, 0x22, 0x3b}));
    EXPECT_FALSE(facts().networkInterface("en3") || facts().networkInterface("eth0"));
}

TEST_F(LinuxSystemFactsTest, ProcessorFromCPUInfoAndTopologyOnEveryArchitecture) {
    // Each architecture names its processor differently.
    root.writeFile("proc/cpuinfo", "processor\t: 0\ncpu\t\t: 7447A, altivec supported\nclock\t\t: 1249.999995MHz\n"
                                   "\nplatform\t: PowerMac\n");
    EXPECT_EQ(std::make_tuple(facts().hostBasicInfo()->cpuType, facts().hostBasicInfo()->cpuSubtype),
              std::make_tuple(kq::kCPUTypePowerPC, kq::kCPUSubtypePowerPC7450));
    EXPECT_EQ(std::make_tuple(facts().cpuBrandString(), facts().cpuFrequency()),
              std::make_tuple("7447A, altivec supported", 1249999995u));
    for (auto [cpu, subtype] : {std::pair{"740/750", kq::kCPUSubtypePowerPC750}, {"7400, altivec supported", 10},
                                {"PPC970FX, altivec supported", 100}}) {
        root.writeFile("proc/cpuinfo", std::string("processor\t: 0\ncpu\t\t: ") + cpu + "\n");
        EXPECT_EQ(facts().hostBasicInfo()->cpuSubtype, subtype) << cpu;
    }
    root.writeFile("proc/cpuinfo", "processor\t: 0\nBogoMIPS\t: 108.00\nCPU architecture: 8\n");
    EXPECT_EQ(std::make_tuple(facts().hostBasicInfo()->cpuType, facts().cpuBrandString()),
              std::make_tuple(kq::kCPUTypeARM64, std::nullopt));

    root.writeFile("proc/cpuinfo",
                   "processor\t: 0\nvendor_id\t: GenuineIntel\nmodel name\t: Intel(R) Core(TM) i7-8650U CPU @ 1.90GHz\n"
                   "cpu MHz\t\t: 2112.000\nphysical id\t: 0\ncore id\t\t: 0\nflags\t\t: fpu lm sse\n\n"
                   "processor\t: 1\nphysical id\t: 0\ncore id\t\t: 1\n\n"
                   "processor\t: 2\nphysical id\t: 0\ncore id\t\t: 0\n\n");
    root.writeFile("proc/meminfo", "MemTotal:       16213772 kB\nMemFree:         1000 kB\n");
    const auto info = facts().hostBasicInfo().value();
    EXPECT_EQ(std::tie(info.maxCpus, info.cpuType, info.maxMem), std::make_tuple(3, kq::kCPUTypeX86_64, 16213772ull * 1024));
    EXPECT_EQ(facts().cpuBrandString(), "Intel(R) Core(TM) i7-8650U CPU @ 1.90GHz");
    EXPECT_EQ(processor(), std::make_tuple(2112000000u, 2112000000, 1u, 2u));

    // sysfs wins where it exists: nominal clock, online processors, topology.
    root.writeFile("sys/devices/system/cpu/cpu0/cpufreq/base_frequency", "1900000\n");
    root.writeFile("sys/devices/system/cpu/online", "0-3,6\n");
    for (auto [cpu, package, core] : {std::tuple{0, 0, 0}, {1, 0, 1}, {2, 1, 0}, {3, 1, 0}}) {
        const std::string topology = "sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/topology/";
        root.writeFile(topology + "physical_package_id", std::to_string(package));
        root.writeFile(topology + "core_id", std::to_string(core));
    }
    EXPECT_EQ(processor(), std::make_tuple(1900000000u, 1900000000, 2u, 3u));
    EXPECT_EQ(facts().hostBasicInfo()->maxCpus, 5);
}

TEST_F(LinuxSystemFactsTest, PageCountersPhysicalMemoryAndFirmwareMemoryMap) {
    const std::uint64_t pageKB = facts().pageSize().value() / 1024;
    std::string meminfo = "MemTotal: 16000000 kB\n";
    for (auto [key, pages] : {std::pair{"MemFree", 1000}, {"Active", 200}, {"Inactive", 300}, {"Unevictable", 10},
                              {"SUnreclaim", 20}, {"KernelStack", 3}, {"PageTables", 7}, {"Zswap", 40}})
        meminfo += std::string(key) + ": " + std::to_string(pages * pageKB) + " kB\n";
    root.writeFile("proc/meminfo", meminfo);
    root.writeFile("proc/vmstat", "nr_free_pages 5\npgfault 123456\npgmajfault 77\npswpin 3\npswpout 4\n");
    const auto statistics = facts().vmStatistics();
    ASSERT_TRUE(statistics.has_value());
    EXPECT_EQ(std::tie(statistics->free_count, statistics->active_count, statistics->inactive_count,
                       statistics->wire_count, statistics->faults),
              std::make_tuple(1000u, 200u, 300u, 40u, 123456u));
    EXPECT_EQ(std::make_tuple(facts().vmStatistics64()->compressor_page_count, facts().vmStatistics64()->swapouts),
              std::make_tuple(40u, 4u));
    root.writeFile("proc/meminfo", "garbage\n");
    EXPECT_EQ(facts().vmStatistics(), std::nullopt);

    root.writeFile("proc/meminfo", "MemTotal: 1000 kB\n");
    EXPECT_EQ(facts().memorySize(), 1024000u);
    std::uint64_t bytes = 99;
    errno = 0;
    EXPECT_EQ(facts().firmwareMemoryFigure("machdep.memmap.Reserved", bytes), -1);
    EXPECT_EQ(errno, ENOENT);

    // Range 2 is 64 MiB taken by graphics; range 3 a device window with no RAM behind it.
    int index = 0;
    for (auto [start, end, type] : {std::tuple{"0x0", "0x9fbff", "System RAM"}, {"0x9fc00", "0xfffff", "Reserved"},
                                    {"0x8c000000", "0x8fffffff", "Reserved"}, {"0xe0000000", "0xefffffff", "Reserved"},
                                    {"0x8b000000", "0x8b0fffff", "ACPI Non-volatile Storage"},
                                    {"0x8b100000", "0x8b1fffff", "Unusable memory"}}) {
        const std::string base = "sys/firmware/memmap/" + std::to_string(index++) + "/";
        root.writeFile(base + "start", start);
        root.writeFile(base + "end", end);
        root.writeFile(base + "type", type);
    }
    root.writeFile("sys/devices/system/memory/block_size_bytes", "8000000\n");
    for (int block = 0; block < 18; ++block)
        root.writeFile("sys/devices/system/memory/memory" + std::to_string(block) + "/state", "online\n");
    root.writeFile("sys/devices/system/memory/memory41/state", "offline\n");
    EXPECT_EQ(facts().memorySize(), 18u * 0x8000000);

    errno = 0;
    for (auto [figure, expected] : {std::pair{"Reserved", 0x60400u + 0x4000000u}, {"Unusable", 0x100000u}, {"Other", 0x100000u}}) {
        EXPECT_EQ(facts().firmwareMemoryFigure(std::string("machdep.memmap.") + figure, bytes), 0);
        EXPECT_EQ(bytes, expected) << figure;
    }
    EXPECT_EQ(errno, 0);
    EXPECT_EQ(facts().firmwareMemoryFigure("machdep.memmap.Bogus", bytes), -1);
}

TEST_F(LinuxSystemFactsTest, OperatingSystemAndBootTime) {
    EXPECT_EQ(facts().operatingSystemName(), "Linux");
    EXPECT_EQ(facts().systemVersionComponent(0), std::nullopt);
    root.writeFile("usr/lib/os-release", "NAME=Fallback\n");
    EXPECT_EQ(facts().operatingSystemName(), "Fallback");
    root.writeFile("etc/os-release", "# comment\nNAME=\"Debian GNU/Linux\"\nVERSION_ID=\"12\"\nVERSION='12 (bookworm)'\n");
    EXPECT_EQ(facts().operatingSystemName(), "Debian GNU/Linux");
    EXPECT_EQ(facts().operatingSystemVersionString(), "12 (bookworm)");
    EXPECT_EQ(facts().systemVersionComponent(0), 12);
    EXPECT_EQ(facts().systemVersionComponent(1), 0);
    root.writeFile("etc/debian_version", "12.5\n");
    EXPECT_EQ(std::make_tuple(facts().systemVersionComponent(1), facts().systemVersionComponent(2)), std::make_tuple(5, 0));
    root.writeFile("etc/debian_version", "trixie/sid\n");
    EXPECT_EQ(facts().systemVersionComponent(1), 0);

    EXPECT_EQ(facts().bootTime(), std::nullopt);
    root.writeFile("proc/stat", "cpu  1 2 3\nintr 5\nbtime 1795385209\nprocesses 9\n");
    EXPECT_EQ(facts().bootTime(), 1795385209);
}

TEST_F(LinuxSystemFactsTest, DefaultBrowserFromMimeappsLists) {
    auto found = facts().defaultApplicationForURL("http://");
    EXPECT_EQ(found.applicationPath, std::nullopt);
    EXPECT_NE(found.status, 0);
    EXPECT_TRUE(found.error.has_value());

    root.writeFile("etc/alternatives/.keep");
    ASSERT_EQ(::symlink("/usr/bin/firefox-esr", (root / "etc/alternatives/x-www-browser").c_str()), 0);
    const auto browser = [&] { return facts().defaultApplicationForURL("http://").applicationPath; };
    EXPECT_EQ(browser(), "/usr/bin/firefox-esr");

    root.writeFile("usr/share/applications/chromium.desktop", "[Desktop Entry]\n");
    root.writeFile("etc/xdg/mimeapps.list", "[Default Applications]\nx-scheme-handler/http=missing.desktop;chromium.desktop;\n");
    EXPECT_EQ(browser(), root / "usr/share/applications/chromium.desktop");

    root.writeFile("home/sam/.config/mimeapps.list",
                   "[Added Associations]\nx-scheme-handler/http=chromium.desktop\n[Default Applications]\n"
                   "text/html=other.desktop\nx-scheme-handler/http=vivaldi.desktop\n");
    EXPECT_EQ(browser(), "vivaldi.desktop");
    EXPECT_EQ(facts().defaultApplicationForURL("http://").status, 0);
}

class LinuxVolumesTest : public LinuxSystemFactsTest {
protected:
    void SetUp() override {
        root.writeFile("proc/self/mountinfo",
                       "21 26 0:20 / /proc rw,relatime - proc proc rw\n"
                       "26 1 259:2 / / rw,relatime shared:1 - ext4 /dev/nvme0n1p2 rw\n"
                       "27 26 259:1 / /boot/efi rw - vfat /dev/nvme0n1p1 rw\n"
                       "28 26 0:25 / /tmp rw - tmpfs tmpfs rw\n"
                       "29 26 259:2 /home /srv/home rw - ext4 /dev/nvme0n1p2 rw\n"
                       "30 26 8:17 / /media/sam/My\\040Stick rw - vfat /dev/sdb1 rw\n"
                       "31 26 0:40 / /mnt/share rw - nfs4 server:/share rw\n"
                       "32 26 8:1 / /data rw - ext4 /dev/sda1 rw\n");
        for (const char* mountPoint : {"media/sam/My Stick", "mnt/share", "data", "srv/home"}) root.makeDirectory(mountPoint);
        device("", "nvme0n1", "259:0", "1000215216");
        device("nvme0n1", "nvme0n1p2", "259:2", "999165952");
        device("", "sdb", "8:16", "60437492", true);
        device("sdb", "sdb1", "8:17", "60435456");
        device("", "sda", "8:0", "3907029168");
        device("sda", "sda1", "8:1", "3907027120");
    }
    // A block device folder (a partition when `disk` is given) linked from sys/dev/block.
    void device(const std::string& disk, const std::string& name, const std::string& numbers, const std::string& sectors,
                bool removable = false) {
        const std::string folder = "sys/devices/pci0000:00/block/" + (disk.empty() ? name : disk + "/" + name);
        root.writeFile(folder + "/size", sectors);
        root.writeFile(folder + (disk.empty() ? "/removable" : "/partition"), disk.empty() ? (removable ? "1" : "0") : "2");
        if (disk.empty()) root.writeFile(folder + "/dev", numbers);
        root.makeDirectory("sys/dev/block");
        root.makeSymlink("sys/dev/block/" + numbers, "../../../" + folder);
    }
};

TEST_F(LinuxVolumesTest, VisibleVolumesRootDiskAndRemovableOnes) {
    EXPECT_EQ(facts().mountedVolumePaths(), (std::vector<std::string>{"/", "/media/sam/My Stick", "/mnt/share", "/data"}));
    const auto chain = facts().rootVolumeStorageChain().value();
    ASSERT_EQ(chain.size(), 2u);
    EXPECT_TRUE(!chain[0].isWhole && chain[0].size == 999165952ull * 512);
    EXPECT_TRUE(chain[1].isMedia && chain[1].isWhole && chain[1].size == 1000215216ull * 512);

    EXPECT_EQ(facts().volumeAtPath("/").value().type, "ext4");
    for (auto [path, removable, unmountable] : {std::tuple{"/", false, false}, {"/media/sam/My Stick", true, true},
                                                {"/mnt/share", false, true}, {"/data", false, false}}) {
        const auto volume = facts().volumeAtPath(path).value();
        EXPECT_TRUE(volume.removable == removable && volume.unmountable == unmountable) << path;
    }
    EXPECT_EQ(facts().volumeAtPath("/no/such/folder"), std::nullopt);
    EXPECT_GT(facts().volumeCapacity("/data").total.value_or(0), 0);

    // A root on a virtual file system has no disk.
    root.writeFile("proc/self/mountinfo", "1 0 0:31 / / rw - overlay overlay rw\n");
    EXPECT_EQ(facts().rootVolumeStorageChain(), std::nullopt);
    EXPECT_EQ(facts().mountedVolumePaths(), std::vector<std::string>{"/"});
}

}  // namespace
