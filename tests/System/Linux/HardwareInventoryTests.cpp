// Memory modules (SMBIOS), displays (EDID) and graphics processors (DRM, pci.ids).
#include <gtest/gtest.h>

#include <filesystem>
#include <tuple>

#include "System/Linux/EDID.h"
#include "System/Linux/LinuxSystemFacts.h"
#include "System/Linux/PCIIDs.h"
#include "System/Linux/SMBIOSMemoryDevices.h"
#include "Support/TemporaryDirectory.h"

namespace {

// One SMBIOS structure: formatted bytes (type, length and handle filled in) and its strings.
std::string structure(unsigned type, std::string formatted, const std::vector<std::string>& strings) {
    formatted[0] = static_cast<char>(type);
    formatted[1] = static_cast<char>(formatted.size());
    std::string bytes = formatted;
    for (const std::string& s : strings) bytes += s + '\0';
    if (strings.empty()) bytes += '\0';
    return bytes + '\0';
}

std::string memoryDevice(std::uint16_t size, std::uint32_t extendedSize, std::uint8_t type, std::uint16_t speed) {
    std::string f(0x28, '\0');
    f[0x0c] = static_cast<char>(size & 0xff);
    f[0x0d] = static_cast<char>(size >> 8);
    f[0x10] = 1, f[0x11] = 2;  // device and bank locators
    f[0x12] = static_cast<char>(type);
    f[0x15] = static_cast<char>(speed & 0xff);
    f[0x16] = static_cast<char>(speed >> 8);
    f[0x17] = 3, f[0x18] = 4, f[0x1a] = 5;
    for (int i = 0; i < 4; ++i) f[0x1c + i] = static_cast<char>(extendedSize >> (8 * i));
    return structure(17, f, {"DIMM 0", "BANK 0", "Samsung", " 12345678 ", "M471A1K43CB1-CTD  "});
}

std::string smbiosTable() {
    return structure(0, std::string(0x18, '\0'), {"Firmware Vendor"}) + memoryDevice(8192, 0, 0x1a, 2667) +
           memoryDevice(0, 0, 0x02, 0) + memoryDevice(0x7fff, 65536, 0x22, 4800) + structure(127, std::string(4, '\0'), {}) +
           memoryDevice(4096, 0, 0x18, 1600);
}

class LinuxInventoryTest : public ::testing::Test {
protected:
    kq::LinuxSystemFacts facts() const { return kq::LinuxSystemFacts({root.path(), root / "home", false}); }
    kqtest::TemporaryDirectory root;
};

TEST_F(LinuxInventoryTest, MemoryModulesOfTypeSeventeenFromTheDMITableUntilTheEndMarker) {
    EXPECT_TRUE(facts().memoryModules().empty());
    // A folder where the table should be cannot be read, even by root.
    root.makeDirectory("sys/firmware/dmi/tables/DMI");
    EXPECT_TRUE(facts().memoryModules().empty());
    std::filesystem::remove(root / "sys/firmware/dmi/tables/DMI");
    root.writeFile("sys/firmware/dmi/tables/DMI", smbiosTable());
    const auto modules = facts().memoryModules();
    ASSERT_EQ(modules.size(), 3u);
    const auto& m = modules[0];
    EXPECT_EQ(std::tie(m.slotName, m.sizeBytes, m.type, m.speedMHz),
              std::make_tuple("BANK 0/DIMM 0", 8ull << 30, "DDR4", 2667u));
    EXPECT_EQ(std::tie(m.manufacturer, m.serialNumber, m.partNumber),
              std::make_tuple("Samsung", "12345678", "M471A1K43CB1-CTD"));
    EXPECT_EQ(std::tie(modules[1].sizeBytes, modules[1].type, modules[2].sizeBytes, modules[2].type),
              std::make_tuple(0ull, "Empty", 64ull << 30, "DDR5"));
    EXPECT_TRUE(kq::memoryModulesFromSMBIOSTable(smbiosTable().substr(0, 60)).empty());
}

std::string edidBlock() {
    // Header, vendor "DEL", product, serial, week 12 of 2019; then the first timing and a name descriptor.
    std::string e = std::string("\x00\xff\xff\xff\xff\xff\xff\x00\x10\xac\xc4\xa0\x4c\x30\x41\x42\x0c\x1d", 18);
    e.resize(128, '\0');
    e.replace(54, 8, "\x02\x3a\x80\x18\x71\x38\x2d\x40");
    e[72 + 3] = static_cast<char>(0xfc);
    const std::string name = "DELL U2419H\n ";
    e.replace(72 + 5, name.size(), name);
    return e;
}

TEST(EDID, NameModeVendorAndDate) {
    const auto display = kq::displayFromEDID(edidBlock());
    ASSERT_TRUE(display.has_value());
    EXPECT_EQ(std::tie(display->name, display->width, display->height), std::make_tuple("DELL U2419H", 1920u, 1080u));
    EXPECT_EQ(std::tie(display->vendorNumber, display->productNumber, display->yearOfManufacture, display->weekOfManufacture),
              std::make_tuple(0x10ac, 0xa0c4, 2019u, 12u));
    EXPECT_EQ(kq::displayFromEDID(edidBlock().substr(0, 127)), std::nullopt);
    std::string wrongHeader = edidBlock();
    wrongHeader[0] = 1;
    EXPECT_EQ(kq::displayFromEDID(wrongHeader), std::nullopt);
}

constexpr std::string_view kPCIDatabase =
    "# comment\n"
    "10de  NVIDIA Corporation\n"
    "\t1c82  GP107 [GeForce GTX 1050 Ti]\n"
    "\t\t1043 8613  PH-GTX1050TI-4G\n"
    "1002  Advanced Micro Devices, Inc. [AMD/ATI]\n"
    "\t731f  Navi 10 [Radeon RX 5600 OEM/5600 XT / 5700/5700 XT]\n"
    "8086  Intel Corporation\n"
    "\t5917  UHD Graphics 620\n"
    "C 03  Display controller\n"
    "\t00  VGA compatible controller\n";

TEST(PCIIDs, NamesAndShortVendorNames) {
    const auto names = [](unsigned vendor, unsigned device) {
        const auto found = kq::lookUpPCINames(kPCIDatabase, vendor, device);
        return std::make_tuple(found.vendor, found.device);
    };
    EXPECT_EQ(names(0x10de, 0x1c82), std::make_tuple("NVIDIA Corporation", "GP107 [GeForce GTX 1050 Ti]"));
    EXPECT_EQ(names(0x8086, 0x1c82), std::make_tuple("Intel Corporation", std::nullopt));
    EXPECT_EQ(std::get<0>(names(0x0003, 0x0000)), std::nullopt);
    for (auto [full, brief] : {std::pair{"Advanced Micro Devices, Inc. [AMD/ATI]", "AMD"}, {"Red Hat, Inc.", "Red Hat"}})
        EXPECT_EQ(kq::shortVendorName(full), brief);
}

TEST_F(LinuxInventoryTest, GraphicsProcessorsWithTheirConnectedDisplays) {
    root.writeFile("usr/share/misc/pci.ids", std::string(kPCIDatabase));
    root.writeFile("sys/class/drm/card0-HDMI-A-1/edid", edidBlock());
    for (auto [file, contents] : {std::pair{"card0/device/vendor", "0x8086\n"}, {"card0/device/device", "0x5917\n"},
                                  {"card0/device/revision", "0x07\n"}, {"card0-eDP-1/status", "connected\n"},
                                  {"card0-eDP-1/edid", ""}, {"card0-HDMI-A-1/status", "connected\n"},
                                  {"card0-DP-1/status", "disconnected\n"}, {"card1/device/vendor", "0x10de\n"},
                                  {"card1/device/device", "0x1c82\n"}, {"card2/device/uevent", "DRIVER=vc4-drm\nOF_NAME=gpu\n"},
                                  {"renderD128/dev", "226:128\n"}, {"version", "drm 1.1.0\n"}})
        root.writeFile(std::string("sys/class/drm/") + file, contents);

    const auto gpus = facts().graphicsProcessors();
    ASSERT_EQ(gpus.size(), 3u);
    EXPECT_EQ(std::tie(gpus[0].model, gpus[0].vendorName, gpus[0].revisionID, gpus[0].builtIn, gpus[0].memoryShared),
              std::make_tuple("Intel UHD Graphics 620", "Intel", 7, true, true));
    ASSERT_EQ(gpus[0].displays.size(), 2u);
    const auto& [hdmi, panel] = std::tie(gpus[0].displays[0], gpus[0].displays[1]);
    EXPECT_EQ(std::tie(hdmi.connector, hdmi.name, hdmi.width), std::make_tuple("HDMI-A-1", "DELL U2419H", 1920u));
    // A panel without EDID is named after its connector.
    EXPECT_EQ(std::tie(panel.name, panel.builtIn), std::make_tuple("eDP-1", true));
    EXPECT_EQ(std::tie(gpus[1].model, gpus[1].builtIn, gpus[2].model),
              std::make_tuple("NVIDIA GeForce GTX 1050 Ti", false, "vc4-drm"));
}

}  // namespace
