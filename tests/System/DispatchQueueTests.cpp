#include "KQFoundation/System/DispatchQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "KQFoundation/Foundation/Log.h"

namespace {

using namespace std::chrono_literals;
using kq::DispatchQueue;

TEST(DispatchQueue, SerialQueueRunsBlocksInOrderOneAtATimeAndTheGlobalOneSideBySide) {
    auto queue = DispatchQueue::createSerialQueue("test.serial");
    std::vector<int> order;
    std::atomic<int> running{0};
    std::atomic<bool> overlapped{false};
    auto enter = [&] {
        if (++running > 1) overlapped = true;
        std::this_thread::yield();
        --running;
    };
    std::vector<std::thread> syncers;
    for (int t = 0; t < 4; ++t)
        syncers.emplace_back([&] {
            for (int i = 0; i < 50; ++i) queue->sync(enter);
        });
    for (int i = 0; i < 500; ++i)
        queue->async([&, i] {
            enter();
            order.push_back(i);
        });
    for (auto& t : syncers) t.join();
    queue->sync([] {});
    ASSERT_EQ(order.size(), 500u);
    for (int i = 0; i < 500; ++i) ASSERT_EQ(order[static_cast<std::size_t>(i)], i);
    EXPECT_FALSE(overlapped);

    auto global = DispatchQueue::globalQueue();
    EXPECT_EQ(global, DispatchQueue::globalQueue());
    std::mutex mutex;
    std::condition_variable changed;
    int arrived = 0;
    std::promise<bool> first, second;
    auto meet = [&](std::promise<bool>& result) {
        std::unique_lock lock(mutex);
        ++arrived;
        changed.notify_all();
        result.set_value(changed.wait_for(lock, 10s, [&] { return arrived == 2; }));
    };
    global->async([&] { meet(first); });
    global->async([&] { meet(second); });
    EXPECT_TRUE(first.get_future().get() && second.get_future().get());
}

TEST(DispatchQueue, ThrowingBlocksAreLoggedAndTheQueueGoesOn) {
    kq::LogCapture capture;
    auto queue = DispatchQueue::createSerialQueue("test.throwing");
    bool later = false;
    queue->async([] { throw std::runtime_error("boom"); });
    queue->async([] { throw 42; });
    queue->async([&] { later = true; });
    queue->sync([] {});
    EXPECT_TRUE(later);
    ASSERT_EQ(capture.lines().size(), 2u);
    EXPECT_EQ(capture.lines()[0], "DispatchQueue test.throwing: a block threw an exception: boom");

    EXPECT_THROW(queue->sync([] { throw std::logic_error("sync"); }), std::logic_error);
    EXPECT_THROW(DispatchQueue::globalQueue()->sync([] { throw std::logic_error("sync"); }), std::logic_error);
    queue->sync([&] { later = false; });
    EXPECT_FALSE(later);
}

TEST(DispatchQueue, QueueLivesWhileBlocksWaitAndSyncFromItsOwnBlockDoesNotHang) {
    kq::LogCapture capture;
    std::promise<void> release;
    std::promise<int> result;
    {
        auto queue = DispatchQueue::createSerialQueue("test.dropped");
        auto gate = release.get_future().share();
        queue->async([gate] { gate.wait(); });
        queue->async([&result, q = std::weak_ptr<DispatchQueue>(queue)] {
            int inner = 0;
            if (auto self = q.lock()) self->sync([&] { inner = 7; });
            result.set_value(inner);
        });
    }
    release.set_value();
    auto future = result.get_future();
    ASSERT_EQ(future.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(future.get(), 7);
    EXPECT_EQ(capture.lines(),
              std::vector<std::string>{"DispatchQueue test.dropped: sync called from the queue's own block; running it in place"});
}

TEST(DispatchQueueDeathTest, ProcessExitsWithWorkStillQueued) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            auto queue = DispatchQueue::createSerialQueue("test.exit");
            for (int i = 0; i < 100; ++i) {
                DispatchQueue::globalQueue()->async([] { std::this_thread::sleep_for(50ms); });
                queue->async([] { std::this_thread::sleep_for(50ms); });
            }
            std::this_thread::sleep_for(10ms);
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

}  // namespace
