#pragma once
// The macOS backend of kq::SystemFacts, declared here so the seam stays
// honest; it is built only on macOS (this header is not compiled on Linux).
// Each fact and the platform call that answers it:
//
//   registryStatus            IOMasterPort(MACH_PORT_NULL, &port)
//   deviceTreeModel           IORegistryEntrySearchCFProperty(root, "IODeviceTree", "model",
//                             recursive) as CFData
//   modelIdentifier           sysctlbyname("hw.model") (length first, then the bytes)
//   modelName                 none: the profiler's "Model Name: " is used instead
//   platformSerialNumber      "IOPlatformSerialNumber" of IOPlatformExpertDevice
//   computerName              SCDynamicStoreCopyComputerName(NULL, NULL)
//   networkInterface          IOBSDNameMatching(name), IOServiceGetMatchingServices, each
//                             service's IOService-plane parent and its "IOMACAddress"
//   processorClockSpeed       Gestalt('pclk'), the SInt32 widened with its sign
//   hostBasicInfo             host_info(mach_host_self(), HOST_BASIC_INFO, count 12)
//   cpuBrandString            sysctlbyname("machdep.cpu.brand_string")
//   cpuFrequency              sysctlbyname("hw.cpufrequency"), 8 bytes
//   cpuPackages, cpuCores     sysctlbyname("hw.packages"), ("hw.physicalcpu_max"), 4 bytes
//   memorySize                sysctlbyname("hw.memsize"), 8 bytes
//   vmStatistics              host_statistics(HOST_VM_INFO, count 15)
//   vmStatistics64            host_statistics64(HOST_VM_INFO64, count 38)
//   pageSize                  host_page_size(mach_host_self())
//   firmwareMemoryFigure      sysctlbyname(name), 8 bytes, errno as the call leaves it
//   rootVolumeStorageChain    CFURLGetFSRef("/"), FSGetCatalogInfo, FSGetVolumeParms for the
//                             BSD name; IOBSDNameMatching, then an IOService-plane iterator
//                             (recursive | parents): IOMedia entries with "Whole" and "Size"
//   mountedVolumePaths        -[NSFileManager mountedVolumeURLsIncludingResourceValuesForKeys:
//                             options:NSVolumeEnumerationSkipHiddenVolumes]
//   volumeAtPath              -[NSWorkspace getFileSystemInfoForPath:isRemovable:isWritable:
//                             isUnmountable:description:type:]
//   volumeCapacity            NSURLVolumeAvailableCapacityKey, NSURLVolumeTotalCapacityKey
//   operatingSystemName       -[NSProcessInfo operatingSystemName]
//   operatingSystemVersionString  -[NSProcessInfo operatingSystemVersionString]
//   systemVersionComponent    Gestalt('sys1'), ('sys2'), ('sys3')
//   appKitVersionNumber       NSAppKitVersionNumber
//   bootTime                  sysctlbyname("kern.boottime"), struct timeval
//   defaultApplicationForURL  LSCopyDefaultApplicationURLForURL(url, kLSRolesAll, &error);
//                             before 10.10 LSGetApplicationForURL (status in `status`)
//   memoryModules, graphicsProcessors  not needed: /usr/sbin/system_profiler reports them
//
// defaultSystemProfilerPath() is "/usr/sbin/system_profiler".
#if defined(__APPLE__)
#include "System/SystemFacts.h"

namespace kq {

class DarwinSystemFacts final : public SystemFacts {
public:
    std::optional<Data> deviceTreeModel() const override;
    // ... one override per pure function of SystemFacts, as listed above.
};

}  // namespace kq
#endif
