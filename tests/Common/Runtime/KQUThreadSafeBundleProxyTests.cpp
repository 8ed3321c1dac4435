#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
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

/// Counts how many threads are inside a proxied call at once.
struct OverlapCounter {
    std::atomic<int> inside{0};
    std::atomic<int> most{0};

    std::string enter() {
        int now = ++inside;
        int seen = most.load();
        while (now > seen && !most.compare_exchange_weak(seen, now)) {
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        return "Open";
    }
    void leave() { --inside; }
};

class KQUThreadSafeBundleProxyTests : public ::testing::Test {
protected:
    kqtest::TemporaryDirectory dir;
    std::string path;

    void SetUp() override {
        dir.writeFile("App.app/Contents/Info.plist",
                      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
                      "<key>CFBundleIdentifier</key><string>com.example.app</string></dict></plist>\n");
        dir.writeFile("App.app/Contents/Resources/en.lproj/Localizable.strings", "\"Open\" = \"Open it\";");
        path = dir / "App.app";
    }
};

TEST_F(KQUThreadSafeBundleProxyTests, EveryCallHoldsTheBundlesMonitor) {
    auto proxy = kq::Bundle::threadSafeBundleWithPath(path);
    ASSERT_TRUE(proxy);
    const kq::Bundle& bundle = *proxy->bundle();

    // The lock lasts for the whole expression, argument evaluation included.
    bool heldDuringCall = false;
    auto probe = [&] {
        heldDuringCall = monitorHeldElsewhere(bundle);
        return std::string("Open");
    };
    EXPECT_EQ(proxy->locked()->localizedString(probe()), "Open it");
    EXPECT_TRUE(heldDuringCall);
    EXPECT_FALSE(monitorHeldElsewhere(bundle));

    EXPECT_EQ((*proxy)->bundleIdentifier(), "com.example.app");
    EXPECT_TRUE(proxy->with([&](const kq::Bundle& b) { return &b == &bundle && monitorHeldElsewhere(b); }));
    EXPECT_FALSE(monitorHeldElsewhere(bundle));
}

TEST_F(KQUThreadSafeBundleProxyTests, TwoWrappersOfOneBundleSerialise) {
    auto first = kq::Bundle::threadSafeBundleWithPath(path);
    auto second = kq::Bundle::threadSafeBundleWithPath(dir / "App.app/");
    ASSERT_TRUE(first && second);
    ASSERT_EQ(first->bundle(), second->bundle());

    OverlapCounter counter;
    auto throughCallable = [&](const KQUThreadSafeBundleProxy& proxy) {
        for (int i = 0; i < 15; ++i) {
            proxy.with([&](const kq::Bundle& b) {
                b.localizedString(counter.enter());
                counter.leave();
            });
        }
    };
    auto throughArrow = [&](const KQUThreadSafeBundleProxy& proxy) {
        // leave() runs before the temporary holding the lock is destroyed.
        for (int i = 0; i < 15; ++i) (void)(proxy->localizedString(counter.enter()), (counter.leave(), 0));
    };
    std::thread a(throughCallable, std::cref(*first));
    std::thread b(throughArrow, std::cref(*second));
    throughCallable(*second);
    a.join();
    b.join();
    EXPECT_EQ(counter.most.load(), 1);
}

TEST_F(KQUThreadSafeBundleProxyTests, ExceptionReleasesTheMonitorAndReachesTheCaller) {
    auto bare = kq::Bundle::threadSafeBundleWithPath(dir.makeDirectory("Bare.bundle"));
    ASSERT_TRUE(bare);
    EXPECT_THROW((*bare)->preferredLocalization(), kq::RangeException);
    EXPECT_FALSE(monitorHeldElsewhere(*bare->bundle()));
    EXPECT_THROW(bare->with([](const kq::Bundle& b) { return b.preferredLocalization(); }), kq::RangeException);
    EXPECT_FALSE(monitorHeldElsewhere(*bare->bundle()));
}

TEST_F(KQUThreadSafeBundleProxyTests, WrappersExistForExistingBundlesOnly) {
    EXPECT_EQ(KQUThreadSafeBundleProxy::proxyWithBundle(nullptr), nullptr);
    EXPECT_EQ(kq::Bundle::threadSafeBundleWithPath(dir / "Missing.app"), nullptr);

    auto main = kq::Bundle::threadSafeMainBundle();
    ASSERT_TRUE(main);
    EXPECT_EQ(main->bundle(), kq::Bundle::mainBundle());

    auto library = kq::Bundle::threadSafeBundleForClass();
    ASSERT_TRUE(library);
    EXPECT_EQ(library->bundle(), kq::Bundle::libraryBundle());
    EXPECT_TRUE((*library)->localizations().size() >= 1);
}

}  // namespace
