#pragma once
// kq::Operation and kq::OperationQueue: units of work with cancellation and a
// completion block, run on kq::DispatchQueue's shared thread pool with a
// bounded number at a time, or, for the main queue, on the main run loop.
//
// An operation runs once. Cancelling marks it; one that has not started then
// never runs its work, but still finishes and runs its completion block, once
// (a queue starts cancelled operations at once, ahead of the others). A
// running operation only sees isCancelled() turn true. The completion block
// runs on the thread that ran the operation, after isFinished() turned true.
// An exception thrown by the work or the completion block is logged and ends
// it as if it had returned.
#include <any>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Invocation.h"

namespace kq {

class DispatchQueue;

class KQ_EXPORT Operation {
public:
    // A block operation.
    static std::shared_ptr<Operation> create(std::function<void()> block);
    virtual ~Operation();
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

    // Runs the operation on the calling thread unless it has already started.
    void start();
    void cancel();
    bool isCancelled() const;
    bool isExecuting() const;
    bool isFinished() const;

    // Replaced by a later call; not run when set after the operation finished.
    void setCompletionBlock(std::function<void()> block);

    // Waits until the operation finished and its completion block returned;
    // never call it from the operation's own work or completion block.
    void waitUntilFinished();
    // The same with a bound: false when the time ran out first.
    bool waitUntilFinished(std::chrono::steady_clock::duration timeout);

protected:
    Operation() = default;
    // The work; the block operation calls its block.
    virtual void main();

private:
    friend class OperationQueue;
    enum class State { ready, executing, finished, done };

    mutable std::mutex mutex_;
    std::condition_variable done_;
    State state_ = State::ready;
    bool cancelled_ = false;
    bool enqueued_ = false;
    std::function<void()> block_;
    std::function<void()> completionBlock_;
    std::function<void()> cancelHook_;  // set by the queue holding the operation
};

// Sends one message (kq::Invocation) as its work.
class KQ_EXPORT InvocationOperation : public Operation {
public:
    // nullptr when the target is missing or does not respond to the selector.
    // `object` becomes the first argument when the selector takes one.
    static std::shared_ptr<InvocationOperation> create(Object* target, std::string_view selector,
                                                       std::any object = {});
    // nullptr for a null invocation.
    static std::shared_ptr<InvocationOperation> create(std::unique_ptr<Invocation> invocation);

    const Invocation& invocation() const { return *invocation_; }
    // What the method returned, once the operation has finished.
    std::any result() const;

protected:
    void main() override;

private:
    explicit InvocationOperation(std::unique_ptr<Invocation> invocation);
    std::unique_ptr<Invocation> invocation_;
};

class KQ_EXPORT OperationQueue {
public:
    // No limit of its own: as many at once as the thread pool runs.
    static constexpr int kDefaultMaxConcurrentOperationCount = -1;

    OperationQueue();
    // The queue bound to kq::RunLoop::mainRunLoop(): its operations run there
    // one at a time, in order, each time the main thread turns its run loop,
    // so they wait until it does (never wait for them on the main thread
    // without turning the loop). Its concurrency limit is fixed at 1. Once
    // the main loop's thread has gone, operations are cancelled, so they
    // still complete. Created on first use (which also settles the main run
    // loop if nobody has yet) and kept for the life of the process.
    static std::shared_ptr<OperationQueue> mainQueue();
    // Operations already added still run; nothing waits for them.
    ~OperationQueue();
    OperationQueue(const OperationQueue&) = delete;
    OperationQueue& operator=(const OperationQueue&) = delete;

    // Operations start in the order they were added. An operation that is
    // null, already in a queue, or already started raises
    // kq::InvalidArgumentException.
    void addOperation(std::shared_ptr<Operation> operation);
    void addOperationWithBlock(std::function<void()> block);

    // 1 makes the queue serial; 0 or less means no limit of its own.
    int maxConcurrentOperationCount() const;
    void setMaxConcurrentOperationCount(int count);

    // The operations added and not yet done (completion block returned).
    std::vector<std::shared_ptr<Operation>> operations() const;
    std::size_t operationCount() const;

    void cancelAllOperations();
    // Waits until every operation added so far (and any added meanwhile) is
    // done, completion blocks included. Never call it from an operation of
    // the pool: the pool may have no other thread to finish them.
    void waitUntilAllOperationsAreFinished();
    bool waitUntilAllOperationsAreFinished(std::chrono::steady_clock::duration timeout);

private:
    struct State;
    std::shared_ptr<State> state_;
};

}  // namespace kq
