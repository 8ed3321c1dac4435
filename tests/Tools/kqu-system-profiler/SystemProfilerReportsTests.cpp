// The reports kqu-system-profiler prints, built from a Linux fixture tree,
// and read back through KQUSystemInformation by running the real program.
#include "SystemProfilerReports.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <tuple>

#include "Common/SystemInformation/SystemInformationState.h"
#include "KQFoundation/KQUSystemInformation.h"
#include "KQFoundation/Foundation/PropertyList.h"
#include "System/Linux/LinuxSystemFacts.h"
#include "Support/ScopedLayout.h"
#include "Support/TemporaryDirectory.h"

namespace {

namespace profiler = kq::systemprofiler;

class ProfilerReportsTest : public ::testing::Test {
protected:
    void SetUp() override {
        machine.writeFile("sys/class/dmi/id/product_name", "Precision 5530\n");
        machine.writeFile("sys/class/dmi/id/sys_vendor", "Dell Inc.\n");
        machine.writeFile("sys/class/dmi/id/product_serial", "5CG7ABC12\n");
        machine.writeFile("proc/cpuinfo", "processor\t: 0\nmodel name\t: Intel(R) Core(TM) i7-8850H CPU @ 2.60GHz\n"
                                          "cpu MHz\t\t: 2600.000\nphysical id\t: 0\ncore id\t\t: 0\n\n"
                                          "processor\t: 1\nphysical id\t: 0\ncore id\t\t: 1\n");
        machine.writeFile("proc/meminfo", "MemTotal:       16213772 kB\n");
        machine.writeFile("sys/devices/system/memory/block_size_bytes", "8000000");
        for (int block = 0; block < 128; ++block)
            machine.writeFile("sys/devices/system/memory/memory" + std::to_string(block) + "/state", "online");
        mac.writeFile("Applications/Safari.app/Contents/Info.plist",
                      "<plist><dict><key>CFBundleShortVersionString</key><string>11.1.2</string></dict></plist>");
        mac.writeFile("Applications/Utilities/Terminal.app/Contents/Info.plist", "<plist><dict/></plist>");
        mac.writeFile("Users/sam/Applications/Mine.app/Contents/MacOS/Mine");
        mac.writeFile("Applications/Notes.txt");
    }
    kq::LinuxSystemFacts facts() const { return kq::LinuxSystemFacts({machine.path(), machine / "home", false}); }
    kq::FileSystemLayout layout() const { return kq::FileSystemLayout(mac.path(), mac / "Users/sam"); }

