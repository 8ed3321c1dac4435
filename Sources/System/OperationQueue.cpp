#include "KQFoundation/System/OperationQueue.h"

#include <algorithm>
#include <deque>
#include <exception>
#include <string>

#include "KQFoundation/Foundation/Exceptions.h"
#include "KQFoundation/Foundation/Log.h"
#include "KQFoundation/System/DispatchQueue.h"
#include "KQFoundation/System/RunLoop.h"
#include "Foundation/LoggedCall.h"

namespace kq {

// ---- Operation ----

std::shared_ptr<Operation> Operation::create(std::function<void()> block) {
    std::shared_ptr<Operation> operation(new Operation);
    operation->block_ = std::move(block);
    return operation;
}

Operation::~Operation() = default;

void Operation::main() {
    if (block_) block_();
}

void Operation::start() {
    bool run = false;
    {
        std::lock_guard lock(mutex_);
        if (state_ != State::ready) return;
        run = !cancelled_;
        state_ = run ? State::executing : State::finished;
    }
    if (run) detail::callLoggingExceptions([] { return "Operation: the operation"; }, [this] { main(); });
    std::function<void()> completion;
    {
        std::lock_guard lock(mutex_);
        state_ = State::finished;
        // Taken out, so it runs once and what it captured goes with it.
        completion = std::move(completionBlock_);
        completionBlock_ = nullptr;
        cancelHook_ = nullptr;
    }
    if (completion) detail::callLoggingExceptions([] { return "Operation: the completion block"; }, completion);
    {
        std::lock_guard lock(mutex_);
        state_ = State::done;
        done_.notify_all();
    }
}

void Operation::cancel() {
    std::function<void()> hook;
    {
        std::lock_guard lock(mutex_);
        if (cancelled_ || state_ >= State::finished) return;
        cancelled_ = true;
        if (state_ == State::ready) hook = cancelHook_;
    }
    // Outside the lock: the queue looks at this operation's state.
    if (hook) hook();
}

bool Operation::isCancelled() const {
    std::lock_guard lock(mutex_);
    return cancelled_;
}

bool Operation::isExecuting() const {
    std::lock_guard lock(mutex_);
    return state_ == State::executing;
}

bool Operation::isFinished() const {
    std::lock_guard lock(mutex_);
    return state_ >= State::finished;
}

void Operation::setCompletionBlock(std::function<void()> block) {
    std::lock_guard lock(mutex_);
    if (state_ < State::finished) completionBlock_ = std::move(block);
}

void Operation::waitUntilFinished() {
    std::unique_lock lock(mutex_);
    done_.wait(lock, [this] { return state_ == State::done; });
}

bool Operation::waitUntilFinished(std::chrono::steady_clock::duration timeout) {
    std::unique_lock lock(mutex_);
    return done_.wait_for(lock, timeout, [this] { return state_ == State::done; });
}

// ---- InvocationOperation ----

InvocationOperation::InvocationOperation(std::unique_ptr<Invocation> invocation)
    : invocation_(std::move(invocation)) {}

std::shared_ptr<InvocationOperation> InvocationOperation::create(Object* target, std::string_view selector,
                                                                 std::any object) {
    if (target == nullptr) return nullptr;
    std::optional<MethodSignature> signature = target->methodSignature(selector);
    if (!signature) return nullptr;
    auto invocation = std::make_unique<Invocation>(*signature);
    invocation->setTarget(target);
    invocation->setSelector(std::string(selector));
    if (signature->numberOfObjectArguments > 0) invocation->setArgument(std::move(object), 2);
    invocation->retainArguments();
    return create(std::move(invocation));
}

std::shared_ptr<InvocationOperation> InvocationOperation::create(std::unique_ptr<Invocation> invocation) {
    if (!invocation) return nullptr;
    return std::shared_ptr<InvocationOperation>(new InvocationOperation(std::move(invocation)));
}

std::any InvocationOperation::result() const {
    return invocation_->returnValue();
}

void InvocationOperation::main() {
    invocation_->invoke();
}

// ---- OperationQueue ----

struct OperationQueue::State : std::enable_shared_from_this<OperationQueue::State> {
    mutable std::mutex mutex;
    std::condition_variable idle;
    std::vector<std::shared_ptr<Operation>> operations;  // added and not done, in order
    std::deque<std::shared_ptr<Operation>> pending;      // not yet handed to the pool
    int running = 0;
    int maximum = kDefaultMaxConcurrentOperationCount;
    std::shared_ptr<DispatchQueue> pool = DispatchQueue::globalQueue();
    bool onMainRunLoop = false;  // the main queue: the main loop instead of the pool

