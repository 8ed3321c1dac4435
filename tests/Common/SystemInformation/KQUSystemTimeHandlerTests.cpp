#include "KQFoundation/KQUSystemTimeHandler.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "KQFoundation/System/RunLoop.h"
#include "KQFoundation/System/Workspace.h"
#include "Support/RunLoopTesting.h"

namespace {

using kq::RunLoop;
using kqtest::in;

// Each test owns the loop of a thread of its own; the system's notifications
// go to the main loop, settled on the test runner's thread.
template <class F>
void onFreshThread(F body) {
    RunLoop::mainRunLoop();
    kqtest::onFreshThread(body);
}

void postClockChange() { kq::NotificationCenter::defaultCenter().postNotification(kq::NSSystemClockDidChangeNotification); }
void postWake() {
    kq::Workspace::sharedWorkspace().notificationCenter().postNotification(kq::NSWorkspaceDidWakeNotification);
}

TEST(SystemTimeHandler, PastDateFiresOnceOnTheNextTurnAndNeverAgain) {
    EXPECT_EQ(KQUSystemTimeHandler::create(), nullptr);  // no date, no handler
    EXPECT_EQ(KQUSystemTimeHandler::systemTimeHandlerWithFireDate(std::nullopt, [] {}), nullptr);
    onFreshThread([] {
        auto loop = RunLoop::currentRunLoop();
        int calls = 0;
        auto handler = KQUSystemTimeHandler::systemTimeHandlerWithFireDate(in(-3600), [&] { ++calls; });
        ASSERT_NE(handler, nullptr);
        ASSERT_NE(handler->timer(), nullptr);
        EXPECT_TRUE(loop->runOnce(in(5)));
        EXPECT_EQ(calls, 1);
        EXPECT_EQ(handler->timer(), nullptr);
        EXPECT_FALSE(handler->completion());
        // Firing stopped the observers: a later clock change or wake-up arms nothing.
        postClockChange();
        postWake();
        EXPECT_EQ(handler->timer(), nullptr);
        loop->runUntilDate(in(0.05));
        EXPECT_EQ(calls, 1);
    });
}

TEST(SystemTimeHandler, ClockChangeAndWakeReplaceTheTimerForTheSameDate) {
    for (auto post : {postClockChange, postWake}) {
        onFreshThread([post] {
            auto loop = RunLoop::currentRunLoop();
            int calls = 0;
            auto handler = KQUSystemTimeHandler::create(in(60), [&] { ++calls; });
            auto first = handler->timer();
            post();
            auto second = handler->timer();
            ASSERT_NE(second, nullptr);
            EXPECT_NE(second, first);
            EXPECT_FALSE(first->isValid());
            EXPECT_EQ(second->fireDate(), handler->fireDate());
            handler->setTimer(second);  // the same timer is kept, not invalidated
            EXPECT_TRUE(second->isValid());

            // The clock moves past the fire date: the old timer still waits for
            // its own date, the one the reset makes fires at once.
            handler->setFireDate(in(-1));
            loop->runUntilDate(in(0.05));
            EXPECT_EQ(calls, 0);
            post();
            EXPECT_TRUE(loop->runOnce(in(30)));
            EXPECT_EQ(calls, 1);
            EXPECT_FALSE(second->isValid());
        });
    }
}

TEST(SystemTimeHandler, LivesUntilItFiresAndSurvivesItsBlockDroppingIt) {
    onFreshThread([] {
        auto loop = RunLoop::currentRunLoop();
        int calls = 0;
        std::weak_ptr<KQUSystemTimeHandler> weak = KQUSystemTimeHandler::create(in(0.02), [&] { ++calls; });
        EXPECT_FALSE(weak.expired());
        loop->runUntilDate(in(30));
        EXPECT_EQ(calls, 1);
        EXPECT_TRUE(weak.expired());

        std::shared_ptr<KQUSystemTimeHandler> holder;
        std::string seen;
        holder = KQUSystemTimeHandler::create(in(-1), [&, text = std::string(64, 'x')] {
            holder.reset();
            seen = text;  // the block's own captures outlive the handler's last reference
            ++calls;
        });
        weak = holder;
        loop->runUntilDate(in(30));
        EXPECT_EQ(calls, 2);
        EXPECT_EQ(seen, std::string(64, 'x'));
        EXPECT_TRUE(weak.expired());
    });
}

TEST(SystemTimeHandler, InvalidateStopsItForGood) {
    onFreshThread([] {
        auto loop = RunLoop::currentRunLoop();
        int calls = 0;
        std::weak_ptr<KQUSystemTimeHandler> weak;
        {
            auto handler = KQUSystemTimeHandler::create(in(-1), [&] { ++calls; });
            weak = handler;
            auto timer = handler->timer();
            handler->invalidate();
            EXPECT_FALSE(timer->isValid());
            EXPECT_EQ(handler->timer(), nullptr);
            // Neither a notification nor a delivery already under way re-arms it.
            postClockChange();
            handler->resetTimer({});
            EXPECT_EQ(handler->timer(), nullptr);
        }
        loop->runUntilDate(in(0.05));
        EXPECT_EQ(calls, 0);
        EXPECT_TRUE(weak.expired());
    });
}

}  // namespace
