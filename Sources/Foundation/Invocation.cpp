#include "KQFoundation/Foundation/Invocation.h"

#include "KQFoundation/Foundation/Exceptions.h"

namespace kq {

Invocation::Invocation(MethodSignature signature)
    : signature_(signature), arguments_(signature.numberOfObjectArguments) {}

std::size_t Invocation::slot(std::size_t index) const {
    if (index < 2 || index >= signature_.numberOfArguments()) {
        throw InvalidArgumentException("-[Invocation setArgument:atIndex:]: index (" + std::to_string(index) +
                                       ") out of bounds [2, " +
                                       std::to_string(signature_.numberOfArguments()) + ")");
    }
    return index - 2;
}

void Invocation::setArgument(std::any argument, std::size_t index) {
    arguments_[slot(index)] = std::move(argument);
}

const std::any& Invocation::argument(std::size_t index) const {
    return arguments_[slot(index)];
}

void Invocation::invoke() {
    invokeWithTarget(target_);
}

void Invocation::invokeWithTarget(Object* target) {
    if (target == nullptr) return;
    std::optional<std::any> result = target->performSelector(selector_, arguments_);
    if (!result) throw InvalidArgumentException("unrecognized selector sent to instance: " + selector_);
    returnValue_ = std::move(*result);
}

}  // namespace kq