    kqtest::TemporaryDirectory machine;
    kqtest::TemporaryDirectory mac;
};

TEST_F(ProfilerReportsTest, HardwareOverviewMemoryWithoutModulesAndUnknownTypes) {
    const auto report = profiler::report("SPHardwareDataType", facts(), layout());
    ASSERT_TRUE(report.has_value());
    EXPECT_EQ(*report->stringValueForKey("_dataType"), "SPHardwareDataType");
    // Model name, memory and cores are read back from the text by ShippedProfilerTest.
    const std::string text = profiler::reportText(*report);
    for (const char* line : {"\n      Processor Speed: 2.6 GHz\n", "\n      Serial Number (system): 5CG7ABC12\n"})
        EXPECT_NE(text.find(line), std::string::npos) << text;

    EXPECT_EQ(profiler::report("SPAudioDataType", facts(), layout()), std::nullopt);
    const auto memory = profiler::report("SPMemoryDataType", facts(), layout());
    EXPECT_TRUE(memory->arrayValueForKey("_items")->empty());
    EXPECT_EQ(profiler::reportText(*memory), "Memory:\n\n");
}

TEST_F(ProfilerReportsTest, ApplicationsBelowTheLayoutsApplicationFolders) {
    const auto report = profiler::report("SPApplicationsDataType", facts(), layout());
    const kq::Array& items = *report->arrayValueForKey("_items");
    std::vector<std::string> paths;
    for (const kq::Value& item : items) paths.push_back(*item.asDictionary()->stringValueForKey("path"));
    EXPECT_EQ(paths, (std::vector<std::string>{mac / "Applications/Safari.app", mac / "Applications/Utilities/Terminal.app",
                                               mac / "Users/sam/Applications/Mine.app"}));
    EXPECT_EQ(std::make_tuple(*items[0].asDictionary()->stringValueForKey("version"),
                              *items[0].asDictionary()->stringValueForKey("_name")), std::make_tuple("11.1.2", "Safari"));
    EXPECT_NE(profiler::reportText(*report).find("      Location: " + (mac / "Applications/Safari.app") + "\n"),
              std::string::npos);
}

TEST(ProfilerTexts, SizesAndClocks) {
    for (auto [bytes, text] : {std::pair{8ull << 30, "8 GB"}, {16213772ull * 1024, "15.5 GB"}, {512ull << 20, "512 MB"}})
        EXPECT_EQ(profiler::memorySizeText(bytes), text);
    for (auto [hertz, text] : {std::pair{2260000000ull, "2.26 GHz"}, {3000000000ull, "3 GHz"}, {800000000ull, "800 MHz"}})
        EXPECT_EQ(profiler::clockSpeedText(hertz), text);
}

// KQUSystemInformation driving the real kqu-system-profiler over the fixtures.
class ShippedProfilerTest : public ProfilerReportsTest {
protected:
    void SetUp() override {
        ProfilerReportsTest::SetUp();
        const std::string program = std::string(KQ_BINARY_DIR) + "/tools/kqu-system-profiler";
        if (!std::filesystem::exists(program)) GTEST_SKIP() << "kqu-system-profiler is not built";
        kq::systeminformation::resetForTesting();
        KQUSystemInformation::setSystemProfilerPath(program);
        ::setenv("KQ_SYSTEM_ROOT", machine.path().c_str(), 1);
        scopedLayout.emplace(mac.path(), mac / "Users/sam");
    }
    void TearDown() override {
        ::unsetenv("KQ_SYSTEM_ROOT");
        scopedLayout.reset();
        kq::systeminformation::resetForTesting();
    }
    std::optional<kqtest::ScopedLayout> scopedLayout;
};

TEST_F(ShippedProfilerTest, HardwareApplicationsMemoryAndGraphicsOfTheFixtures) {
    EXPECT_EQ(KQUSystemInformation::humanMachineType(), "Dell Inc. Precision 5530");
    EXPECT_EQ(KQUSystemInformation::humanReadableMemorySizeString(), "16 GB");
    EXPECT_EQ(KQUSystemInformation::systemProfileValueForKey("Total Number of Cores: "), "2");
    EXPECT_EQ(KQUSystemInformation::allApplicationsPathsWithSystemProfiler().size(), 3u);
    machine.writeFile("sys/class/drm/card0/device/vendor", "0x1af4\n");
    machine.writeFile("sys/class/drm/card0/device/device", "0x1050\n");
    machine.writeFile("usr/share/misc/pci.ids", "1af4  Red Hat, Inc.\n\t1050  Virtio 1.0 GPU\n");
    machine.writeFile("sys/class/drm/card0-Virtual-1/status", "connected\n");
    const kq::Dictionary graphics = KQUSystemInformation::graphicsInformation();
    const kq::Array& gpus = *graphics.arrayValueForKey(kKQUGPUsKey);
    EXPECT_EQ(gpus, (kq::Array{kq::Dictionary{{kKQUGPUModelNameKey, "Red Hat Virtio 1.0 GPU"}, {kKQUGPUVendorNameKey, "Red Hat"}}}));
    EXPECT_EQ(*graphics.arrayValueForKey(kKQUDisplaysKey),
              (kq::Array{kq::Dictionary{{kKQUDisplayModelNameKey, "Virtual-1"}}}));
}

}  // namespace
