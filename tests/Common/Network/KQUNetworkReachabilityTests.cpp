#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <optional>
#include <vector>

#include "KQFoundation/KQUNetworkReachability.h"
#include "KQFoundation/System/NotificationCenter.h"
#include "KQFoundation/System/RunLoop.h"
#include "Support/ConnectionRecorder.h"
#include "Support/LocalHTTPServer.h"
#include "System/RouteReachability.h"

namespace {

using Statuses = std::vector<std::uint64_t>;

// Route flags set by the test, and a change announced when the test says so.
class FakeRoute : public kq::RouteReachability {
public:
    std::optional<std::uint32_t> current = 0;
    Callback callback;
    kq::RunLoop* scheduled = nullptr;

    std::optional<std::uint32_t> flags() override { return current; }
    bool setCallback(Callback c) override {
        callback = std::move(c);
        return true;
    }
    bool scheduleWithRunLoop(kq::RunLoop& loop) override {
        scheduled = &loop;
        return true;
    }
    bool unscheduleFromRunLoop(kq::RunLoop& loop) override {
        if (scheduled != &loop) return false;
        scheduled = nullptr;
        return true;
    }
    void change(std::uint32_t flags) {
        current = flags;
        if (scheduled && callback) callback(flags);
    }
};

// Records every status the handler sees and every notification sent for the object.
struct Watcher {
    Statuses seen;
    int notifications = 0;
    kq::NotificationObserverToken token;
    std::shared_ptr<KQUNetworkReachability> reachability;

    Watcher(const std::string& url, double timeout, std::shared_ptr<kq::RouteReachability> route = nullptr) {
        auto handler = [this](KQUNetworkReachability& r) { seen.push_back(r.networkStatus()); };
        const auto parsed = *kq::URL::URLWithString(url);
        reachability = route ? KQUNetworkReachability::create(parsed, timeout, handler, std::move(route))
                             : KQUNetworkReachability::create(parsed, timeout, handler);
        token = kq::NotificationCenter::defaultCenter().addObserver(
            kKQUNetworkReachabilityDidChangeNotification, reachability.get(),
            [this](const kq::Notification&) { ++notifications; });
    }
    ~Watcher() { kq::NotificationCenter::defaultCenter().removeObserver(token); }

