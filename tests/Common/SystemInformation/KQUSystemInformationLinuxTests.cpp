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
