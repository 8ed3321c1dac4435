#include "KQFoundation/KQUInvocationQueue.h"

#include <algorithm>
#include <string>

std::shared_ptr<KQUInvocationQueue> KQUInvocationQueue::mainInvocationQueue() {
    // Never destroyed: sends may still be queued on the main loop at exit.
    static auto* const queue =
        new std::shared_ptr<KQUInvocationQueue>(new KQUInvocationQueue(kq::OperationQueue::mainQueue()));
    return *queue;
}

KQUInvocationQueue::KQUInvocationQueue(std::shared_ptr<kq::OperationQueue> operationQueue)
    : operationQueue_(std::move(operationQueue)) {}

KQUInvocationQueue::~KQUInvocationQueue() = default;

std::shared_ptr<KQUInvocationQueue::Operations> KQUInvocationQueue::operationsList() const {
    std::lock_guard lock(mutex_);
    if (!operations_) operations_ = std::make_shared<Operations>();
    return operations_;
}

std::vector<std::shared_ptr<kq::InvocationOperation>> KQUInvocationQueue::operations() const {
    auto operations = operationsList();
    std::lock_guard lock(operations->mutex);
    return operations->list;
}

void KQUInvocationQueue::scheduleInvocationWithTarget(kq::Object* target, std::string_view selector,
                                                      std::any object) {
    auto operation = kq::InvocationOperation::create(target, selector, std::move(object));
    if (!operation || !operationQueue_) return;
    auto operations = operationsList();
    {
        std::lock_guard lock(operations->mutex);
        operations->list.push_back(operation);
    }
    // Weak on both sides: the operation must not keep itself alive through
    // its own completion block.
    operation->setCompletionBlock([list = std::weak_ptr<Operations>(operations),
                                   weakOperation = std::weak_ptr<kq::InvocationOperation>(operation)] {
        auto operations = list.lock();
        auto operation = weakOperation.lock();
        if (!operations || !operation) return;
        std::lock_guard lock(operations->mutex);
        std::erase(operations->list, operation);
    });
    operationQueue_->addOperation(std::move(operation));
}

void KQUInvocationQueue::cancelInvocationsWithTarget(kq::Object* target, std::optional<std::string_view> selector) {
    for (const auto& operation : operations()) {
        const kq::Invocation& invocation = operation->invocation();
        if (invocation.target() == target && (!selector || invocation.selector() == *selector)) operation->cancel();
    }
}