    void runUntilSeen(std::size_t count) {
        kqtest::runLoopUntil([&] { return seen.size() >= count; });
    }
};

TEST(KQUNetworkReachability, StatusFromRouteFlags) {
    const struct {
        std::uint32_t flags;
        std::uint64_t status;
    } cases[] = {
        {0, 0},
        {0x2, 3},
        {0x2 | 0x10, 3},               // intervention only matters when a connection is required
        {0x4 | 0x8, 0},                // nothing without the reachable bit
        {0x2 | 0x4, 0},                // required, and not made automatically
        {0x2 | 0x4 | 0x8, 3},          // on traffic
        {0x2 | 0x4 | 0x20, 3},         // on demand
        {0x2 | 0x4 | 0x20 | 0x10, 0},  // on demand, but only with the user's help
        {0x2 | 0x4 | 0x8 | 0x10, 0},
    };
    for (const auto& c : cases)
        EXPECT_EQ(KQUNetworkReachability::reachabilityNetworkStatusForFlags(c.flags), c.status) << std::hex << c.flags;
}

TEST(KQUNetworkReachability, FirstRouteReadingIsTheStartingStatusWithoutNotice) {
    auto routed = std::make_shared<FakeRoute>(), unreadable = std::make_shared<FakeRoute>();
    routed->current = 0x2;
    unreadable->current = std::nullopt;
    Watcher a("http://example.invalid/", 1, routed), b("http://example.invalid/", 1, unreadable);
    EXPECT_EQ(a.reachability->networkStatus(), 3u);
    EXPECT_EQ(a.reachability->callbackNetworkStatus(), 3u);
    EXPECT_TRUE(a.reachability->isReachable());
    EXPECT_EQ(b.reachability->networkStatus(), 0u);
    EXPECT_FALSE(b.reachability->isReachable());
    EXPECT_EQ(a.seen.size() + b.seen.size() + a.notifications + b.notifications, 0u);
    EXPECT_EQ(KQUNetworkReachability::create(*kq::URL::URLWithString("file:///tmp/x"), nullptr), nullptr);
}

TEST(KQUNetworkReachability, ProbeOutcomeCombinesWithRouteStatus) {
    Watcher w("http://example.invalid/", 1, std::make_shared<FakeRoute>());
    auto& r = *w.reachability;
    const struct {
        std::uint64_t callbackStatus;
        bool answered;
        std::uint64_t status;
    } cases[] = {{0, true, 2}, {3, true, 3}, {3, false, 0}, {0, false, 0}};
    for (const auto& c : cases) {
        r.setCallbackNetworkStatus(c.callbackStatus);
        r.setReachable(c.answered);
        r.updateNetworkStatus();
        EXPECT_EQ(r.networkStatus(), c.status) << c.callbackStatus << " " << c.answered;
    }
    // Only changes are announced, once each, to observers and handler alike.
    EXPECT_EQ(w.seen, (Statuses{2, 3, 0}));
    EXPECT_EQ(w.notifications, 3);
    r.setNetworkStatus(1);
    r.setNetworkStatus(1);
    EXPECT_EQ(w.seen, (Statuses{2, 3, 0, 1}));
    EXPECT_EQ(w.notifications, 4);
}

TEST(KQUNetworkReachability, HandlerMayReleaseTheLastReference) {
    kqtest::LocalHTTPServer server;
    std::shared_ptr<KQUNetworkReachability> r;
    std::uint64_t last = 99;
    r = KQUNetworkReachability::create(*kq::URL::URLWithString(server.url()), 5, [&](KQUNetworkReachability& self) {
        last = self.networkStatus();
        if (last != KQUNetworkStatusChecking) r.reset();
    });
    ASSERT_TRUE(r->startNotifier());
    kqtest::runLoopUntil([&] { return !r; });
    EXPECT_EQ(r, nullptr);
    EXPECT_EQ(last, 3u);
}

TEST(KQUNetworkReachability, FailedProbesRetryUntilStopped) {
    Watcher w(kqtest::refusedLocalURL(), 5);
    w.reachability->setRetryInterval(0.05);
    ASSERT_TRUE(w.reachability->startNotifier());
    w.runUntilSeen(4);
    EXPECT_EQ(w.seen, (Statuses{1, 0, 1, 0}));

    // A retry is pending now; stopping cancels it.
    ASSERT_TRUE(w.reachability->stopNotifier());
    kq::RunLoop::currentRunLoop()->runUntilDate(std::chrono::system_clock::now() + std::chrono::milliseconds(300));
    EXPECT_EQ(w.seen.size(), 4u);
    EXPECT_EQ(w.reachability->connection(), nullptr);
}

TEST(KQUNetworkReachability, RouteChangesRestartTheProbe) {
    kqtest::LocalHTTPServer server;
    auto route = std::make_shared<FakeRoute>();
    route->current = 0x2;
    Watcher w(server.url("/ping"), 5, route);
    ASSERT_TRUE(w.reachability->startNotifier());
    EXPECT_EQ(w.reachability->callbackRunLoop(), kq::RunLoop::currentRunLoop());
    EXPECT_EQ(w.reachability->connection()->originalRequest().cachePolicy(),
              kq::URLRequest::ReloadIgnoringLocalCacheData);
    std::weak_ptr<kq::URLConnection> first = w.reachability->connection();
    route->change(0x2);
    std::weak_ptr<kq::URLConnection> second = w.reachability->connection();
    route->change(0x2);
    // Each change replaced (and cancelled) the probe before it.
    EXPECT_TRUE(first.expired());
    EXPECT_TRUE(second.expired());
    w.runUntilSeen(2);
    EXPECT_EQ(w.seen, (Statuses{1, 3}));
    EXPECT_EQ(w.reachability->connection(), nullptr);  // the probe ends at the response

    // Routes gone but the server answers all the same: reachable by request.
    route->change(0);
    EXPECT_EQ(w.reachability->callbackNetworkStatus(), 0u);
    w.runUntilSeen(4);
    EXPECT_EQ(w.seen, (Statuses{1, 3, 1, 2}));
    EXPECT_TRUE(w.reachability->stopNotifier());
    EXPECT_EQ(route->scheduled, nullptr);
}

}  // namespace
