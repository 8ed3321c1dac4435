// Memory modules and graphics hardware on Linux, for the profiler reports.
//
// Modules come from the SMBIOS table in /sys/firmware/dmi/tables/DMI
// (readable by root only; others see no modules). Graphics processors are
// the DRM cards of /sys/class/drm with their PCI ids named by pci.ids;
// displays are the connected connectors of each card, described by their EDID.
#include <cstdio>

#include "EDID.h"
#include "LinuxFiles.h"
#include "LinuxSystemFacts.h"
#include "PCIIDs.h"
#include "SMBIOSMemoryDevices.h"

namespace kq {

using namespace linuxfiles;

namespace {

bool isCardName(std::string_view name) {
    return name.size() > 4 && name.starts_with("card") && parseNumber(name.substr(4)).has_value();
}

bool isInternalConnector(std::string_view connector) {
    return connector.starts_with("eDP") || connector.starts_with("LVDS") || connector.starts_with("DSI");
}

std::string hexText(unsigned value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%04x", value);
    return text;
}

// "Intel" + "UHD Graphics 620"; a bracketed marketing name wins over a chip's code name.
std::string gpuModelName(const std::string& vendor, std::string device) {
    if (const std::size_t open = device.find('['); open != std::string::npos) {
        const std::size_t close = device.find(']', open);
        if (close != std::string::npos && close > open + 1) device = device.substr(open + 1, close - open - 1);
    }
    if (vendor.empty() || device.starts_with(vendor)) return device;
    return vendor + " " + device;
}

}  // namespace

std::vector<MemoryModuleFact> LinuxSystemFacts::memoryModules() const {
    const auto table = readFile(path("/sys/firmware/dmi/tables/DMI"));
    if (!table) return {};
    return memoryModulesFromSMBIOSTable(*table);
}

std::vector<GraphicsProcessorFact> LinuxSystemFacts::graphicsProcessors() const {
    std::vector<GraphicsProcessorFact> processors;
    const std::string drm = path("/sys/class/drm");
    const std::vector<std::string> entries = listDirectory(drm);
    std::optional<std::string> database;
    for (const std::string& card : entries) {
        if (!isCardName(card)) continue;
        const std::string device = drm + "/" + card + "/device/";
        GraphicsProcessorFact gpu;
        const auto vendorID = readNumber(device + "vendor");
        const auto deviceID = readNumber(device + "device");
        if (vendorID && deviceID) {
            gpu.vendorID = static_cast<std::uint16_t>(*vendorID);
            gpu.deviceID = static_cast<std::uint16_t>(*deviceID);
            gpu.revisionID = static_cast<std::uint8_t>(readNumber(device + "revision").value_or(0));
            if (!database) {
                for (const char* file : {"/usr/share/misc/pci.ids", "/usr/share/hwdata/pci.ids"})
                    if ((database = readFile(path(file)))) break;
                if (!database) database = std::string();
            }
            const PCINames names = lookUpPCINames(*database, gpu.vendorID, gpu.deviceID);
            gpu.vendorName = names.vendor ? shortVendorName(*names.vendor) : hexText(gpu.vendorID);
            gpu.model = names.device ? gpuModelName(gpu.vendorName, *names.device)
                                     : gpu.vendorName + " device " + hexText(gpu.deviceID);
        } else {
            // A graphics block of a system on a chip: only its driver names it.
            std::string driver;
            if (auto uevent = readFile(device + "uevent"))
                driver = valueForKey(keyValueLines(*uevent, '='), "DRIVER").value_or("");
            gpu.model = driver.empty() ? card : driver;
            gpu.builtIn = true;
        }
        if (auto vram = readNumber(device + "mem_info_vram_total"); vram && *vram > 0) gpu.memoryBytes = *vram;

        const std::string prefix = card + "-";
        for (const std::string& entry : entries) {
            if (!entry.starts_with(prefix)) continue;
            const std::string connectorFolder = drm + "/" + entry + "/";
            const std::string connector = entry.substr(prefix.size());
            if (isInternalConnector(connector)) gpu.builtIn = true;
            if (readTrimmed(connectorFolder + "status").value_or("") != "connected") continue;
            DisplayFact display;
            if (auto edid = readFile(connectorFolder + "edid"))
                if (auto parsed = displayFromEDID(*edid)) display = *parsed;
            display.connector = connector;
            display.builtIn = isInternalConnector(connector);
            if (display.name.empty()) display.name = connector;
            gpu.displays.push_back(std::move(display));
        }
        // Integrated graphics share main memory.
        if (gpu.vendorID == 0x8086) gpu.builtIn = true;
        gpu.memoryShared = gpu.builtIn;
        processors.push_back(std::move(gpu));
    }
    return processors;
}

}  // namespace kq
