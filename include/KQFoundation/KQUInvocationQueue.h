#pragma once
// KQUInvocationQueue: sends one selector with one object argument to a target
// later, as an operation on an operation queue, and cancels the sends of a
// target (or of a target and selector) that have not started yet.
//
// Targets are compared by identity and are not owned: a target must outlive
// its scheduled sends, or have them cancelled first. An operation is listed
// in operations() from just before it is queued until its completion block
// has run, after it ran or was cancelled. Scheduling and cancelling may be
// called from any thread; cancelling works on a snapshot, so a send scheduled
// meanwhile is not touched, and a send already running is not stopped.
#include <any>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

#include "KQFoundation/Export.h"
#include "KQFoundation/System/OperationQueue.h"

class KQ_EXPORT KQUInvocationQueue {
public:
    /// The shared instance on kq::OperationQueue::mainQueue(), created once
    /// and kept for the life of the process.
    static std::shared_ptr<KQUInvocationQueue> mainInvocationQueue();

    explicit KQUInvocationQueue(std::shared_ptr<kq::OperationQueue> operationQueue);
    KQUInvocationQueue(const KQUInvocationQueue&) = delete;
    KQUInvocationQueue& operator=(const KQUInvocationQueue&) = delete;
    ~KQUInvocationQueue();

    const std::shared_ptr<kq::OperationQueue>& operationQueue() const { return operationQueue_; }
    /// The sends scheduled and not yet finished, oldest first (a copy).
    std::vector<std::shared_ptr<kq::InvocationOperation>> operations() const;

    /// Queues `target`'s `selector` with `object` as its argument. Does
    /// nothing when the target is missing or does not respond.
    void scheduleInvocationWithTarget(kq::Object* target, std::string_view selector, std::any object = {});
    /// Cancels the pending sends to `target`: all of them, or only those of
    /// `selector` when one is given.
    void cancelInvocationsWithTarget(kq::Object* target, std::optional<std::string_view> selector = std::nullopt);

private:
    // The list has its own lock, apart from the object's: completion blocks
    // take it on the queue's threads, possibly after this object is gone.
    struct Operations {
        std::mutex mutex;
        std::vector<std::shared_ptr<kq::InvocationOperation>> list;
    };
    std::shared_ptr<Operations> operationsList() const;

    std::shared_ptr<kq::OperationQueue> operationQueue_;
    mutable std::mutex mutex_;
    mutable std::shared_ptr<Operations> operations_;  // created on first use
};
