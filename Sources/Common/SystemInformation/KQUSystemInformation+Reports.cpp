// Reports derived from the profiler's XML output and the iPod preferences.
// Elements of an unexpected type are skipped silently at every level.
#include "KQFoundation/KQUSystemInformation.h"
#include "KQFoundation/System/FileManager.h"
#include "KQFoundation/System/FileSystemLayout.h"
#include "KQFoundation/Foundation/PropertyList.h"
#include "KQFoundation/System/Workspace.h"
#include "Common/SystemInformation/ProfilerReportReader.h"

namespace {

constexpr const char* kItemsKey = "_items";

void copyString(const kq::Dictionary& from, std::string_view fromKey, kq::Dictionary& to, std::string_view toKey) {
    if (const std::string* value = from.stringValueForKey(fromKey)) to.setObject(toKey, *value);
}

// The first dictionary element with an "_items" value.
const kq::Value* firstItems(const kq::Array& elements) {
    for (const kq::Value& element : elements)
        if (const kq::Dictionary* dictionary = element.asDictionary())
            if (const kq::Value* items = dictionary->objectForKey(kItemsKey); items && !items->isNull()) return items;
    return nullptr;
}

}  // namespace

namespace kq::systeminformation {

std::optional<Array> memoryModules(const Array& report) {
    const kq::Value* groups = firstItems(report);
    if (!groups || !groups->asArray()) return std::nullopt;
    const kq::Value* modules = firstItems(*groups->asArray());
    if (!modules || !modules->asArray()) return std::nullopt;
    return *modules->asArray();
}

Dictionary graphicsInformation(const Array& report) {
    kq::Array gpus;
    kq::Array displays;
    const kq::Dictionary* first = !report.empty() ? report.front().asDictionary() : nullptr;
    if (const kq::Array* items = first ? first->arrayValueForKey(kItemsKey) : nullptr) {
        for (const kq::Value& element : *items) {
            const kq::Dictionary* processor = element.asDictionary();
            if (!processor) continue;
            kq::Dictionary gpu;
            copyString(*processor, "sppci_model", gpu, kKQUGPUModelNameKey);
            copyString(*processor, "spdisplays_vendor", gpu, kKQUGPUVendorNameKey);
            if (processor->stringValueForKey("spdisplays_vram"))
                copyString(*processor, "spdisplays_vram", gpu, kKQUGPUMemorySizeKey);
            else
                copyString(*processor, "spdisplays_vram_shared", gpu, kKQUGPUMemorySizeKey);
            gpus.push_back(std::move(gpu));
            if (const kq::Array* attached = processor->arrayValueForKey("spdisplays_ndrvs"))
                for (kq::Value& display : KQUSystemInformation::parseDisplaysInformation(*attached))
                    displays.push_back(std::move(display));
        }
    }
    kq::Dictionary information;
    information.setObject(kKQUGPUsKey, std::move(gpus));
    information.setObject(kKQUDisplaysKey, std::move(displays));
    return information;
}

std::unordered_set<std::string> applicationPaths(const Array& report) {
    std::unordered_set<std::string> paths;
    const kq::Dictionary* applications = nullptr;
    for (const kq::Value& element : report) {
        const kq::Dictionary* dictionary = element.asDictionary();
        const std::string* type = dictionary ? dictionary->stringValueForKey("_dataType") : nullptr;
        if (type && *type == "SPApplicationsDataType") {
            applications = dictionary;
            break;
        }
    }
    const kq::Array* items = applications ? applications->arrayValueForKey(kItemsKey) : nullptr;
    if (!items) return paths;
    paths.reserve(items->size());
    for (const kq::Value& item : *items)
        if (const kq::Dictionary* application = item.asDictionary())
            if (const std::string* path = application->stringValueForKey("path")) paths.insert(*path);
    return paths;
}

}  // namespace kq::systeminformation

