#include "KQFoundation/NSInvocation+KQUCreation.h"

namespace kq {

std::unique_ptr<Invocation> Invocation::invocationWithTarget(Object* target, std::string_view selector) {
    if (target == nullptr || selector.empty()) return nullptr;
    std::optional<MethodSignature> signature = target->methodSignature(selector);
    if (!signature) return nullptr;
    auto invocation = std::make_unique<Invocation>(*signature);
    invocation->setTarget(target);
    invocation->setSelector(std::string(selector));
    return invocation;
}

std::unique_ptr<Invocation> Invocation::invocationWithTarget(Object* target, std::string_view selector,
                                                             const ObjectArguments& arguments) {
    std::unique_ptr<Invocation> invocation = invocationWithTarget(target, selector);
    if (!invocation || arguments.empty() || !arguments.front().has_value()) return invocation;
    std::size_t index = 2;
    for (const std::any& argument : arguments) {
        if (!argument.has_value()) break;
        invocation->setArgument(argument, index++);
    }
    invocation->retainArguments();
    return invocation;
}

std::unique_ptr<Invocation> Invocation::invocationWithTarget(Object* target, std::string_view selector,
                                                             std::any argument) {
    return invocationWithTarget(target, selector, ObjectArguments{std::move(argument)});
}

}  // namespace kq
