#pragma once
// kq::DispatchQueue: blocks run later on other threads. Serial queues run
// their blocks one at a time in order; the global concurrent queue runs them
// on a small shared thread pool.
#include <functional>
#include <memory>
#include <string>

#include "KQFoundation/Export.h"

namespace kq {

class KQ_EXPORT DispatchQueue {
public:
    virtual ~DispatchQueue() = default;

    /// The process-wide concurrent queue of default priority.
    static std::shared_ptr<DispatchQueue> globalQueue();
    /// A new serial queue; it lives while someone holds it or a block is queued.
    static std::shared_ptr<DispatchQueue> createSerialQueue(std::string label);

    /// Queues the block and returns at once.
    virtual void async(std::function<void()> block) = 0;
    /// Queues the block and waits until it has run (never from the queue's own block).
    void sync(const std::function<void()>& block);

    virtual const std::string& label() const = 0;
};

}  // namespace kq
