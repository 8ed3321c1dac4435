#pragma once
// Settable machine facts for the tests of KQUSystemInformation and
// KQUUsingMemoryStatistics, and a fixture that installs them (and the fake
// profiler) and puts the process-wide state back afterwards.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <map>
#include <memory>

#include "Common/SystemInformation/SystemInformationState.h"
#include "KQFoundation/KQUSystemInformation.h"
#include "System/SystemFacts.h"

namespace kqtest {

// Each field is the answer of the getter beside it.
struct FakeSystemFacts : kq::SystemFacts {
    int registry = 0;
    int registryStatus() const override { return registry; }
    std::optional<kq::Data> model;
    std::optional<kq::Data> deviceTreeModel() const override { return model; }
    std::optional<std::string> serial;
    std::optional<std::string> platformSerialNumber() const override { return serial; }
    std::map<std::string, kq::NetworkInterfaceFact> interfaces;
    mutable std::vector<std::string> interfaceQueries;
    std::optional<kq::NetworkInterfaceFact> networkInterface(std::string_view bsdName) const override {
        interfaceQueries.emplace_back(bsdName);
        return find(interfaces, bsdName);
    }
    std::optional<std::int64_t> clock;
    std::optional<std::int64_t> processorClockSpeed() const override { return clock; }
    std::optional<kq::HostBasicInfo> host;
    std::optional<kq::HostBasicInfo> hostBasicInfo() const override { return host; }
    std::optional<std::uint64_t> memory, page;
    std::optional<std::uint64_t> memorySize() const override { return memory; }
    mutable int pageSizeQueries = 0;
    std::optional<std::uint64_t> pageSize() const override { return ++pageSizeQueries, page; }
    std::optional<kq::VMStatistics> statistics;
    std::optional<kq::VMStatistics> vmStatistics() const override { return statistics; }
    std::optional<kq::VMStatistics64> statistics64;
    std::optional<kq::VMStatistics64> vmStatistics64() const override { return statistics64; }
    // sysctl name -> value; a missing name fails with ENOENT.
    std::map<std::string, std::uint64_t, std::less<>> firmware;
    int firmwareMemoryFigure(std::string_view figure, std::uint64_t& bytes) const override {
        auto it = firmware.find(figure);
        if (it == firmware.end()) return errno = ENOENT, -1;
        bytes = it->second;
        return 0;
    }
    std::optional<std::vector<kq::StorageEntryFact>> storageChain;
    std::optional<std::vector<kq::StorageEntryFact>> rootVolumeStorageChain() const override { return storageChain; }
    std::vector<std::string> volumes;
    std::vector<std::string> mountedVolumePaths() const override { return volumes; }
    std::map<std::string, kq::VolumeFact> volumeFacts;
    std::optional<kq::VolumeFact> volumeAtPath(std::string_view path) const override { return find(volumeFacts, path); }
    std::map<std::string, kq::VolumeCapacityFact> capacities;
    kq::VolumeCapacityFact volumeCapacity(std::string_view path) const override {
        return find(capacities, path).value_or(kq::VolumeCapacityFact{});
    }
    std::optional<std::string> systemName, systemVersion;
    std::optional<std::string> operatingSystemName() const override { return systemName; }
    std::optional<std::string> operatingSystemVersionString() const override { return systemVersion; }
    std::vector<std::optional<int>> versionParts{12, 6, 0};
    mutable int versionQueries = 0;
    std::optional<int> systemVersionComponent(int index) const override {
        ++versionQueries;
        return versionParts.at(static_cast<std::size_t>(index));
    }
    double appKit = 2000;
    double appKitVersionNumber() const override { return appKit; }
    std::optional<std::int64_t> boot;
    std::optional<std::int64_t> bootTime() const override { return boot; }
    kq::DefaultApplicationFact browser;
    kq::DefaultApplicationFact defaultApplicationForURL(std::string_view) const override { return browser; }
    // Facts these suites never read.
    std::optional<std::string> modelIdentifier() const override { return {}; }
    std::optional<std::string> computerName() const override { return {}; }
    std::optional<std::string> cpuBrandString() const override { return {}; }
    std::optional<std::uint64_t> cpuFrequency() const override { return {}; }
    std::optional<std::uint32_t> cpuPackages() const override { return {}; }
    std::optional<std::uint32_t> cpuCores() const override { return {}; }
    std::vector<kq::MemoryModuleFact> memoryModules() const override { return {}; }
    std::vector<kq::GraphicsProcessorFact> graphicsProcessors() const override { return {}; }

    template <class Map>
    static std::optional<typename Map::mapped_type> find(const Map& map, std::string_view key) {
        auto it = map.find(std::string(key));
        return it == map.end() ? std::nullopt : std::optional(it->second);
    }
};

inline std::string fixturePath(std::string_view name) {
    return std::string(KQ_TEST_FIXTURES) + "/SystemInformation/" + std::string(name);
}

/// Installs fresh fake facts and the fake profiler; restores everything after the test.
class SystemInformationTest : public ::testing::Test {
protected:
    void SetUp() override {
        kq::systeminformation::resetForTesting();
        facts = std::make_shared<FakeSystemFacts>();
        kq::SystemFacts::setCurrent(facts);
        KQUSystemInformation::setSystemProfilerPath(fixturePath("fake-system-profiler"));
        useRecordedReports("empty.txt", "empty.txt");
    }
    void TearDown() override {
        kq::SystemFacts::setCurrent(nullptr);
        kq::systeminformation::resetForTesting();
        ::unsetenv("KQ_FAKE_PROFILER_TEXT");
        ::unsetenv("KQ_FAKE_PROFILER_XML");
        ::unsetenv("KQ_FAKE_PROFILER_ARGUMENTS");
    }
    /// The fake profiler prints these fixture files for plain-text and XML runs.
    static void useRecordedReports(std::string_view text, std::string_view xml) {
        ::setenv("KQ_FAKE_PROFILER_TEXT", fixturePath(text).c_str(), 1);
        ::setenv("KQ_FAKE_PROFILER_XML", fixturePath(xml).c_str(), 1);
    }

    std::shared_ptr<FakeSystemFacts> facts;
};

}  // namespace kqtest