std::optional<kq::Array> KQUSystemInformation::memoryInfo() {
    const auto report = arrayWithSystemProfileOfDataTypes({"SPMemoryDataType"});
    if (!report) return std::nullopt;
    return kq::systeminformation::memoryModules(*report);
}

kq::Dictionary KQUSystemInformation::graphicsInformation() {
    const auto report = arrayWithSystemProfileOfDataTypes({"SPDisplaysDataType"});
    return kq::systeminformation::graphicsInformation(report ? *report : kq::Array{});
}

kq::Array KQUSystemInformation::parseDisplaysInformation(const kq::Array& displays) {
    kq::Array parsed;
    for (const kq::Value& element : displays) {
        const kq::Dictionary* source = element.asDictionary();
        if (!source) continue;
        kq::Dictionary display;
        copyString(*source, "_name", display, kKQUDisplayModelNameKey);
        copyString(*source, "_spdisplays_pixels", display, kKQUDisplayResolutionKey);
        copyString(*source, "_spdisplays_display-vendor-id", display, kKQUDisplayVendorNumberKey);
        copyString(*source, "_spdisplays_display-year", display, kKQUDisplayYearOfManufactureKey);
        copyString(*source, "_spdisplays_display-week", display, kKQUDisplayWeekOfManufactureKey);
        parsed.push_back(std::move(display));
    }
    return parsed;
}

kq::Array KQUSystemInformation::connectedIOSDevicesInformation() {
    kq::Array devices;
    const std::string preferences =
        kq::FileSystemLayout::current()->expandTilde("~/Library/Preferences/com.apple.iPod.plist");
    const auto domain = kq::PropertyList::readDictionaryFile(preferences);
    const kq::Dictionary* known = domain ? domain->dictioniaryValueForKey("Devices") : nullptr;
    if (!known) return devices;
    for (const kq::Value& value : known->values()) {
        const kq::Dictionary* record = value.asDictionary();
        if (!record) continue;
        kq::Dictionary device;
        copyString(*record, "Serial Number", device, kKQUExternIOSDeviceSerialNumberKey);
        if (const kq::Value* count = record->numberValueForKey("Use Count"))
            device.setObject(kKQUExternIOSDeviceUseCountKey, *count);
        if (const kq::Date* connected = record->dateValueForKey("Connected"))
            device.setObject(kKQUExternIOSDeviceConnectionDateKey, *connected);
        copyString(*record, "Device Class", device, kKQUExternIOSDeviceClassKey);
        if (!device.empty()) devices.push_back(std::move(device));
    }
    return devices;
}

std::unordered_set<std::string> KQUSystemInformation::allApplicationsPathsWithSystemProfiler() {
    const auto report = arrayWithSystemProfileOfDataTypes({"SPApplicationsDataType"});
    if (!report) return {};
    return kq::systeminformation::applicationPaths(*report);
}

std::unordered_set<std::string> KQUSystemInformation::allApplicationsPaths() {
    std::unordered_set<std::string> paths = allApplicationsPathsWithSystemProfiler();
    if (isSnowLeopardOrGreater() && !paths.empty()) return paths;
    // The profiler gave nothing: search the user, local and network
    // Applications folders (not the system's), without entering packages.
    const auto folders = kq::FileSystemLayout::current()->pathsForDirectory(
        kq::SearchPathDirectory::Application, kq::UserDomainMask | kq::LocalDomainMask | kq::NetworkDomainMask);
    const kq::Workspace& workspace = kq::Workspace::sharedWorkspace();
    for (const std::string& folder : folders) {
        auto enumerator = kq::FileManager::defaultManager().enumeratorAtPath(folder);
        if (!enumerator) continue;
        while (auto relative = enumerator->nextObject()) {
            const std::string path = folder + "/" + *relative;
            if (!workspace.isFilePackageAtPath(path)) continue;
            enumerator->skipDescendants();
            if (path.ends_with(".app")) paths.insert(path);
        }
    }
    return paths;
}
