#include "KQFoundation/System/OperationQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "KQFoundation/Foundation/Exceptions.h"
#include "KQFoundation/Foundation/Log.h"
#include "KQFoundation/System/RunLoop.h"

namespace {

using namespace std::chrono_literals;
using kq::Operation;
using kq::OperationQueue;

constexpr auto kBound = 20s;

class Gate {
public:
    void wait() const { opened_.wait_for(kBound); }
    void open() { promise_.set_value(); }

private:
    std::promise<void> promise_;
    std::shared_future<void> opened_ = promise_.get_future().share();
};

struct Counted {
    std::atomic<int> runs{0}, completions{0};
    std::shared_ptr<Operation> make(std::function<void()> work = {}) {
        auto operation = Operation::create([this, work] {
            if (work) work();
            ++runs;
        });
        operation->setCompletionBlock([this] { ++completions; });
        return operation;
    }
};

TEST(Operation, RunsOnceCancelledBeforeStartOnlyCompletesAndThrowingWorkIsLogged) {
    Counted counted;
    auto operation = counted.make();
    operation->start();
    operation->start();
    operation->cancel();  // too late: stays uncancelled
    EXPECT_TRUE(operation->isFinished() && !operation->isExecuting() && !operation->isCancelled());

    auto cancelled = counted.make();
    cancelled->cancel();
    EXPECT_TRUE(cancelled->isCancelled() && !cancelled->isFinished());
    cancelled->start();
    EXPECT_TRUE(cancelled->isFinished());
    EXPECT_EQ(std::make_pair(counted.runs.load(), counted.completions.load()), std::make_pair(1, 2));

    kq::LogCapture capture;
    OperationQueue queue;
    Counted queued;
    queue.addOperation(queued.make([] { throw std::runtime_error("boom"); }));
    queue.addOperation(queued.make());
    ASSERT_TRUE(queue.waitUntilAllOperationsAreFinished(kBound));
    EXPECT_EQ(std::make_pair(queued.runs.load(), queued.completions.load()), std::make_pair(1, 2));
    ASSERT_EQ(capture.lines().size(), 1u);
    EXPECT_NE(capture.lines()[0].find("boom"), std::string::npos);
}

TEST(OperationQueue, SerialQueueRunsInOrderOneAtATime) {
    OperationQueue queue;
    queue.setMaxConcurrentOperationCount(1);
    std::vector<int> order;
    std::atomic<int> running{0};
    std::atomic<bool> overlapped{false};
    for (int i = 0; i < 300; ++i) {
        queue.addOperationWithBlock([&, i] {
            if (++running > 1) overlapped = true;
            order.push_back(i);
            --running;
        });
    }
    ASSERT_TRUE(queue.waitUntilAllOperationsAreFinished(kBound));
    EXPECT_FALSE(overlapped);
    ASSERT_EQ(order.size(), 300u);
    for (int i = 0; i < 300; ++i) ASSERT_EQ(order[i], i);
}

TEST(OperationQueue, ManyThreadsAddingCompleteEveryOperationExactlyOnce) {
    OperationQueue queue;
    Counted counted;
    std::vector<std::thread> adders;
    for (int t = 0; t < 8; ++t) {
        adders.emplace_back([&] {
            for (int i = 0; i < 250; ++i) {
                auto operation = counted.make();
                if (i % 5 == 0) operation->cancel();
                queue.addOperation(operation);
            }
        });
    }
    for (auto& adder : adders) adder.join();
    ASSERT_TRUE(queue.waitUntilAllOperationsAreFinished(kBound));
    EXPECT_EQ(std::make_pair(counted.runs.load(), counted.completions.load()), std::make_pair(1600, 2000));
    EXPECT_TRUE(queue.operations().empty());
}

TEST(OperationQueue, MainQueueRunsInOrderOnTheMainThreadWhenItsLoopTurns) {
    auto loop = kq::RunLoop::mainRunLoop();
    if (!loop->isCurrent()) kq::RunLoop::setMainRunLoop(loop = kq::RunLoop::currentRunLoop());
    auto queue = OperationQueue::mainQueue();
    ASSERT_EQ(queue, OperationQueue::mainQueue());
    queue->setMaxConcurrentOperationCount(4);
    EXPECT_EQ(queue->maxConcurrentOperationCount(), 1);

    std::vector<int> order;
    auto step = [&](int n) { return [&, n] { order.push_back(loop->isCurrent() ? n : -n); }; };
    queue->addOperationWithBlock(step(1));
    std::thread([&] {
        queue->addOperationWithBlock(step(2));
        auto skipped = Operation::create(step(99));
        skipped->cancel();
        queue->addOperation(skipped);
        queue->addOperationWithBlock(step(3));
    }).join();
    std::this_thread::sleep_for(20ms);
    EXPECT_TRUE(order.empty()) << "ran before the main loop turned";

    const auto deadline = std::chrono::system_clock::now() + kBound;
    while (queue->operationCount() > 0 && std::chrono::system_clock::now() < deadline) loop->runOnce(deadline);
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

TEST(OperationQueue, CancelledPendingOperationsCompleteWithoutWaitingForTheirTurn) {
    OperationQueue queue;
    queue.setMaxConcurrentOperationCount(1);
    Gate gate, started;
    Counted counted;
    auto blocker = counted.make([&] {
        started.open();
        gate.wait();
    });
    queue.addOperation(blocker);
    started.wait();
    std::vector<std::shared_ptr<Operation>> pending;
    for (int i = 0; i < 50; ++i) {
        pending.push_back(counted.make());
        queue.addOperation(pending.back());
    }
    pending[7]->cancel();
    EXPECT_TRUE(pending[7]->waitUntilFinished(kBound));  // the blocker still runs
    EXPECT_EQ(counted.completions, 1);

    queue.cancelAllOperations();
    EXPECT_TRUE(blocker->isCancelled() && blocker->isExecuting());
    gate.open();
    ASSERT_TRUE(queue.waitUntilAllOperationsAreFinished(kBound));
    EXPECT_EQ(std::make_pair(counted.runs.load(), counted.completions.load()), std::make_pair(1, 51));
}

TEST(OperationQueue, AnOperationEntersOneQueueOnce) {
    OperationQueue first, second;
    auto operation = Operation::create([] {});
    first.addOperation(operation);
    EXPECT_THROW(second.addOperation(operation), kq::InvalidArgumentException);
    EXPECT_THROW(first.addOperation(nullptr), kq::InvalidArgumentException);
    ASSERT_TRUE(first.waitUntilAllOperationsAreFinished(kBound));
    auto finished = Operation::create([] {});
    finished->start();
    EXPECT_THROW(second.addOperation(finished), kq::InvalidArgumentException);
}

class Receiver : public kq::Object {
public:
    Receiver() {
        registerSelector("double:", [](const kq::ObjectArguments& arguments) {
            return 2 * std::any_cast<int>(arguments[0]);
        });
        registerSelector("ping", [this] { ++pings; });
    }
    std::atomic<int> pings{0};
};

TEST(InvocationOperation, SendsItsObjectOrIsNullWhenTheTargetCannot) {
    Receiver receiver;
    EXPECT_EQ(kq::InvocationOperation::create(&receiver, "triple:", 1), nullptr);
    EXPECT_EQ(kq::InvocationOperation::create(nullptr, "double:", 1), nullptr);
    EXPECT_EQ(kq::InvocationOperation::create(std::unique_ptr<kq::Invocation>()), nullptr);

    OperationQueue queue;
    auto doubling = kq::InvocationOperation::create(&receiver, "double:", 21);
    auto ping = kq::InvocationOperation::create(&receiver, "ping", 5);  // the object is dropped
    ASSERT_TRUE(doubling && ping);
    queue.addOperation(doubling);
    queue.addOperation(ping);
    ASSERT_TRUE(queue.waitUntilAllOperationsAreFinished(kBound));
    EXPECT_EQ(std::any_cast<int>(doubling->result()), 42);
    EXPECT_EQ(receiver.pings, 1);
}

}  // namespace
