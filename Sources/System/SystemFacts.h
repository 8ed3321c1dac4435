#pragma once
// kq::SystemFacts: the raw machine facts that KQUSystemInformation,
// KQUUsingMemoryStatistics and the profiler reports are built from. Each
// question is answered the way the platform call it stands for answers it
// (including its failures); the logic on top (fallbacks, formats, caches)
// lives in Sources/Common/SystemInformation. One instance is current for the
// process: the host's backend unless a test sets another.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KQFoundation/System/VMStatistics.h"
#include "KQFoundation/Foundation/Value.h"

namespace kq {

/// The host's basic information record (the fields the library reads).
struct HostBasicInfo {
    std::int32_t maxCpus = 0;
    std::int32_t cpuType = 0;
    std::int32_t cpuSubtype = 0;
    std::uint64_t maxMem = 0;
};

/// CPU types of the host information record.
inline constexpr std::int32_t kCPUTypeX86 = 7;
inline constexpr std::int32_t kCPUTypeX86_64 = 0x01000007;
inline constexpr std::int32_t kCPUTypeARM = 12;
inline constexpr std::int32_t kCPUTypeARM64 = 0x0100000c;
inline constexpr std::int32_t kCPUTypePowerPC = 18;
inline constexpr std::int32_t kCPUTypePowerPC64 = 0x01000012;
inline constexpr std::int32_t kCPUSubtypePowerPC750 = 9;    // G3
inline constexpr std::int32_t kCPUSubtypePowerPC7400 = 10;  // G4
inline constexpr std::int32_t kCPUSubtypePowerPC7450 = 11;  // G4
inline constexpr std::int32_t kCPUSubtypePowerPC970 = 100;  // G5

/// One network service that matched an interface name: the status of the
/// step to its parent controller, and the controller's hardware address.
struct NetworkServiceFact {
    int parentStatus = 0;
    std::optional<Data> hardwareAddress;
};

/// The services matching one interface name; `status` non-zero when the
/// matching call itself failed.
struct NetworkInterfaceFact {
    int status = 0;
    std::vector<NetworkServiceFact> services;
};

/// One entry on the way from the root volume's device to the top of the
/// device tree: storage media (whole disk or a slice of one) or anything else.
struct StorageEntryFact {
    bool isMedia = false;
    bool isWhole = false;
    std::optional<std::uint64_t> size;
};

/// What the desktop knows about the volume that holds a path.
struct VolumeFact {
    bool removable = false;
    bool writable = true;
    bool unmountable = false;
    std::string description;
    std::string type;
};

struct VolumeCapacityFact {
    std::optional<std::int64_t> available;
    std::optional<std::int64_t> total;
};

/// The application that opens a URL, or the reason there is none.
struct DefaultApplicationFact {
    std::optional<std::string> applicationPath;
    /// A description of the error the lookup reported, if any.
    std::optional<std::string> error;
    /// The lookup's status code (0 = found).
    long status = 0;
};

/// One memory slot as the firmware describes it.
struct MemoryModuleFact {
    std::string slotName;       // "BANK 0/DIMM0", "ChannelA-DIMM0"
    std::uint64_t sizeBytes = 0;  // 0: empty slot
    std::string type;           // "DDR4", "LPDDR5", "Empty"
    std::uint32_t speedMHz = 0;   // 0: unknown
    std::string manufacturer;
    std::string partNumber;
    std::string serialNumber;
};

/// A display attached to a graphics processor, from its EDID.
struct DisplayFact {
    std::string name;             // the monitor name, or the connector when it has none
    std::string connector;        // "eDP-1", "HDMI-A-1"
    std::uint32_t width = 0;      // preferred mode, pixels
    std::uint32_t height = 0;
    std::uint16_t vendorNumber = 0;  // EDID manufacturer id as the profiler prints it (decimal text)
    std::uint16_t productNumber = 0;
    std::uint32_t serialNumber = 0;
    std::uint32_t yearOfManufacture = 0;  // 0: unknown
    std::uint32_t weekOfManufacture = 0;
    bool builtIn = false;
};

struct GraphicsProcessorFact {
    std::string model;         // "Intel UHD Graphics 620", or "<vendor> device 0x1234"
    std::string vendorName;    // "Intel", "AMD", "NVIDIA"
    std::uint16_t vendorID = 0;
    std::uint16_t deviceID = 0;
    std::uint8_t revisionID = 0;
    std::optional<std::uint64_t> memoryBytes;
    bool memoryShared = false;  // taken from main memory (integrated graphics)
    bool builtIn = false;
    std::vector<DisplayFact> displays;
};

class SystemFacts {
public:
    virtual ~SystemFacts() = default;

