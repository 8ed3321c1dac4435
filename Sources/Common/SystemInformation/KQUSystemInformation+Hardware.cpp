// Model, processor, memory, storage, operating system and environment.
#include <cmath>
#include <cstdio>
#include <ctime>

#include "KQFoundation/KQUSystemInformation.h"
#include "KQFoundation/Foundation/Log.h"
#include "KQFoundation/Foundation/PathUtilities.h"
#include "System/SystemFacts.h"
#include "Foundation/UnicodeText.h"
#include "SystemInformationState.h"

using kq::SystemFacts;
namespace state = kq::systeminformation;

namespace {

std::optional<std::string> nonEmpty(std::optional<std::string> text) {
    if (text && text->empty()) return std::nullopt;
    return text;
}

std::optional<kq::HostBasicInfo> hostInfo() { return SystemFacts::current()->hostBasicInfo(); }

bool isPowerPCWithSubtype(std::initializer_list<std::int32_t> subtypes) {
    const auto info = hostInfo();
    if (!info || info->cpuType != kq::kCPUTypePowerPC) return false;
    for (std::int32_t subtype : subtypes)
        if (info->cpuSubtype == subtype) return true;
    return false;
}

bool appKitVersionAbove(double threshold) {
    return std::floor(SystemFacts::current()->appKitVersionNumber()) > threshold;
}

}  // namespace

// Hardware identity

std::optional<std::string> KQUSystemInformation::machineType() {
    const auto facts = SystemFacts::current();
    if (facts->registryStatus() != 0) return std::nullopt;
    const auto model = facts->deviceTreeModel();
    if (!model) return std::nullopt;
    std::string text(model->begin(), model->end());
    if (!kq::isValidUTF8(text)) return std::nullopt;
    // Device-tree strings carry their terminator; exactly one is dropped.
    if (!text.empty() && text.back() == '\0') text.pop_back();
    return text;
}

std::optional<std::string> KQUSystemInformation::modelIdentifier() {
    return nonEmpty(SystemFacts::current()->modelIdentifier());
}

std::optional<std::string> KQUSystemInformation::computerSerialNumber() {
    return SystemFacts::current()->platformSerialNumber();
}

std::optional<std::string> KQUSystemInformation::configCode() {
    const auto serial = computerSerialNumber();
    if (!serial || kq::lengthInUTF16Units(*serial) < 9) return std::nullopt;
    return kq::substringFromUTF16Index(*serial, 8);
}

std::optional<std::string> KQUSystemInformation::computerName() { return SystemFacts::current()->computerName(); }

std::string KQUSystemInformation::humanMachineType() {
    auto name = systemProfileValueForKey("Model Name: ");
    if (!name || name->empty()) return "Mac";
    return *name;
}

// Processor

std::int64_t KQUSystemInformation::processorClockSpeed() {
    return SystemFacts::current()->processorClockSpeed().value_or(0);
}

std::int64_t KQUSystemInformation::processorClockSpeedInMHz() { return processorClockSpeed() / 1000000; }

std::int32_t KQUSystemInformation::countProcessors() {
    const auto info = hostInfo();
    return info ? info->maxCpus : 0;
}

bool KQUSystemInformation::is64BitCapable() { return true; }

bool KQUSystemInformation::isPowerPC() {
    const auto info = hostInfo();
    return info && info->cpuType == kq::kCPUTypePowerPC;
}

bool KQUSystemInformation::isG3() { return isPowerPCWithSubtype({kq::kCPUSubtypePowerPC750}); }

bool KQUSystemInformation::isG4() {
    return isPowerPCWithSubtype({kq::kCPUSubtypePowerPC7400, kq::kCPUSubtypePowerPC7450});
}

bool KQUSystemInformation::isG5() { return isPowerPCWithSubtype({kq::kCPUSubtypePowerPC970}); }

std::string KQUSystemInformation::powerPCTypeString() {
    if (isG3()) return "G3";
    if (isG4()) return "G4";
    if (isG5()) return "G5";
    if (isPowerPC()) return "PowerPC pre-G3";
    return "Non-PowerPC";
}

std::optional<std::string> KQUSystemInformation::CPUBrandString() {
    return nonEmpty(SystemFacts::current()->cpuBrandString());
}

std::uint64_t KQUSystemInformation::CPUFrequency() { return SystemFacts::current()->cpuFrequency().value_or(0); }

std::uint32_t KQUSystemInformation::CPUPackagesCount() { return SystemFacts::current()->cpuPackages().value_or(0); }

std::uint32_t KQUSystemInformation::CPUCoresCount() { return SystemFacts::current()->cpuCores().value_or(0); }

// Memory and storage

std::uint64_t KQUSystemInformation::memorySize() {
    const auto facts = SystemFacts::current();
    if (auto size = facts->memorySize()) return *size;
    const auto info = facts->hostBasicInfo();
    return info ? info->maxMem : 0;
}

std::uint64_t KQUSystemInformation::hddSize() {
    const auto chain = SystemFacts::current()->rootVolumeStorageChain();
    if (!chain) return 0;
    for (const kq::StorageEntryFact& entry : *chain)
        if (entry.isMedia && entry.isWhole) return entry.size.value_or(0);
    return 0;
}

