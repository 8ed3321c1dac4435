#pragma once
// KQUSystemInformation: what the machine is and runs (model, processor,
// memory, disks, serial number, network address, operating system, boot
// time, default web browser) and the reports of the system profiler tool.
// Class operations only. Missing answers are nullopt, 0 or false; nothing
// throws. The raw facts come from the platform backend (Linux: /proc, /sys,
// /etc; macOS: sysctl, the I/O registry and friends).
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "KQFoundation/Export.h"
#include "KQFoundation/KQUSystemReportKeys.h"
#include "KQFoundation/Foundation/URL.h"
#include "KQFoundation/Foundation/Value.h"

class KQ_EXPORT KQUSystemInformation {
public:
    KQUSystemInformation() = delete;

    // Hardware identity
    /// The model from the device tree; one trailing NUL is dropped.
    static std::optional<std::string> machineType();
    static std::optional<std::string> modelIdentifier();
    static std::optional<std::string> computerSerialNumber();
    /// The serial number from its ninth character on; nullopt for serials shorter than 9.
    static std::optional<std::string> configCode();
    static std::optional<std::string> computerName();
    /// The profiler's "Model Name: ", or "Mac" when it has none.
    static std::string humanMachineType();

    // Network hardware address (of "en0", else "en1"); cached once found.
    static std::optional<kq::Data> macAddress();
    /// "aa:bb:cc:dd:ee:ff" when the address has exactly 6 bytes.
    static std::optional<std::string> macAddressString();

    // Processor
    /// Hertz; 0 when unknown.
    static std::int64_t processorClockSpeed();
    /// processorClockSpeed() / 1,000,000, truncated.
    static std::int64_t processorClockSpeedInMHz();
    static std::int32_t countProcessors();
    static bool is64BitCapable();
    static bool isPowerPC();
    static bool isG3();
    static bool isG4();
    static bool isG5();
    /// "G3", "G4", "G5", "PowerPC pre-G3" or "Non-PowerPC".
    static std::string powerPCTypeString();
    static std::optional<std::string> CPUBrandString();
    /// Hertz; 0 when unknown.
    static std::uint64_t CPUFrequency();
    static std::uint32_t CPUPackagesCount();
    static std::uint32_t CPUCoresCount();

    // Memory and storage
    /// Physical memory in bytes (0 when unknown).
    static std::uint64_t memorySize();
    /// The profiler's "Memory: " text, asked once per process; "N/A" when it has none.
    static std::string humanReadableMemorySizeString();
    /// Bytes of the whole disk that holds the root volume; 0 when unknown.
    static std::uint64_t hddSize();
    /// Both outputs are set to 0 first; removable and unmountable volumes leave them 0.
    static void getVolumeFreeSpace(std::int64_t* freeSpace, std::int64_t* totalSpace, const kq::URL& volume);
    /// Sums getVolumeFreeSpace over the mounted, visible volumes.
    static void getStorageFreeSpace(std::int64_t* freeSpace, std::int64_t* totalSpace);

    // Operating system
    static std::optional<std::string> operatingSystemString();
    static std::optional<std::string> humanReadableSystemVersionString();
    /// "major.minor.bugfix"; cached once built.
    static std::optional<std::string> systemVersionString();
    // Release tests. Other parts choose between an older and a newer platform
    // call with them; on Linux they answer as on the newest release.
    static bool isSnowLeopardOrGreater();
    static bool isLionOrGreater();
    static bool isMountainLionOrGreater();
    static bool isMavericksOrGreater();
    static bool isYosemiteOrGreater();
    static bool isElCapitanOrGreater();
    static bool isSierraOrGreater();
    static bool isHighSierraOrGreater();

    // Environment
    /// The file name, without extension, of the application that opens "http://".
    static std::optional<std::string> defaultWebBrowserName();
    /// Exact to the second.
    static std::optional<kq::Date> bootDate();
    /// "MachineType", "HumanMachineType", "ProcessorType", "ProcessorClockSpeed",
    /// "ProcessorClockSpeedInMHz", "CountProcessors", "OperatingSystem",
    /// "SystemVersion", in that order, cut off at the first missing value.
    static kq::Dictionary miniSystemProfile();

    // System profiler reports. Each runs the tool afresh and blocks until it exits.
    /// The tool's standard output, or nullopt when it could not be run.
    static std::optional<kq::Data> systemProfileOfDataTypes(const std::vector<std::string>& dataTypes,
                                                            bool xmlFormat);
    /// The plain-text report; nullopt when empty.
    static std::optional<std::string> stringWithSystemProfileOfDataTypes(const std::vector<std::string>& dataTypes);
    /// The XML report when its root is an array.
    static std::optional<kq::Array> arrayWithSystemProfileOfDataTypes(const std::vector<std::string>& dataTypes);
    /// The text after `label` on its line of the hardware overview. Without a
    /// newline after it the report's last character is dropped (kept on purpose).
    static std::optional<std::string> systemProfileValueForKey(std::string_view label);
    /// The module dictionaries of the first memory group.
    static std::optional<kq::Array> memoryInfo();
    /// kKQUGPUsKey and kKQUDisplaysKey, each an array (possibly empty).
    static kq::Dictionary graphicsInformation();
    static kq::Array parseDisplaysInformation(const kq::Array& displays);
    /// Devices from ~/Library/Preferences/com.apple.iPod.plist of the current layout.
    static kq::Array connectedIOSDevicesInformation();
    /// Paths of the applications the profiler lists (empty when it cannot run).
    static std::unordered_set<std::string> allApplicationsPathsWithSystemProfiler();
    /// The profiler's list, or when that is empty, a search of the user, local
    /// and network Applications folders added to it.
    static std::unordered_set<std::string> allApplicationsPaths();
    /// The marketing model name once fetched; the first calls start the
    /// background fetch and return nullopt.
    static std::optional<std::string> humanMachineTypeWithYear();

    // Settings
    /// The profiler tool. Default: $KQ_SYSTEM_PROFILER, else the platform's
    /// tool (on Linux kqu-system-profiler beside the running program or on PATH).
    static void setSystemProfilerPath(std::optional<std::string> path);
    static std::string systemProfilerPath();
    /// Scheme, host and port of the product-description service, e.g.
    /// "https://host". Default: $KQ_PRODUCT_DESCRIPTION_SERVICE; with none
    /// set the model-name lookup finds nothing.
    static void setProductDescriptionServiceURL(std::optional<std::string> baseURL);
    static std::optional<std::string> productDescriptionServiceURL();
};
