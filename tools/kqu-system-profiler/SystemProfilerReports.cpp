#include "SystemProfilerReports.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "KQFoundation/Foundation/Bundle.h"
#include "KQFoundation/System/FileManager.h"
#include "KQFoundation/Foundation/PathUtilities.h"
#include "KQFoundation/System/Workspace.h"

namespace kq::systemprofiler {

namespace {

constexpr std::uint64_t kMiB = 1024ull * 1024;
constexpr std::uint64_t kGiB = kMiB * 1024;

std::string trimmedDecimal(double value, int decimals) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    std::string s = text;
    if (s.find('.') != std::string::npos) {
        while (s.back() == '0') s.pop_back();
        if (s.back() == '.') s.pop_back();
    }
    return s;
}

std::string hexID(unsigned value, int digits) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%0*x", digits, value);
    return text;
}

std::string plainHex(unsigned value) {
    char text[16];
    std::snprintf(text, sizeof text, "%x", value);
    return text;
}

Dictionary reportShell(std::string_view dataType, Array items) {
    Dictionary report;
    report.setObject("_dataType", std::string(dataType));
    report.setObject("_detailLevel", 0);
    report.setObject("_items", std::move(items));
    report.setObject("_parentDataType", "SPRootDataType");
    report.setObject("_timeStamp", Date(std::chrono::time_point_cast<std::chrono::seconds>(std::chrono::system_clock::now())));
    return report;
}

std::optional<std::string> decodedModel(const SystemFacts& facts) {
    auto model = facts.deviceTreeModel();
    if (!model) return std::nullopt;
    std::string text(model->begin(), model->end());
    while (!text.empty() && text.back() == '\0') text.pop_back();
    if (text.empty()) return std::nullopt;
    return text;
}

Dictionary hardwareReport(const SystemFacts& facts) {
    Dictionary overview;
    overview.setObject("_name", "hardware_overview");
    auto name = facts.modelName();
    if (!name) name = decodedModel(facts);
    if (name) overview.setObject("machine_name", *name);
    if (auto identifier = facts.modelIdentifier()) overview.setObject("machine_model", *identifier);
    if (auto brand = facts.cpuBrandString()) overview.setObject("cpu_type", *brand);
    if (auto hertz = facts.cpuFrequency()) overview.setObject("current_processor_speed", clockSpeedText(*hertz));
    if (auto packages = facts.cpuPackages()) overview.setObject("packages", static_cast<std::int64_t>(*packages));
    if (auto cores = facts.cpuCores()) overview.setObject("number_processors", static_cast<std::int64_t>(*cores));
    auto memory = facts.memorySize();
    if (!memory)
        if (auto info = facts.hostBasicInfo(); info && info->maxMem) memory = info->maxMem;
    if (memory) overview.setObject("physical_memory", memorySizeText(*memory));
    if (auto serial = facts.platformSerialNumber()) overview.setObject("serial_number", *serial);
    return reportShell("SPHardwareDataType", Array{Value(std::move(overview))});
}

Dictionary memoryReport(const SystemFacts& facts) {
    Array modules;
    for (const MemoryModuleFact& module : facts.memoryModules()) {
        Dictionary slot;
        slot.setObject("_name", module.slotName);
        if (module.sizeBytes == 0) {
            slot.setObject("dimm_size", "empty");
            slot.setObject("dimm_status", "empty");
            slot.setObject("dimm_type", "empty");
        } else {
            slot.setObject("dimm_manufacturer", module.manufacturer);
            slot.setObject("dimm_part_number", module.partNumber);
            slot.setObject("dimm_serial_number", module.serialNumber);
            slot.setObject("dimm_size", memorySizeText(module.sizeBytes));
            if (module.speedMHz) slot.setObject("dimm_speed", std::to_string(module.speedMHz) + " MHz");
            slot.setObject("dimm_status", "ok");
            slot.setObject("dimm_type", module.type);
        }
        modules.push_back(std::move(slot));
    }
    Array groups;
    if (!modules.empty()) {
        Dictionary group;
        group.setObject("_name", "Memory Slots");
        group.setObject("_items", std::move(modules));
        groups.push_back(std::move(group));
    }
    return reportShell("SPMemoryDataType", std::move(groups));
}

Dictionary displayEntry(const DisplayFact& display) {
    Dictionary entry;
    entry.setObject("_name", display.name);
    if (display.width && display.height)
        entry.setObject("_spdisplays_pixels", std::to_string(display.width) + " x " + std::to_string(display.height));
    if (display.vendorNumber) {
        entry.setObject("_spdisplays_display-vendor-id", plainHex(display.vendorNumber));
        entry.setObject("_spdisplays_display-product-id", plainHex(display.productNumber));
    }
    if (display.serialNumber) entry.setObject("_spdisplays_display-serial-number", plainHex(display.serialNumber));
    if (display.yearOfManufacture) entry.setObject("_spdisplays_display-year", std::to_string(display.yearOfManufacture));
    if (display.weekOfManufacture) entry.setObject("_spdisplays_display-week", std::to_string(display.weekOfManufacture));
    entry.setObject("spdisplays_connection_type", display.builtIn ? "spdisplays_internal" : "spdisplays_external");
    entry.setObject("spdisplays_connector", display.connector);
    return entry;
}

