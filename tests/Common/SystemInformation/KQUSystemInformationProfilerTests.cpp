#include <gtest/gtest.h>

#include "FakeSystemFacts.h"
#include "KQFoundation/KQUSystemInformation.h"
#include "KQFoundation/Foundation/Log.h"
#include "KQFoundation/Foundation/PropertyList.h"
#include "Support/ScopedLayout.h"
#include "Support/TemporaryDirectory.h"

namespace {

using ProfilerTest = kqtest::SystemInformationTest;
using kqtest::fixturePath;

TEST_F(ProfilerTest, PassesXmlFlagAndDataTypesInOrder) {
    kqtest::TemporaryDirectory folder;
    ::setenv("KQ_FAKE_PROFILER_ARGUMENTS", (folder / "arguments").c_str(), 1);
    useRecordedReports("hardware.txt", "memory.xml");
    ASSERT_TRUE(KQUSystemInformation::systemProfileOfDataTypes({"SPMemoryDataType", "SPDisplaysDataType"}, true));
    EXPECT_EQ(kqtest::readText(folder / "arguments"), "-xml\nSPMemoryDataType\nSPDisplaysDataType\n");
    ASSERT_TRUE(KQUSystemInformation::systemProfileOfDataTypes({"SPHardwareDataType"}, false));
    EXPECT_EQ(kqtest::readText(folder / "arguments"), "SPHardwareDataType\n");
}

TEST_F(ProfilerTest, ToolThatCannotBeLaunchedIsLoggedAndGivesNothing) {
    KQUSystemInformation::setSystemProfilerPath(fixturePath("no-such-profiler"));
    kq::LogCapture capture;
    EXPECT_EQ(KQUSystemInformation::systemProfileOfDataTypes({"SPHardwareDataType"}, true), std::nullopt);
    EXPECT_EQ(KQUSystemInformation::arrayWithSystemProfileOfDataTypes({"SPHardwareDataType"}), std::nullopt);
    EXPECT_TRUE(KQUSystemInformation::allApplicationsPathsWithSystemProfiler().empty());
    const auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].rfind("An exception is caught when running system_profiler tool: ", 0), 0u) << lines[0];
}

TEST_F(ProfilerTest, LabelledValueEndsAtItsLine) {
    EXPECT_EQ(KQUSystemInformation::humanReadableMemorySizeString(), "N/A");
    useRecordedReports("hardware.txt", "empty.txt");
    // "Serial Number" occurs twice; the first occurrence wins.
    EXPECT_EQ(KQUSystemInformation::systemProfileValueForKey("Serial Number"), " (system): C02LK0AAFH00");
    EXPECT_EQ(KQUSystemInformation::systemProfileValueForKey("Graphics: "), std::nullopt);
    EXPECT_EQ(KQUSystemInformation::systemProfileValueForKey("model name: "), std::nullopt);
    // The memory size string is worked out once per process.
    EXPECT_EQ(KQUSystemInformation::humanReadableMemorySizeString(), "N/A");
}

TEST_F(ProfilerTest, LastValueWithoutNewlineLosesItsLastCharacter) {
    useRecordedReports("hardware-memory-last.txt", "empty.txt");
    EXPECT_EQ(KQUSystemInformation::systemProfileValueForKey("Memory: "), "8 G");
    EXPECT_EQ(KQUSystemInformation::systemProfileValueForKey("Memory: 8 GB"), std::nullopt);
}

TEST_F(ProfilerTest, ArrayReportNeedsAnArrayRoot) {
    useRecordedReports("empty.txt", "dictionary-root.xml");
    EXPECT_EQ(KQUSystemInformation::arrayWithSystemProfileOfDataTypes({"SPApplicationsDataType"}), std::nullopt);
    useRecordedReports("empty.txt", "truncated.xml");
    EXPECT_EQ(KQUSystemInformation::arrayWithSystemProfileOfDataTypes({"SPApplicationsDataType"}), std::nullopt);
    EXPECT_EQ(KQUSystemInformation::memoryInfo(), std::nullopt);
    const kq::Dictionary graphics = KQUSystemInformation::graphicsInformation();
    EXPECT_TRUE(graphics.arrayValueForKey(kKQUGPUsKey)->empty());
    EXPECT_TRUE(graphics.arrayValueForKey(kKQUDisplaysKey)->empty());
}

TEST_F(ProfilerTest, MemoryModulesOfTheFirstGroupWithItems) {
    useRecordedReports("empty.txt", "memory.xml");
    const auto modules = KQUSystemInformation::memoryInfo();
    ASSERT_TRUE(modules.has_value());
    ASSERT_EQ(modules->size(), 2u);
    const kq::Dictionary& first = *(*modules)[0].asDictionary();
    for (auto [key, value] : {std::pair{kKQUMemoryInfoNameKey, "BANK 0/DIMM0"}, {kKQUMemoryInfoSizeKey, "4 GB"},
                              {kKQUMemoryInfoTypeKey, "DDR3"}, {kKQUMemoryInfoManufacturerKey, "0x80AD"}})
        EXPECT_EQ(first.stringValueForKey(key) ? *first.stringValueForKey(key) : "(none)", value) << key;
    EXPECT_EQ(*(*modules)[1].asDictionary()->stringValueForKey(kKQUMemoryInfoStatusKey), "empty");
}

