// KQUSystemInformation over the Linux backend pointed at fixture trees.
#include <gtest/gtest.h>

#include "FakeSystemFacts.h"
#include "KQFoundation/KQUSystemInformation.h"
#include "System/Linux/LinuxSystemFacts.h"
#include "Support/TemporaryDirectory.h"

namespace {

class LinuxMachineTest : public kqtest::SystemInformationTest {
protected:
    void useMachine() {
        kq::SystemFacts::setCurrent(std::make_shared<kq::LinuxSystemFacts>(
            kq::LinuxSystemFacts::Options{machine.path(), machine / "home", false}));
    }
    kqtest::TemporaryDirectory machine;
};

TEST_F(LinuxMachineTest, DeviceTreeModelEndingInOneOrTwoNuls) {
    machine.writeFile("sys/firmware/devicetree/base/model", std::string_view("Pine64 RockPro64 v2.1\0", 22));
    useMachine();
    EXPECT_EQ(KQUSystemInformation::machineType(), "Pine64 RockPro64 v2.1");
    machine.writeFile("sys/firmware/devicetree/base/model", std::string_view("Board\0\0", 7));
    EXPECT_EQ(KQUSystemInformation::machineType(), std::string("Board\0", 6));
}

TEST_F(LinuxMachineTest, EightCharacterSerialHasNoConfigCode) {
    machine.writeFile("sys/class/dmi/id/product_serial", "PF1ABCDE\n");
    useMachine();
    EXPECT_EQ(KQUSystemInformation::computerSerialNumber(), "PF1ABCDE");
    EXPECT_EQ(KQUSystemInformation::configCode(), std::nullopt);
}

TEST_F(LinuxMachineTest, MachineWithoutNetworkInterfacesHasNoAddress) {
    machine.writeFile("sys/class/net/lo/address", "00:00:00:00:00:00\n");
    useMachine();
    testing::internal::CaptureStdout();
    EXPECT_EQ(KQUSystemInformation::macAddressString(), std::nullopt);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "IOBSDNameMatching(en0) returned empty dictionary\nIOBSDNameMatching(en1) returned empty dictionary\n");
}

TEST_F(LinuxMachineTest, MiniProfileOfALinuxMachine) {
    machine.writeFile("sys/class/dmi/id/product_name", "Standard PC (Q35 + ICH9, 2009)\n");
    machine.writeFile("proc/cpuinfo", "processor\t: 0\nflags\t\t: fpu lm\ncpu MHz\t\t: 2999.999\n");
    machine.writeFile("etc/os-release", "NAME=\"Debian GNU/Linux\"\nVERSION=\"12 (bookworm)\"\n");
    useMachine();
    const kq::Dictionary profile = KQUSystemInformation::miniSystemProfile();
    EXPECT_EQ(profile.size(), 8u);
    EXPECT_EQ(*profile.stringValueForKey("MachineType"), "Standard PC (Q35 + ICH9, 2009)");
    EXPECT_EQ(profile.numberValueForKey("ProcessorClockSpeedInMHz")->integerValue(), 2999);
    EXPECT_EQ(*profile.stringValueForKey("SystemVersion"), "12 (bookworm)");
    EXPECT_TRUE(KQUSystemInformation::isHighSierraOrGreater());
}

}  // namespace
