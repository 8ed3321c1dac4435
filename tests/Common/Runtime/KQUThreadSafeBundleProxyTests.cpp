#include <gtest/gtest.h>

#include <thread>

#include "KQFoundation/KQUThreadSafeBundleProxy.h"
#include "KQFoundation/NSBundle+KQUThreadSafety.h"
#include "KQFoundation/Foundation/Exceptions.h"
#include "Support/TemporaryDirectory.h"

namespace {

/// True when another thread cannot take the bundle's monitor right now.
bool monitorHeldElsewhere(const kq::Bundle& bundle) {
    bool held = false;
    std::thread([&] {
        held = !bundle.monitor().try_lock();
        if (!held) bundle.monitor().unlock();
    }).join();
    return held;
}

class KQUThreadSafeBundleProxyTests : public ::testing::Test {
protected:
    kqtest::TemporaryDirectory dir;
    std::string path;

    void SetUp() override {
        dir.writeFile("App.app/Contents/Info.plist", "<plist><dict></dict></plist>");
        dir.writeFile("App.app/Contents/Resources/en.lproj/Localizable.strings", "\"Open\" = \"Open it\";");
        path = dir / "App.app";
    }
};

TEST_F(KQUThreadSafeBundleProxyTests, EveryCallHoldsTheBundlesMonitor) {
    auto proxy = kq::Bundle::threadSafeBundleWithPath(path);
    ASSERT_TRUE(proxy);
    const kq::Bundle& bundle = *proxy->bundle();

    // The lock lasts for the whole expression, argument evaluation included,
    // and it is the bundle's own monitor, so every wrapper of it serialises.
    int heldDuringCall = 0;
    auto probe = [&] {
        heldDuringCall += monitorHeldElsewhere(bundle);
        return std::string("Open");
    };
    EXPECT_EQ(proxy->locked()->localizedString(probe()), "Open it");
    EXPECT_EQ((*proxy)->localizedString(probe()), "Open it");
    EXPECT_EQ(heldDuringCall, 2);
    EXPECT_FALSE(monitorHeldElsewhere(bundle));
    EXPECT_TRUE(proxy->with([&](const kq::Bundle& b) { return &b == &bundle && monitorHeldElsewhere(b); }));
    EXPECT_FALSE(monitorHeldElsewhere(bundle));
    EXPECT_EQ(kq::Bundle::threadSafeBundleWithPath(dir / "App.app/")->bundle(), proxy->bundle());
}

TEST_F(KQUThreadSafeBundleProxyTests, ExceptionReleasesTheMonitorAndReachesTheCaller) {
    auto bare = kq::Bundle::threadSafeBundleWithPath(dir.makeDirectory("Bare.bundle"));
    ASSERT_TRUE(bare);
    EXPECT_THROW(bare->with([](const kq::Bundle& b) { return b.preferredLocalization(); }), kq::RangeException);
    EXPECT_FALSE(monitorHeldElsewhere(*bare->bundle()));
}

TEST_F(KQUThreadSafeBundleProxyTests, WrappersExistForExistingBundlesOnly) {
    EXPECT_EQ(KQUThreadSafeBundleProxy::proxyWithBundle(nullptr), nullptr);
    EXPECT_EQ(kq::Bundle::threadSafeBundleWithPath(dir / "Missing.app"), nullptr);

    EXPECT_EQ(kq::Bundle::threadSafeMainBundle()->bundle(), kq::Bundle::mainBundle());
    EXPECT_EQ(kq::Bundle::threadSafeBundleForClass()->bundle(), kq::Bundle::libraryBundle());
}

}  // namespace
