#pragma once
// The Linux backend of kq::SystemFacts. Every fact is read from files below a
// root folder ("/" for the running machine; tests point it at a fixture tree
// holding proc/, sys/, etc/ and usr/share/ files), so the same code serves
// the machine and recorded snapshots of others.
#include <string>
#include <string_view>

#include "System/SystemFacts.h"

namespace kq {

class LinuxSystemFacts final : public SystemFacts {
public:
    struct Options {
        /// The folder that stands for "/".
        std::string root = "/";
        /// The user's home folder (for mimeapps.list); empty: $HOME.
        std::string home;
        /// Whether xdg-settings may be run to find the default browser (only for root "/").
        bool runDesktopTools = true;
    };

    LinuxSystemFacts();
    explicit LinuxSystemFacts(Options options);

    /// An absolute path of the inspected system as a path on this machine.
    std::string path(std::string_view absolute) const;
    const Options& options() const { return options_; }

    std::optional<Data> deviceTreeModel() const override;
    std::optional<std::string> modelIdentifier() const override;
    std::optional<std::string> modelName() const override;
    std::optional<std::string> platformSerialNumber() const override;
    std::optional<std::string> computerName() const override;
    std::optional<NetworkInterfaceFact> networkInterface(std::string_view bsdName) const override;

    std::optional<std::int64_t> processorClockSpeed() const override;
    std::optional<HostBasicInfo> hostBasicInfo() const override;
    std::optional<std::string> cpuBrandString() const override;
    std::optional<std::uint64_t> cpuFrequency() const override;
    std::optional<std::uint32_t> cpuPackages() const override;
    std::optional<std::uint32_t> cpuCores() const override;

    std::optional<std::uint64_t> memorySize() const override;
    std::optional<VMStatistics> vmStatistics() const override;
    std::optional<VMStatistics64> vmStatistics64() const override;
    std::optional<std::uint64_t> pageSize() const override;
    int firmwareMemoryFigure(std::string_view name, std::uint64_t& bytes) const override;

    std::optional<std::vector<StorageEntryFact>> rootVolumeStorageChain() const override;
    std::vector<std::string> mountedVolumePaths() const override;
    std::optional<VolumeFact> volumeAtPath(std::string_view path) const override;
    VolumeCapacityFact volumeCapacity(std::string_view path) const override;

    std::optional<std::string> operatingSystemName() const override;
    std::optional<std::string> operatingSystemVersionString() const override;
    std::optional<int> systemVersionComponent(int index) const override;
    double appKitVersionNumber() const override;

    std::optional<std::int64_t> bootTime() const override;
    DefaultApplicationFact defaultApplicationForURL(std::string_view url) const override;

    std::vector<MemoryModuleFact> memoryModules() const override;
    std::vector<GraphicsProcessorFact> graphicsProcessors() const override;

    /// Newer than every release the release tests know: Linux takes the modern paths.
    static constexpr double kNewestAppKitVersionNumber = 1.0e6;

private:
    std::string home() const;
    Options options_;
};

}  // namespace kq
