#include "KQFoundation/System/RunLoop.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "KQFoundation/Foundation/Log.h"
#include "Support/RunLoopTesting.h"

namespace {

using kq::RunLoop;
using kq::Timer;
using kqtest::in;

KQ_LOOP_TEST(RunLoop, TimersFireInDateOrderAndRepeat) {
    auto loop = RunLoop::currentRunLoop();
    std::vector<std::string> fired;
    auto record = [&](std::string name) { return [&fired, name](Timer&) { fired.push_back(name); }; };
    loop->addTimer(Timer::create(in(0.04), 0, false, record("late")));
    loop->addTimer(Timer::create(in(0.02), 0, false, record("early")));
    // Due in the same turn: the earlier one's block invalidates the later one.
    auto victim = Timer::create(in(-1800), 0, false, record("victim"));
    auto past = Timer::create(in(-3600), 0, false, [&](Timer&) {
        fired.push_back("past");
        victim->invalidate();
    });
    loop->addTimer(victim);
    loop->addTimer(past);
    std::vector<kq::Date> tickDates;
    auto repeating = Timer::scheduledTimer(0.01, true, [&](Timer& t) {
        tickDates.push_back(t.fireDate());
        if (tickDates.size() == 3) t.invalidate();
    });
    EXPECT_TRUE(loop->runUntilDate(in(5)));
    EXPECT_FALSE(past->isValid());
    EXPECT_FALSE(repeating->isValid());
    EXPECT_EQ(fired, (std::vector<std::string>{"past", "early", "late"}));
    ASSERT_EQ(tickDates.size(), 3u);
    EXPECT_LT(tickDates[0], tickDates[1]);
    EXPECT_LT(tickDates[1], tickDates[2]);
}

KQ_LOOP_TEST(RunLoop, RepeatingTimerSkipsMissedFirings) {
    auto loop = RunLoop::currentRunLoop();
    int ticks = 0;
    auto timer = Timer::create(in(-10.05), 1, true, [&](Timer&) { ++ticks; });
    loop->addTimer(timer);
    EXPECT_TRUE(loop->runOnce(in(0.5)));
    EXPECT_EQ(ticks, 1);
    EXPECT_TRUE(timer->isValid());
    EXPECT_GT(timer->fireDate(), in(0));
    EXPECT_LT(timer->fireDate(), in(1));
    timer->invalidate();
    EXPECT_FALSE(loop->runOnce(in(0.5)));
}

KQ_LOOP_TEST(RunLoop, NotANumberNeitherHangsNorSpins) {
    auto loop = RunLoop::currentRunLoop();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const kq::Date nanDate{std::chrono::duration<double>(nan)};
    int once = 0, repeated = 0, delayed = 0;
    loop->addTimer(Timer::create(nanDate, 0, false, [&](Timer&) { ++once; }));
    Timer::scheduledTimer(nan, true, [&](Timer& t) {
        if (++repeated == 3) t.invalidate();
    });
    loop->performAfterDelay(nullptr, [&] { ++delayed; }, nan);
    EXPECT_TRUE(loop->runUntilDate(in(5)));
    EXPECT_EQ(std::vector<int>({once, repeated, delayed}), std::vector<int>({1, 3, 1}));

    auto pending = Timer::scheduledTimer(60, false, [](Timer&) {});
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(loop->runOnce(nanDate));
    EXPECT_TRUE(loop->runUntilDate(nanDate));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    pending->invalidate();
}

KQ_LOOP_TEST(RunLoop, PerformsFromManyThreadsRunInOrderPerSender) {
    auto loop = RunLoop::currentRunLoop();
    constexpr int kSenders = 4, kEach = 300;
    std::vector<std::vector<int>> received(kSenders);
    int total = 0;
    bool wrongThread = false;
    const auto owner = std::this_thread::get_id();
    auto keepAlive = Timer::scheduledTimer(60, false, [](Timer&) {});
    std::vector<std::thread> senders;
    for (int s = 0; s < kSenders; ++s)
        senders.emplace_back([&, s] {
            for (int i = 0; i < kEach; ++i)
                loop->perform([&, s, i] {
                    wrongThread = wrongThread || std::this_thread::get_id() != owner;
                    received[s].push_back(i);
                    if (++total == kSenders * kEach) loop->stop();
                });
        });
    loop->runUntilDate(in(10));
    for (auto& t : senders) t.join();
    keepAlive->invalidate();
    EXPECT_FALSE(wrongThread);
    for (auto& list : received) {
        ASSERT_EQ(list.size(), size_t(kEach));
        for (int i = 0; i < kEach; ++i) EXPECT_EQ(list[i], i);
    }
}

KQ_LOOP_TEST(RunLoop, PerformWakesAWaitingLoopWhichRecomputesItsWait) {
    auto loop = RunLoop::currentRunLoop();
    bool fired = false;
    auto timer = Timer::scheduledTimer(60, false, [&](Timer&) { fired = true; });
    std::thread sender([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        timer->setFireDate(in(-1));
        loop->perform([] {});
    });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(loop->runUntilDate(in(5)));
    sender.join();
    EXPECT_TRUE(fired);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

KQ_LOOP_TEST(RunLoop, SourcesSeeDataEndOfFileAndWritability) {
    auto loop = RunLoop::currentRunLoop();
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    std::string got;
    ASSERT_TRUE(loop->addReadSource(fds[0], [&](int fd) {
        char buffer[4];
        const ssize_t n = read(fd, buffer, sizeof buffer);
        if (n > 0) got.append(buffer, size_t(n));
        else loop->removeReadSource(fd);
    }));
    std::thread writer([&] {
        for (const char* chunk : {"hello ", "pipe ", "world"}) {
            EXPECT_GT(write(fds[1], chunk, std::char_traits<char>::length(chunk)), 0);
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        close(fds[1]);
    });
    EXPECT_TRUE(loop->runUntilDate(in(5)));  // ends when the source removes itself
    writer.join();
    close(fds[0]);
    EXPECT_EQ(got, "hello pipe world");

    ASSERT_EQ(pipe(fds), 0);
    std::vector<std::string> seen;
    // An empty pipe is writable at once; after one write the source asks
    // for readability only, on the same descriptor pair.
    ASSERT_TRUE(loop->addSource(fds[1], false, true, [&](int fd, bool readable, bool writable) {
        seen.push_back(std::string("w:") + (readable ? "r" : "") + (writable ? "w" : ""));
        EXPECT_EQ(write(fd, "x", 1), 1);
        loop->addSource(fd, false, false, [](int, bool, bool) {});  // paused
    }));
    ASSERT_TRUE(loop->addSource(fds[0], true, true, [&](int fd, bool readable, bool) {
        char byte;
        if (readable && read(fd, &byte, 1) == 1) seen.push_back("r:" + std::string(1, byte));
        loop->removeSource(fd);
    }));
    EXPECT_TRUE(loop->runUntilDate(in(0.2)));
    EXPECT_EQ(seen, (std::vector<std::string>{"w:w", "r:x"}));
    loop->removeSource(fds[1]);
    close(fds[0]);
    close(fds[1]);

    // Closed before its source was removed: dropped, not fatal.
    ASSERT_EQ(pipe(fds), 0);
    ASSERT_TRUE(loop->addReadSource(fds[0], [](int) { ADD_FAILURE() << "a closed descriptor fired"; }));
    close(fds[0]);
    close(fds[1]);
    {
        kq::LogCapture log;
        loop->runUntilDate(in(0.05));
        EXPECT_EQ(log.lines(), std::vector<std::string>{"RunLoop: descriptor " + std::to_string(fds[0]) +
                                                        " was closed while it was watched"});
    }

    FILE* file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    EXPECT_FALSE(loop->addReadSource(fileno(file), [](int) {}));
    EXPECT_FALSE(loop->addReadSource(-1, [](int) {}));
    std::fclose(file);
    EXPECT_FALSE(loop->runOnce(in(1)));  // nothing left to wait for
}

KQ_LOOP_TEST(RunLoop, DelayedPerformsCancelledByTarget) {
    auto loop = RunLoop::currentRunLoop();
    int a = 0, b = 0;
    std::vector<std::string> ran;
    loop->performAfterDelay(&a, [&] { ran.push_back("a1"); }, 0.02);
    loop->performAfterDelay(&b, [&] { ran.push_back("b"); }, 0.01);
    loop->performAfterDelay(&a, [&] { ran.push_back("a2"); }, 0);
    loop->performAfterDelay(&b, [&] { loop->cancelPerformRequests(&a); }, 0.015);
    EXPECT_TRUE(loop->runUntilDate(in(5)));
    EXPECT_EQ(ran, (std::vector<std::string>{"a2", "b"}));
}

TEST(RunLoop, LoopsOfTwoThreadsAreIndependent) {
    std::shared_ptr<RunLoop> busy;
    std::atomic<bool> ready{false};
    std::thread busyThread([&] {
        busy = RunLoop::currentRunLoop();
        auto keepAlive = Timer::scheduledTimer(60, false, [](Timer&) {});
        ready = true;
        busy->runUntilDate(in(5));
        keepAlive->invalidate();
    });
    while (!ready) std::this_thread::yield();
    kqtest::onFreshThread([&] {
        auto idle = RunLoop::currentRunLoop();
        EXPECT_NE(idle, busy);
        EXPECT_TRUE(idle->isCurrent());
        EXPECT_FALSE(busy->isCurrent());
        EXPECT_EQ(idle, RunLoop::currentRunLoop());
        const auto start = std::chrono::steady_clock::now();
        EXPECT_FALSE(idle->runUntilDate(in(5)));
        EXPECT_FALSE(idle->runOnce(in(5)));  // the other loop's timer is not ours
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
        EXPECT_FALSE(busy->runOnce(in(5)));  // nor may we run the other loop
        busy->perform([&] { busy->stop(); });
    });
    busyThread.join();
}

TEST(RunLoop, ThreadExitTearsDownTheLoopAndReleasesBlocks) {
    auto held = std::make_shared<int>(0);
    std::shared_ptr<RunLoop> loop;
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    kqtest::onFreshThread([&] {
        loop = RunLoop::currentRunLoop();
        Timer::scheduledTimer(60, true, [held](Timer&) {});
        loop->performAfterDelay(nullptr, [held] {}, 60);
        loop->perform([held] {});
        EXPECT_TRUE(loop->addReadSource(fds[0], [held](int) {}));
    });
    EXPECT_EQ(held.use_count(), 1);
    EXPECT_FALSE(loop->perform([] {}));
    close(fds[0]);
    close(fds[1]);
}

KQ_LOOP_TEST(RunLoop, ThrowingHandlerIsLoggedAndTheLoopGoesOn) {
    kq::LogCapture capture;
    auto loop = RunLoop::currentRunLoop();
    bool after = false;
    loop->perform([] { throw std::runtime_error("boom"); });
    loop->perform([&] { after = true; });
    EXPECT_TRUE(loop->runOnce(in(1)));
    EXPECT_TRUE(after);
    ASSERT_EQ(capture.lines().size(), 1u);
    EXPECT_NE(capture.lines()[0].find("boom"), std::string::npos);
}

}  // namespace
