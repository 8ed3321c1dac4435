#include "KQFoundation/NSObject+KQUKeyValueObserving.h"

namespace kq {

void Object::startObservingObject(
    Observable* object, std::string_view keyPath, unsigned options,
    std::function<void(KQUKeyValueObserver&, const Observable&, const std::string&, const KeyValueChange&)>
        handler) {
    auto observer = KQUKeyValueObserver::observerWithObject(object, keyPath, options, std::move(handler));
    if (observer) keyValueObservers_.push_back(std::move(observer));
}

void Object::stopObservingAllObjects() {
    // Taken out first: a handler that runs meanwhile may start new observers.
    auto observers = std::move(keyValueObservers_);
    keyValueObservers_.clear();
    for (const auto& observer : observers) observer->invalidate();
}

}  // namespace kq
