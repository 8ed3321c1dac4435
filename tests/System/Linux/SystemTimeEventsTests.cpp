#include "System/SystemTimeEvents.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <thread>

#include "KQFoundation/System/NotificationCenter.h"
#include "KQFoundation/System/RunLoop.h"

namespace {

using kq::RunLoop;

TEST(SuspendDetector, OnlyGrowthOfBootTimeOverMonotonicTimeIsASleep) {
    struct Reading {
        double boot, monotonic;
        bool slept;
    };
    // Readings are a few seconds apart, as the watcher takes them.
    const Reading readings[] = {
        {100, 40, false},     // the first reading sets the baseline only
        {103, 43, false},     // both clocks advance together
        {106.4, 46, false},   // a little skew between the two reads
        {200, 49, true},      // 91 s asleep
        {203, 52, false},     // the new difference is the baseline
        {205.9, 54, false},   // 0.9 s: below the threshold
        {1000, 57, true},     // a long sleep
        {1000, 57, false},    // no time passed
    };
    kq::detail::SuspendDetector detector;
    for (const auto& r : readings)
        EXPECT_EQ(detector.machineSleptSince(r.boot, r.monotonic), r.slept) << r.boot << " " << r.monotonic;
}

// The real clock watcher: setting the clock (to its own time) must come back
// as a notification on the main run loop.
TEST(SystemTimeEvents, SettingTheClockPostsOnTheMainRunLoop) {
    auto previous = RunLoop::mainRunLoop();
    auto loop = RunLoop::currentRunLoop();
    RunLoop::setMainRunLoop(loop);
    kq::detail::startSystemTimeEventSources();

    int posted = 0;
    std::thread::id postedOn;
    auto& centre = kq::NotificationCenter::defaultCenter();
    auto token = centre.addObserver(kq::NSSystemClockDidChangeNotification, nullptr, [&](const kq::Notification&) {
        ++posted;
        postedOn = std::this_thread::get_id();
        loop->stop();
    });
    // Something to wait for while the notification is on its way.
    auto keepAlive = kq::Timer::scheduledTimer(30, false, [](kq::Timer&) {});

    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const int result = clock_settime(CLOCK_REALTIME, &now);
    const int error = errno;
    if (result == 0) loop->runUntilDate(kq::Date(std::chrono::system_clock::now()) + std::chrono::seconds(10));
    keepAlive->invalidate();
    centre.removeObserver(token);
    RunLoop::setMainRunLoop(previous);

    if (result != 0 && error == EPERM) GTEST_SKIP() << "setting the clock is not permitted here";
    ASSERT_EQ(result, 0) << std::strerror(error);
    EXPECT_GE(posted, 1);
    EXPECT_EQ(postedOn, std::this_thread::get_id());
}

}  // namespace