Dictionary displaysReport(const SystemFacts& facts) {
    Array items;
    for (const GraphicsProcessorFact& gpu : facts.graphicsProcessors()) {
        Dictionary entry;
        entry.setObject("_name", gpu.model);
        entry.setObject("sppci_model", gpu.model);
        entry.setObject("sppci_device_type", "spdisplays_gpu");
        entry.setObject("sppci_bus", gpu.builtIn ? "spdisplays_builtin" : "spdisplays_pcie_device");
        if (!gpu.vendorName.empty()) entry.setObject("spdisplays_vendor", gpu.vendorName);
        if (gpu.memoryBytes)
            entry.setObject(gpu.memoryShared ? "spdisplays_vram_shared" : "spdisplays_vram", memorySizeText(*gpu.memoryBytes));
        if (gpu.vendorID) {
            entry.setObject("spdisplays_vendor-id", hexID(gpu.vendorID, 4));
            entry.setObject("spdisplays_device-id", hexID(gpu.deviceID, 4));
            entry.setObject("spdisplays_revision-id", hexID(gpu.revisionID, 4));
        }
        if (!gpu.displays.empty()) {
            Array displays;
            for (const DisplayFact& display : gpu.displays) displays.push_back(displayEntry(display));
            entry.setObject("spdisplays_ndrvs", std::move(displays));
        }
        items.push_back(std::move(entry));
    }
    return reportShell("SPDisplaysDataType", std::move(items));
}

Dictionary applicationsReport(const FileSystemLayout& layout) {
    std::vector<std::string> found;
    const Workspace& workspace = Workspace::sharedWorkspace();
    for (const std::string& folder : layout.pathsForDirectory(SearchPathDirectory::Application, AllDomainsMask)) {
        auto enumerator = FileManager::defaultManager().enumeratorAtPath(folder);
        if (!enumerator) continue;
        while (auto relative = enumerator->nextObject()) {
            const std::string path = folder + "/" + *relative;
            if (!workspace.isFilePackageAtPath(path)) continue;
            // Applications are not searched for applications inside them.
            enumerator->skipDescendants();
            if (pathExtension(path) == "app") found.push_back(path);
        }
    }
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());

    Array items;
    for (const std::string& path : found) {
        Dictionary application;
        application.setObject("_name", stringByDeletingPathExtension(lastPathComponent(path)));
        if (auto attributes = FileManager::defaultManager().attributesOfItemAtPath(path))
            application.setObject("lastModified", attributes->modificationDate);
        application.setObject("path", path);
        if (auto bundle = Bundle::bundleWithPath(path)) {
            const Dictionary& info = bundle->infoDictionary();
            if (const std::string* version = info.stringValueForKey("CFBundleShortVersionString"))
                application.setObject("version", *version);
            else if (const std::string* build = info.stringValueForKey("CFBundleVersion"))
                application.setObject("version", *build);
            if (const std::string* getInfo = info.stringValueForKey("CFBundleGetInfoString"))
                application.setObject("info", *getInfo);
        }
        items.push_back(std::move(application));
    }
    return reportShell("SPApplicationsDataType", std::move(items));
}

}  // namespace

const std::vector<std::string>& supportedDataTypes() {
    static const std::vector<std::string> types{"SPHardwareDataType", "SPMemoryDataType", "SPDisplaysDataType",
                                                "SPApplicationsDataType"};
    return types;
}

std::optional<Dictionary> report(std::string_view dataType, const SystemFacts& facts, const FileSystemLayout& layout) {
    if (dataType == "SPHardwareDataType") return hardwareReport(facts);
    if (dataType == "SPMemoryDataType") return memoryReport(facts);
    if (dataType == "SPDisplaysDataType") return displaysReport(facts);
    if (dataType == "SPApplicationsDataType") return applicationsReport(layout);
    return std::nullopt;
}

std::string memorySizeText(std::uint64_t bytes) {
    if (bytes >= kGiB) {
        if (bytes % kGiB == 0) return std::to_string(bytes / kGiB) + " GB";
        return trimmedDecimal(static_cast<double>(bytes) / static_cast<double>(kGiB), 1) + " GB";
    }
    if (bytes >= kMiB) return std::to_string(bytes / kMiB) + " MB";
    return std::to_string(bytes / 1024) + " KB";
}

std::string clockSpeedText(std::uint64_t hertz) {
    if (hertz >= 1000000000ull) return trimmedDecimal(static_cast<double>(hertz) / 1e9, 2) + " GHz";
    return std::to_string(hertz / 1000000) + " MHz";
}

}  // namespace kq::systemprofiler
