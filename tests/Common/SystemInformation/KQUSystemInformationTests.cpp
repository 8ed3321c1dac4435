#include "KQFoundation/KQUSystemInformation.h"

#include <gtest/gtest.h>

#include "FakeSystemFacts.h"
#include "KQFoundation/Foundation/Log.h"

namespace {

using kqtest::SystemInformationTest;

kq::Data bytes(std::string_view text) { return kq::Data(text.begin(), text.end()); }

kq::NetworkInterfaceFact interfaceWith(std::vector<kq::NetworkServiceFact> services, int status = 0) {
    return kq::NetworkInterfaceFact{status, std::move(services)};
}

using MachineTypeTest = SystemInformationTest;

TEST_F(MachineTypeTest, DropsExactlyOneTrailingNulAndFailsOnBadInput) {
    for (auto [model, expected] : {std::pair{std::string_view("MacBookPro11,1\0", 15), std::string("MacBookPro11,1")},
                                   {std::string_view("Board\0\0", 7), std::string("Board\0", 6)}, {"Plain", "Plain"}}) {
        facts->model = bytes(model);
        EXPECT_EQ(KQUSystemInformation::machineType(), expected);
    }
    facts->registry = 5;
    EXPECT_EQ(KQUSystemInformation::machineType(), std::nullopt);
    facts->registry = 0;
    facts->model = kq::Data{0x4d, 0xff, 0x00};
    EXPECT_EQ(KQUSystemInformation::machineType(), std::nullopt);
    facts->model.reset();
    EXPECT_EQ(KQUSystemInformation::machineType(), std::nullopt);
}

TEST_F(SystemInformationTest, ConfigCodeNeedsNineCharacters) {
    // Characters, not bytes: eight two-byte letters leave nothing to take.
    for (auto [serial, code] : {std::pair<const char*, std::optional<std::string>>{"C02LK0AA", std::nullopt},
                                {"C02LK0AAFH00", "FH00"}, {"ÄÄÄÄÄÄÄÄ", std::nullopt}, {"ÄÄÄÄÄÄÄÄé", "é"}}) {
        facts->serial = serial;
        EXPECT_EQ(KQUSystemInformation::configCode(), code) << serial;
    }
}

using MACAddressTest = SystemInformationTest;

// What `call` prints on standard output, where the address lookup reports its failures.
template <class Call>
std::string printedBy(Call call) {
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

TEST_F(MACAddressTest, FallsBackToEn1AndPrintsEachFailure) {
    const std::string en0Line = "IOBSDNameMatching(en0) returned empty dictionary\n";
    EXPECT_EQ(printedBy([] { EXPECT_EQ(KQUSystemInformation::macAddress(), std::nullopt); }),
              en0Line + "IOBSDNameMatching(en1) returned empty dictionary\n");
    facts->interfaces["en1"] = interfaceWith({{0, kq::Data{0x00, 0x1b, 0x63, 0xa0, 0x0b, 0xff}}});
    EXPECT_EQ(printedBy([] { EXPECT_EQ(KQUSystemInformation::macAddressString(), "00:1b:63:a0:0b:ff"); }), en0Line);

    kq::systeminformation::resetForTesting();
    facts->interfaces.clear();
    facts->registry = 268435459;
    EXPECT_EQ(printedBy([] { EXPECT_EQ(KQUSystemInformation::macAddress(), std::nullopt); }),
              "IOMasterPort returned 268435459\n");
    facts->registry = 0;
    facts->interfaces["en0"] = interfaceWith({}, -536870160);
    EXPECT_EQ(printedBy([] { EXPECT_EQ(KQUSystemInformation::macAddress(), std::nullopt); }),
              "IOServiceGetMatchingServices returned -536870160\n");
}

TEST_F(MACAddressTest, LastReadableServiceWinsAndIsCached) {
    facts->interfaces["en0"] = interfaceWith({{0, kq::Data{1, 2, 3, 4, 5, 6}},
                                              {0, kq::Data{0xa, 0xb, 0xc, 0xd, 0xe, 0xf}},
                                              {-3, kq::Data{9, 9, 9, 9, 9, 9}}});
    EXPECT_EQ(printedBy([] { EXPECT_EQ(KQUSystemInformation::macAddressString(), "0a:0b:0c:0d:0e:0f"); }),
              "IORegistryEntryGetParentEntry returned -3\n");
    facts->interfaces.clear();
    EXPECT_EQ(KQUSystemInformation::macAddress(), (kq::Data{0xa, 0xb, 0xc, 0xd, 0xe, 0xf}));
}

TEST_F(MACAddressTest, OddLengthIsKeptWithoutStringButAMissingOneIsAskedForAgain) {
    facts->interfaces["en0"] = interfaceWith({{0, kq::Data(20, 0x11)}});
    EXPECT_EQ(KQUSystemInformation::macAddressString(), std::nullopt);
    EXPECT_EQ(KQUSystemInformation::macAddress(), kq::Data(20, 0x11));
    EXPECT_EQ(facts->interfaceQueries, std::vector<std::string>{"en0"});

    kq::systeminformation::resetForTesting();
    facts->interfaceQueries.clear();
    facts->interfaces["en0"] = interfaceWith({{0, std::nullopt}});
    EXPECT_EQ(KQUSystemInformation::macAddressString(), std::nullopt);
    facts->interfaces["en0"] = interfaceWith({{0, kq::Data{1, 2, 3, 4, 5, 6}}});
    EXPECT_EQ(KQUSystemInformation::macAddressString(), "01:02:03:04:05:06");
    EXPECT_EQ(facts->interfaceQueries.size(), 2u);
}

TEST_F(SystemInformationTest, ClockInMegahertzMemoryFallbackAndBootDate) {
    facts->clock = 2299999999;
    EXPECT_EQ(KQUSystemInformation::processorClockSpeedInMHz(), 2299);
    facts->clock = -1999999;
    EXPECT_EQ(KQUSystemInformation::processorClockSpeedInMHz(), -1);
    facts->clock.reset();
    EXPECT_EQ(KQUSystemInformation::processorClockSpeed(), 0);

    facts->memory = 17179869184ull;
    facts->host = kq::HostBasicInfo{8, 7, 3, 2147483648ull};
    EXPECT_EQ(KQUSystemInformation::memorySize(), 17179869184ull);
    facts->memory.reset();
    EXPECT_EQ(KQUSystemInformation::memorySize(), 2147483648ull);
    facts->host.reset();
    EXPECT_EQ(KQUSystemInformation::memorySize(), 0u);

    facts->boot = 1700000000;
    EXPECT_EQ(std::chrono::floor<std::chrono::seconds>(KQUSystemInformation::bootDate().value()).time_since_epoch().count(),
              1700000000);
    facts->boot.reset();
    EXPECT_EQ(KQUSystemInformation::bootDate(), std::nullopt);
}

TEST_F(SystemInformationTest, PowerPCGenerationsFromTypeAndSubtype) {
    struct Case {
        std::int32_t type, subtype;
        const char* expected;
    };
    for (const Case& c : {Case{18, 9, "G3"}, Case{18, 10, "G4"}, Case{18, 11, "G4"}, Case{18, 100, "G5"},
                          Case{18, 1, "PowerPC pre-G3"}, Case{kq::kCPUTypeX86_64, 9, "Non-PowerPC"}}) {
        facts->host = kq::HostBasicInfo{4, c.type, c.subtype, 0};
        EXPECT_EQ(KQUSystemInformation::powerPCTypeString(), c.expected) << c.type << "/" << c.subtype;
    }
    facts->host.reset();
    EXPECT_FALSE(KQUSystemInformation::isPowerPC());
    EXPECT_EQ(KQUSystemInformation::countProcessors(), 0);
    EXPECT_TRUE(KQUSystemInformation::is64BitCapable());
}

TEST_F(SystemInformationTest, DiskSizeIsTheFirstWholeMediaAboveTheRootVolume) {
    facts->storageChain = std::vector<kq::StorageEntryFact>{
        {true, false, 250000000000ull}, {false, false, std::nullopt}, {true, true, 500107862016ull}, {true, true, 1}};
    EXPECT_EQ(KQUSystemInformation::hddSize(), 500107862016ull);
    facts->storageChain = std::vector<kq::StorageEntryFact>{{true, false, 1}, {true, true, std::nullopt}};
    EXPECT_EQ(KQUSystemInformation::hddSize(), 0u);
    facts->storageChain.reset();
    EXPECT_EQ(KQUSystemInformation::hddSize(), 0u);
}

TEST_F(SystemInformationTest, RemovableAndUnmountableVolumesAddNothing) {
    facts->volumes = {"/", "/Volumes/Stick", "/Volumes/Image", "/Volumes/Gone"};
    facts->volumeFacts = {{"/", kq::VolumeFact{}}, {"/Volumes/Stick", kq::VolumeFact{true, true, false, "", ""}},
                          {"/Volumes/Image", kq::VolumeFact{false, true, true, "", ""}}};
    facts->capacities = {{"/", {100, 500}}, {"/Volumes/Stick", {7, 8}}, {"/Volumes/Image", {70, 80}}};
    std::int64_t freeSpace = -1, totalSpace = -1;
    KQUSystemInformation::getStorageFreeSpace(&freeSpace, &totalSpace);
    EXPECT_TRUE(freeSpace == 100 && totalSpace == 500) << freeSpace << " of " << totalSpace;
    KQUSystemInformation::getVolumeFreeSpace(&freeSpace, &totalSpace, kq::URL::fileURLWithPath("/Volumes/Stick"));
    EXPECT_TRUE(freeSpace == 0 && totalSpace == 0) << freeSpace << " of " << totalSpace;
    KQUSystemInformation::getVolumeFreeSpace(nullptr, &totalSpace, kq::URL::fileURLWithPath("/", true));
    EXPECT_EQ(totalSpace, 500);
}

TEST_F(SystemInformationTest, SystemVersionIsCachedOnlyOnceBuilt) {
    facts->versionParts = {10, std::nullopt, 6};
    EXPECT_EQ(KQUSystemInformation::systemVersionString(), std::nullopt);
    EXPECT_EQ(facts->versionQueries, 2);  // the failing minor part stops the work
    facts->versionParts = {10, 13, 6};
    EXPECT_EQ(KQUSystemInformation::systemVersionString(), "10.13.6");
    facts->versionParts = {11, 0, 0};
    EXPECT_EQ(KQUSystemInformation::systemVersionString(), "10.13.6");
}

TEST_F(SystemInformationTest, ReleaseTestsCompareTheFloorOfTheVersionNumber) {
    facts->appKit = 1265.9;
    EXPECT_TRUE(!KQUSystemInformation::isYosemiteOrGreater() && KQUSystemInformation::isMavericksOrGreater());
    facts->appKit = 1266.0;
    EXPECT_TRUE(KQUSystemInformation::isYosemiteOrGreater() && !KQUSystemInformation::isElCapitanOrGreater());
    facts->appKit = 949.0;
    EXPECT_FALSE(KQUSystemInformation::isSnowLeopardOrGreater());
    facts->appKit = 1505;
    EXPECT_TRUE(KQUSystemInformation::isSnowLeopardOrGreater() && KQUSystemInformation::isLionOrGreater() &&
                KQUSystemInformation::isMountainLionOrGreater() && KQUSystemInformation::isSierraOrGreater() &&
                KQUSystemInformation::isHighSierraOrGreater());
}

TEST_F(SystemInformationTest, DefaultBrowserNameAndItsFailureLoggedPerRelease) {
    facts->browser.applicationPath = "/Applications/Google Chrome.app";
    EXPECT_EQ(KQUSystemInformation::defaultWebBrowserName(), "Google Chrome");
    facts->browser.applicationPath = "/usr/share/applications/firefox-esr.desktop";
    EXPECT_EQ(KQUSystemInformation::defaultWebBrowserName(), "firefox-esr");

    facts->browser = kq::DefaultApplicationFact{std::nullopt, "no handler", -10814};
    for (auto [appKit, logged] : {std::pair{2000.0, "no handler"}, {1187.0, "-10814"}}) {
        facts->appKit = appKit;
        kq::LogCapture capture;
        EXPECT_EQ(KQUSystemInformation::defaultWebBrowserName(), std::nullopt);
        EXPECT_EQ(capture.lines(), std::vector<std::string>{std::string("Error while trying to get default Web browser: ") + logged});
    }
}

using MiniSystemProfileTest = SystemInformationTest;

TEST_F(MiniSystemProfileTest, HasEveryKeyInOrder) {
    useRecordedReports("hardware.txt", "empty.txt");
    facts->model = bytes("MacBookPro11,1");
    facts->clock = 2400000000;
    facts->host = kq::HostBasicInfo{4, kq::kCPUTypeX86_64, 3, 0};
    facts->systemName = "NSMACHOperatingSystem";
    facts->systemVersion = "Version 10.13.6 (Build 17G65)";
    const kq::Dictionary profile = KQUSystemInformation::miniSystemProfile();
    EXPECT_EQ(profile.keys(), (std::vector<std::string>{"MachineType", "HumanMachineType", "ProcessorType",
                                                         "ProcessorClockSpeed", "ProcessorClockSpeedInMHz",
                                                         "CountProcessors", "OperatingSystem", "SystemVersion"}));
    EXPECT_EQ(profile, (kq::Dictionary{{"MachineType", "MacBookPro11,1"}, {"HumanMachineType", "MacBook Pro"},
                                       {"ProcessorType", "Non-PowerPC"}, {"ProcessorClockSpeed", 2400000000},
                                       {"ProcessorClockSpeedInMHz", 2400}, {"CountProcessors", 4},
                                       {"OperatingSystem", "NSMACHOperatingSystem"},
                                       {"SystemVersion", "Version 10.13.6 (Build 17G65)"}}));
}

TEST_F(MiniSystemProfileTest, StopsAtTheFirstMissingValue) {
    facts->systemName = "Linux";
    EXPECT_TRUE(KQUSystemInformation::miniSystemProfile().empty());

    facts->model = bytes("Model");
    const kq::Dictionary profile = KQUSystemInformation::miniSystemProfile();
    EXPECT_EQ(profile.size(), 7u);
    EXPECT_FALSE(profile.contains("SystemVersion"));

    facts->systemName.reset();
    facts->systemVersion = "12 (bookworm)";
    EXPECT_EQ(KQUSystemInformation::miniSystemProfile().size(), 6u);
}

}  // namespace
