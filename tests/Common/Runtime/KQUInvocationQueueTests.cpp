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

TEST(KQUInvocationQueue, CancelsAllPendingSendsOfATargetOrOnlyThoseOfOneSelector) {
    struct Case {
        std::optional<std::string_view> selector;
        int pings, pongs;
    };
    for (const Case& c : {Case{std::nullopt, 0, 0}, Case{"ping:", 0, 1}, Case{"pong:", 2, 0}, Case{"ping", 2, 1}}) {
        SCOPED_TRACE(std::string(c.selector.value_or("(none)")));
        auto operationQueue = std::make_shared<kq::OperationQueue>();
        operationQueue->setMaxConcurrentOperationCount(1);
        KQUInvocationQueue queue(operationQueue);
        Target holder, target, other;
        queue.scheduleInvocationWithTarget(&holder, "hold:");  // keeps the rest pending
        queue.scheduleInvocationWithTarget(&target, "ping:", std::string("a"));
        queue.scheduleInvocationWithTarget(&target, "pong:");
        queue.scheduleInvocationWithTarget(&other, "ping:");
        queue.scheduleInvocationWithTarget(&target, "ping:", std::string("b"));
        queue.scheduleInvocationWithTarget(&target, "ping");  // not a method: nothing queued
        queue.scheduleInvocationWithTarget(nullptr, "ping:");
        EXPECT_EQ(queue.operations().size(), 5u);
        EXPECT_EQ(operationQueue->operationCount(), 5u);

        queue.cancelInvocationsWithTarget(&target, c.selector);
        holder.gate.set_value();
        ASSERT_TRUE(operationQueue->waitUntilAllOperationsAreFinished(kBound));
        EXPECT_EQ(target.pings, c.pings);
        EXPECT_EQ(target.pongs, c.pongs);
        EXPECT_EQ(other.pings, 1);
        EXPECT_EQ(target.lastArgument, c.pings ? "b" : "");
        EXPECT_TRUE(queue.operations().empty()) << "cancelled sends leave the list too";
    }
}

TEST(KQUInvocationQueue, SchedulingAndCancellingFromManyThreads) {
    auto operationQueue = std::make_shared<kq::OperationQueue>();
    KQUInvocationQueue queue(operationQueue);
    constexpr int kThreads = 4, kSends = 200;
    Target targets[kThreads];
    std::atomic<bool> scheduling{true};
    std::thread canceller([&] {
        while (scheduling) queue.cancelInvocationsWithTarget(&targets[0]);
    });
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kSends; ++i) queue.scheduleInvocationWithTarget(&targets[t], "ping:");
        });
    }
    for (auto& thread : threads) thread.join();
    scheduling = false;
    canceller.join();
    ASSERT_TRUE(operationQueue->waitUntilAllOperationsAreFinished(kBound));
    EXPECT_TRUE(queue.operations().empty());
    for (int t = 1; t < kThreads; ++t) EXPECT_EQ(targets[t].pings, kSends);
}

TEST(KQUInvocationQueue, MainInstanceSendsWhenTheMainLoopTurns) {
    auto loop = kq::RunLoop::mainRunLoop();
    if (!loop->isCurrent()) kq::RunLoop::setMainRunLoop(loop = kq::RunLoop::currentRunLoop());
    auto queue = KQUInvocationQueue::mainInvocationQueue();
    ASSERT_EQ(queue, KQUInvocationQueue::mainInvocationQueue());
    Target target;
    std::thread([&] { queue->scheduleInvocationWithTarget(&target, "ping:", std::string("main")); }).join();
    const auto deadline = std::chrono::system_clock::now() + kBound;
    while (!queue->operations().empty() && std::chrono::system_clock::now() < deadline) loop->runOnce(deadline);
    EXPECT_EQ(target.lastArgument, "main");
}

}  // namespace