TEST_F(ProfilerTest, GraphicsProcessorsAndTheirDisplaysFlattened) {
    useRecordedReports("empty.txt", "displays.xml");
    const kq::Dictionary graphics = KQUSystemInformation::graphicsInformation();
    const kq::Array& gpus = *graphics.arrayValueForKey(kKQUGPUsKey);
    ASSERT_EQ(gpus.size(), 3u);
    const kq::Dictionary& integrated = *gpus[0].asDictionary();
    EXPECT_EQ(integrated.keys(), (std::vector<std::string>{"modelName", "vendorName", "memorySize"}));
    EXPECT_EQ(*integrated.stringValueForKey(kKQUGPUMemorySizeKey), "1536 MB");
    EXPECT_EQ(*gpus[1].asDictionary()->stringValueForKey(kKQUGPUMemorySizeKey), "2 GB");
    // A size that is not text counts as none.
    EXPECT_FALSE(gpus[2].asDictionary()->contains(kKQUGPUMemorySizeKey));

    // Every dictionary yields an entry, even one with nothing readable.
    EXPECT_EQ(*graphics.arrayValueForKey(kKQUDisplaysKey),
              (kq::Array{kq::Dictionary{{kKQUDisplayModelNameKey, "Color LCD"}, {kKQUDisplayResolutionKey, "2560 x 1600"},
                                        {kKQUDisplayVendorNumberKey, "610"}, {kKQUDisplayYearOfManufactureKey, "2013"},
                                        {kKQUDisplayWeekOfManufactureKey, "32"}},
                         kq::Dictionary{},
                         kq::Dictionary{{kKQUDisplayModelNameKey, "DELL U2415"}, {kKQUDisplayResolutionKey, "1920 x 1200"}}}));
}

TEST_F(ProfilerTest, ApplicationPathsFromTheReportAndOnOldReleasesFromFoldersToo) {
    kqtest::TemporaryDirectory mac;
    mac.writeFile("Applications/Local.app/Contents/Info.plist");
    kqtest::ScopedLayout layout(mac.path(), mac / "Users/none");
    useRecordedReports("empty.txt", "applications.xml");
    const std::unordered_set<std::string> reported{"/Applications/Safari.app", "/Users/sam/Applications/Café.app"};
    EXPECT_EQ(KQUSystemInformation::allApplicationsPathsWithSystemProfiler(), reported);
    EXPECT_EQ(KQUSystemInformation::allApplicationsPaths(), reported);
    facts->appKit = 949;
    const auto paths = KQUSystemInformation::allApplicationsPaths();
    EXPECT_EQ(paths.size(), 3u);
    EXPECT_TRUE(paths.count(mac / "Applications/Local.app"));
}

TEST_F(ProfilerTest, ApplicationSearchWhenTheProfilerFails) {
    kqtest::TemporaryDirectory mac;
    for (const char* app : {"Applications/Safari.app", "Applications/Utilities/Terminal.app",
                            "Applications/Nested.app/Contents/Helpers/Inner.app", "Applications/Tool.bundle/Contents/Hidden.app",
                            "Users/sam/Applications/Mine.app", "System/Applications/System.app"})
        mac.writeFile(std::string(app) + "/Contents/Info.plist");
    kqtest::ScopedLayout layout(mac.path(), mac / "Users/sam");
    KQUSystemInformation::setSystemProfilerPath(fixturePath("no-such-profiler"));
    const auto paths = KQUSystemInformation::allApplicationsPaths();
    EXPECT_EQ(paths, (std::unordered_set<std::string>{mac / "Applications/Safari.app",
                                                       mac / "Applications/Utilities/Terminal.app",
                                                       mac / "Applications/Nested.app",
                                                       mac / "Users/sam/Applications/Mine.app"}));
}

TEST_F(ProfilerTest, SynchronisedDevicesFromTheIPodPreferences) {
    kqtest::TemporaryDirectory home;
    kqtest::ScopedLayout layout("/", home.path());
    const std::string preferences = home.writeFile("Library/Preferences/com.apple.iPod.plist", "<plist><dict><key>Devices</key>");
    EXPECT_TRUE(KQUSystemInformation::connectedIOSDevicesInformation().empty());
    const kq::Date connected = kq::dateWithTimeIntervalSinceReferenceDate(500000000);
    kq::Dictionary devices{
        {"A", kq::Dictionary{{"Serial Number", "DX3K1234ABCD"}, {"Use Count", 12}, {"Connected", connected},
                             {"Device Class", "iPhone"}, {"Firmware Version", 1}}},
        {"B", kq::Dictionary{{"Serial Number", 42}, {"Use Count", "many"}, {"Connected", "yesterday"}}},
        {"C", kq::Dictionary{{"Device Class", "iPad"}}},
        {"D", "not a device"}};
    ASSERT_TRUE(kq::PropertyList::writeFile(preferences, kq::Dictionary{{"Devices", devices}}));
    const kq::Array found = KQUSystemInformation::connectedIOSDevicesInformation();

    EXPECT_EQ(found, (kq::Array{kq::Dictionary{{kKQUExternIOSDeviceSerialNumberKey, "DX3K1234ABCD"},
                                               {kKQUExternIOSDeviceUseCountKey, 12},
                                               {kKQUExternIOSDeviceConnectionDateKey, connected},
                                               {kKQUExternIOSDeviceClassKey, "iPhone"}},
                                kq::Dictionary{{kKQUExternIOSDeviceClassKey, "iPad"}}}));
}

}  // namespace
