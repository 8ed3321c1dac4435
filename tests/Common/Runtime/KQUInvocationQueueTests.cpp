#include "KQFoundation/KQUInvocationQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "KQFoundation/System/RunLoop.h"

namespace {

using namespace std::chrono_literals;
constexpr auto kBound = 20s;

class Target : public kq::Object {
public:
    Target() {
        registerSelector("ping:", [this](const kq::ObjectArguments& arguments) {
            ++pings;
            if (arguments[0].has_value()) lastArgument = std::any_cast<std::string>(arguments[0]);
        });
        registerSelector("pong:", [this] { ++pongs; });
        registerSelector("hold:", [this] { opened.wait_for(kBound); });
    }
    std::atomic<int> pings{0}, pongs{0};
    std::string lastArgument;
    std::promise<void> gate;
    std::shared_future<void> opened = gate.get_future().share();
};

// A serial queue held up by a first send until the gate opens, so that the
// sends scheduled after it are still pending.
struct HeldQueue {
    std::shared_ptr<kq::OperationQueue> operationQueue = std::make_shared<kq::OperationQueue>();
    KQUInvocationQueue queue{operationQueue};
    Target holder;
    HeldQueue() {
        operationQueue->setMaxConcurrentOperationCount(1);
        queue.scheduleInvocationWithTarget(&holder, "hold:");
    }
    void release() {
        holder.gate.set_value();
        EXPECT_TRUE(operationQueue->waitUntilAllOperationsAreFinished(kBound));
    }
};

TEST(KQUInvocationQueue, CancelsAllSendsOfATargetOrOnlyThoseOfOneSelector) {
    struct Case {
        std::optional<std::string_view> selector;
        int pings, pongs, otherPings;
    };
    for (const Case& c : {Case{std::nullopt, 0, 0, 1}, Case{"ping:", 0, 1, 1}, Case{"pong:", 2, 0, 1},
                          Case{"ping", 2, 1, 1}}) {
        SCOPED_TRACE(std::string(c.selector.value_or("(none)")));
        HeldQueue held;
        Target target, other;
        held.queue.scheduleInvocationWithTarget(&target, "ping:", std::string("a"));
        held.queue.scheduleInvocationWithTarget(&target, "pong:");
        held.queue.scheduleInvocationWithTarget(&other, "ping:");
        held.queue.scheduleInvocationWithTarget(&target, "ping:", std::string("b"));
        EXPECT_EQ(held.queue.operations().size(), 5u);
        held.queue.cancelInvocationsWithTarget(&target, c.selector);
        held.release();
        EXPECT_EQ(target.pings, c.pings);
        EXPECT_EQ(target.pongs, c.pongs);
        EXPECT_EQ(other.pings, c.otherPings);
        if (c.pings == 2) {
            EXPECT_EQ(target.lastArgument, "b");
        }
        EXPECT_TRUE(held.queue.operations().empty()) << "cancelled sends must leave the list too";
    }
}

TEST(KQUInvocationQueue, TargetsThatCannotReceiveAreNotScheduled) {
    HeldQueue held;
    Target target;
    held.queue.scheduleInvocationWithTarget(&target, "unknown:");
    held.queue.scheduleInvocationWithTarget(&target, "ping");  // no colon: another selector
    held.queue.scheduleInvocationWithTarget(nullptr, "ping:");
    EXPECT_EQ(held.queue.operations().size(), 1u);
    EXPECT_EQ(held.operationQueue->operationCount(), 1u);
    held.release();
    EXPECT_TRUE(held.queue.operations().empty());
}

TEST(KQUInvocationQueue, SchedulingAndCancellingFromManyThreads) {
    auto operationQueue = std::make_shared<kq::OperationQueue>();
    KQUInvocationQueue queue(operationQueue);
    constexpr int kThreads = 4, kSends = 200;
    Target targets[kThreads];
    std::atomic<bool> scheduling{true};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kSends; ++i) queue.scheduleInvocationWithTarget(&targets[t], "ping:");
        });
    }
    std::thread canceller([&] {
        while (scheduling) queue.cancelInvocationsWithTarget(&targets[0]);
    });
    for (auto& thread : threads) thread.join();
    scheduling = false;
    canceller.join();
    ASSERT_TRUE(operationQueue->waitUntilAllOperationsAreFinished(kBound));
    EXPECT_TRUE(queue.operations().empty());
    EXPECT_LE(targets[0].pings, kSends);
    for (int t = 1; t < kThreads; ++t) EXPECT_EQ(targets[t].pings, kSends);
}

TEST(KQUInvocationQueue, MainInstanceSendsWhenTheMainLoopTurns) {
    auto loop = kq::RunLoop::mainRunLoop();
    if (!loop->isCurrent()) kq::RunLoop::setMainRunLoop(loop = kq::RunLoop::currentRunLoop());
    auto queue = KQUInvocationQueue::mainInvocationQueue();
    ASSERT_EQ(queue, KQUInvocationQueue::mainInvocationQueue());
    EXPECT_EQ(queue->operationQueue(), kq::OperationQueue::mainQueue());
    Target target;
    std::thread([&] { queue->scheduleInvocationWithTarget(&target, "ping:", std::string("main")); }).join();
    EXPECT_EQ(queue->operations().size(), 1u);
    const auto deadline = std::chrono::system_clock::now() + kBound;
    while (!queue->operations().empty() && std::chrono::system_clock::now() < deadline) loop->runOnce(deadline);
    EXPECT_EQ(target.pings, 1);
    EXPECT_EQ(target.lastArgument, "main");
}

}  // namespace