    /// The facts in use: the host's backend unless setCurrent() chose others.
    static std::shared_ptr<const SystemFacts> current();
    /// nullptr restores the host's backend.
    static void setCurrent(std::shared_ptr<const SystemFacts> facts);
    /// The backend for the running machine.
    static std::shared_ptr<const SystemFacts> makeHostFacts();

    // Hardware identity
    /// Status of opening the hardware registry (0 = available).
    virtual int registryStatus() const { return 0; }
    /// The device tree's "model" property as raw bytes (may end in NUL).
    virtual std::optional<Data> deviceTreeModel() const = 0;
    virtual std::optional<std::string> modelIdentifier() const = 0;
    /// The model's marketing or family name, where the platform has one apart from the model.
    virtual std::optional<std::string> modelName() const { return std::nullopt; }
    virtual std::optional<std::string> platformSerialNumber() const = 0;
    virtual std::optional<std::string> computerName() const = 0;
    /// nullopt when no interface has that name ("en0", "en1").
    virtual std::optional<NetworkInterfaceFact> networkInterface(std::string_view bsdName) const = 0;

    // Processor
    /// The processor clock as the platform's clock selector reports it (hertz).
    virtual std::optional<std::int64_t> processorClockSpeed() const = 0;
    virtual std::optional<HostBasicInfo> hostBasicInfo() const = 0;
    virtual std::optional<std::string> cpuBrandString() const = 0;
    virtual std::optional<std::uint64_t> cpuFrequency() const = 0;
    virtual std::optional<std::uint32_t> cpuPackages() const = 0;
    virtual std::optional<std::uint32_t> cpuCores() const = 0;

    // Memory
    virtual std::optional<std::uint64_t> memorySize() const = 0;
    virtual std::optional<VMStatistics> vmStatistics() const = 0;
    virtual std::optional<VMStatistics64> vmStatistics64() const = 0;
    virtual std::optional<std::uint64_t> pageSize() const = 0;
    /// Firmware memory figures by their sysctl name ("machdep.memmap.Reserved",
    /// ".Unusable", ".Other"), answered like sysctlbyname: 0 and the value, or
    /// -1 with errno set. errno is left untouched on success.
    virtual int firmwareMemoryFigure(std::string_view name, std::uint64_t& bytes) const = 0;

    // Storage
    /// From the root volume's device upwards; nullopt when the root volume has no device.
    virtual std::optional<std::vector<StorageEntryFact>> rootVolumeStorageChain() const = 0;
    /// Mount points of the visible volumes.
    virtual std::vector<std::string> mountedVolumePaths() const = 0;
    virtual std::optional<VolumeFact> volumeAtPath(std::string_view path) const = 0;
    virtual VolumeCapacityFact volumeCapacity(std::string_view path) const = 0;

    // Operating system
    virtual std::optional<std::string> operatingSystemName() const = 0;
    virtual std::optional<std::string> operatingSystemVersionString() const = 0;
    /// 0 major, 1 minor, 2 bug-fix; nullopt when that part cannot be read.
    virtual std::optional<int> systemVersionComponent(int index) const = 0;
    /// The desktop framework's version number the release tests compare.
    virtual double appKitVersionNumber() const = 0;

    // Environment
    /// Seconds since 1970.
    virtual std::optional<std::int64_t> bootTime() const = 0;
    virtual DefaultApplicationFact defaultApplicationForURL(std::string_view url) const = 0;

    // Hardware inventory for the profiler reports
    virtual std::vector<MemoryModuleFact> memoryModules() const = 0;
    virtual std::vector<GraphicsProcessorFact> graphicsProcessors() const = 0;
};

/// The profiler tool the platform offers (on Linux: kqu-system-profiler
/// beside the running program, else on PATH).
std::string defaultSystemProfilerPath();

}  // namespace kq