    // Hands the pool what may start now: cancelled operations at once (they
    // only run their completion block), then others up to the limit.
    void schedule() {
        struct Start {
            std::shared_ptr<Operation> operation;
            bool counted;
        };
        std::vector<Start> starts;
        {
            std::lock_guard lock(mutex);
            for (auto it = pending.begin(); it != pending.end();) {
                if ((*it)->isCancelled()) {
                    starts.push_back({std::move(*it), false});
                    it = pending.erase(it);
                } else {
                    ++it;
                }
            }
            while (!pending.empty() && (maximum <= 0 || running < maximum)) {
                starts.push_back({std::move(pending.front()), true});
                pending.pop_front();
                ++running;
            }
        }
        for (Start& start : starts) {
            auto run = [self = shared_from_this(), operation = start.operation, counted = start.counted] {
                operation->start();
                self->done(operation, counted);
            };
            if (!onMainRunLoop) {
                pool->async(std::move(run));
            } else if (!RunLoop::mainRunLoop()->perform(run)) {
                // Nobody will turn that loop again: finish the operation here
                // without its work, so it still leaves the queue.
                kq::log("OperationQueue: the main run loop is gone; operation cancelled");
                start.operation->cancel();
                run();
            }
        }
    }

    void done(const std::shared_ptr<Operation>& operation, bool counted) {
        {
            std::lock_guard lock(mutex);
            if (counted) --running;
            std::erase(operations, operation);
            if (operations.empty()) idle.notify_all();
        }
        schedule();
    }
};

OperationQueue::OperationQueue() : state_(std::make_shared<State>()) {}

OperationQueue::~OperationQueue() = default;

std::shared_ptr<OperationQueue> OperationQueue::mainQueue() {
    // Never destroyed: operations may still be queued on the loop at exit.
    static auto* const queue = [] {
        RunLoop::mainRunLoop();
        auto created = new std::shared_ptr<OperationQueue>(new OperationQueue);
        (*created)->state_->onMainRunLoop = true;
        (*created)->state_->maximum = 1;
        return created;
    }();
    return *queue;
}

void OperationQueue::addOperation(std::shared_ptr<Operation> operation) {
    if (!operation) throw InvalidArgumentException("-[OperationQueue addOperation:]: operation is null");
    {
        std::lock_guard lock(operation->mutex_);
        if (operation->enqueued_) {
            throw InvalidArgumentException(
                "-[OperationQueue addOperation:]: operation is already enqueued on a queue");
        }
        if (operation->state_ != Operation::State::ready) {
            throw InvalidArgumentException(
                "-[OperationQueue addOperation:]: operation is executing or finished and cannot be enqueued");
        }
        operation->enqueued_ = true;
        operation->cancelHook_ = [weak = std::weak_ptr<State>(state_)] {
            if (auto state = weak.lock()) state->schedule();
        };
    }
    {
        std::lock_guard lock(state_->mutex);
        state_->operations.push_back(operation);
        state_->pending.push_back(std::move(operation));
    }
    state_->schedule();
}

void OperationQueue::addOperationWithBlock(std::function<void()> block) {
    addOperation(Operation::create(std::move(block)));
}

int OperationQueue::maxConcurrentOperationCount() const {
    std::lock_guard lock(state_->mutex);
    return state_->maximum;
}

void OperationQueue::setMaxConcurrentOperationCount(int count) {
    {
        std::lock_guard lock(state_->mutex);
        if (state_->onMainRunLoop) return;
        state_->maximum = count;
    }
    state_->schedule();
}

std::vector<std::shared_ptr<Operation>> OperationQueue::operations() const {
    std::lock_guard lock(state_->mutex);
    return state_->operations;
}

std::size_t OperationQueue::operationCount() const {
    std::lock_guard lock(state_->mutex);
    return state_->operations.size();
}

void OperationQueue::cancelAllOperations() {
    for (const auto& operation : operations()) operation->cancel();
}

void OperationQueue::waitUntilAllOperationsAreFinished() {
    std::unique_lock lock(state_->mutex);
    state_->idle.wait(lock, [this] { return state_->operations.empty(); });
}

bool OperationQueue::waitUntilAllOperationsAreFinished(std::chrono::steady_clock::duration timeout) {
    std::unique_lock lock(state_->mutex);
    return state_->idle.wait_for(lock, timeout, [this] { return state_->operations.empty(); });
}

}  // namespace kq