void KQUSystemInformation::getVolumeFreeSpace(std::int64_t* freeSpace, std::int64_t* totalSpace,
                                              const kq::URL& volume) {
    if (freeSpace) *freeSpace = 0;
    if (totalSpace) *totalSpace = 0;
    const auto facts = SystemFacts::current();
    const std::string path = volume.path();
    const auto info = facts->volumeAtPath(path);
    if (!info || info->removable || info->unmountable) return;
    const kq::VolumeCapacityFact capacity = facts->volumeCapacity(path);
    if (freeSpace && capacity.available) *freeSpace = *capacity.available;
    if (totalSpace && capacity.total) *totalSpace = *capacity.total;
}

void KQUSystemInformation::getStorageFreeSpace(std::int64_t* freeSpace, std::int64_t* totalSpace) {
    if (freeSpace) *freeSpace = 0;
    if (totalSpace) *totalSpace = 0;
    for (const std::string& path : SystemFacts::current()->mountedVolumePaths()) {
        std::int64_t volumeFree = 0;
        std::int64_t volumeTotal = 0;
        getVolumeFreeSpace(&volumeFree, &volumeTotal, kq::URL::fileURLWithPath(path, true));
        if (freeSpace) *freeSpace += volumeFree;
        if (totalSpace) *totalSpace += volumeTotal;
    }
}

// Operating system

std::optional<std::string> KQUSystemInformation::operatingSystemString() {
    return SystemFacts::current()->operatingSystemName();
}

std::optional<std::string> KQUSystemInformation::humanReadableSystemVersionString() {
    return SystemFacts::current()->operatingSystemVersionString();
}

std::optional<std::string> KQUSystemInformation::systemVersionString() {
    state::State& s = state::state();
    {
        std::lock_guard lock(s.mutex);
        if (s.systemVersionString) return s.systemVersionString;
    }
    const auto facts = SystemFacts::current();
    const auto major = facts->systemVersionComponent(0);
    if (!major) return std::nullopt;
    const auto minor = facts->systemVersionComponent(1);
    if (!minor) return std::nullopt;
    const auto bugFix = facts->systemVersionComponent(2);
    if (!bugFix) return std::nullopt;
    char text[64];
    std::snprintf(text, sizeof text, "%d.%d.%d", *major, *minor, *bugFix);
    std::lock_guard lock(s.mutex);
    s.systemVersionString = text;
    return s.systemVersionString;
}

bool KQUSystemInformation::isSnowLeopardOrGreater() { return appKitVersionAbove(949); }
bool KQUSystemInformation::isLionOrGreater() { return appKitVersionAbove(1038); }
bool KQUSystemInformation::isMountainLionOrGreater() { return appKitVersionAbove(1138); }
bool KQUSystemInformation::isMavericksOrGreater() { return appKitVersionAbove(1187); }
bool KQUSystemInformation::isYosemiteOrGreater() { return appKitVersionAbove(1265); }
bool KQUSystemInformation::isElCapitanOrGreater() { return appKitVersionAbove(1349); }
bool KQUSystemInformation::isSierraOrGreater() { return appKitVersionAbove(1404); }
bool KQUSystemInformation::isHighSierraOrGreater() { return appKitVersionAbove(1504); }

// Environment

std::optional<std::string> KQUSystemInformation::defaultWebBrowserName() {
    const kq::DefaultApplicationFact found = SystemFacts::current()->defaultApplicationForURL("http://");
    if (isYosemiteOrGreater()) {
        if (found.error) kq::log("Error while trying to get default Web browser: %@", *found.error);
    } else if (found.status != 0) {
        kq::log("Error while trying to get default Web browser: %ld", found.status);
    }
    if (!found.applicationPath) return std::nullopt;
    return kq::stringByDeletingPathExtension(kq::lastPathComponent(*found.applicationPath));
}

std::optional<kq::Date> KQUSystemInformation::bootDate() {
    const auto boot = SystemFacts::current()->bootTime();
    if (!boot) return std::nullopt;
    // One reading of the clock: two could straddle a second and add one.
    const auto now = std::chrono::system_clock::now();
    const std::int64_t nowSeconds = std::chrono::floor<std::chrono::seconds>(now.time_since_epoch()).count();
    return now + std::chrono::seconds(*boot - nowSeconds);
}

kq::Dictionary KQUSystemInformation::miniSystemProfile() {
    kq::Dictionary profile;
    // Values are asked in order and the list ends at the first missing one.
    const auto machine = machineType();
    if (!machine) return profile;
    profile.setObject("MachineType", *machine);
    profile.setObject("HumanMachineType", humanMachineType());
    profile.setObject("ProcessorType", powerPCTypeString());
    profile.setObject("ProcessorClockSpeed", static_cast<std::int64_t>(processorClockSpeed()));
    profile.setObject("ProcessorClockSpeedInMHz", static_cast<std::int64_t>(processorClockSpeedInMHz()));
    profile.setObject("CountProcessors", countProcessors());
    const auto system = operatingSystemString();
    if (!system) return profile;
    profile.setObject("OperatingSystem", *system);
    const auto version = humanReadableSystemVersionString();
    if (!version) return profile;
    profile.setObject("SystemVersion", *version);
    return profile;
}
