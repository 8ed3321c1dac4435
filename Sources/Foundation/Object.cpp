#include "KQFoundation/Foundation/Object.h"

#include <algorithm>

#include "KQFoundation/Foundation/Exceptions.h"

namespace kq {

std::size_t numberOfObjectArguments(std::string_view selector) {
    return static_cast<std::size_t>(std::count(selector.begin(), selector.end(), ':'));
}

Object::~Object() = default;

void Object::addMethod(std::string selector, Method method) {
    std::lock_guard lock(mutex_);
    methods_.insert_or_assign(std::move(selector), std::move(method));
}

std::optional<Object::Method> Object::method(std::string_view selector) const {
    std::lock_guard lock(mutex_);
    auto found = methods_.find(std::string(selector));
    if (found == methods_.end()) return std::nullopt;
    return found->second;
}

bool Object::respondsToSelector(std::string_view selector) const {
    std::lock_guard lock(mutex_);
    return methods_.contains(std::string(selector));
}

std::optional<MethodSignature> Object::methodSignature(std::string_view selector) const {
    if (!respondsToSelector(selector)) return std::nullopt;
    return MethodSignature{numberOfObjectArguments(selector)};
}

std::optional<std::any> Object::performSelector(std::string_view selector, ObjectArguments arguments) {
    // Called outside the lock, so a method may register or send others.
    std::optional<Method> found = method(selector);
    if (!found) return std::nullopt;
    const std::size_t expected = numberOfObjectArguments(selector);
    if (arguments.size() > expected) {
        throw InvalidArgumentException("-[" + std::string(selector) + "]: " + std::to_string(arguments.size()) +
                                       " arguments given, the method takes " + std::to_string(expected));
    }
    arguments.resize(expected);
    return (*found)(arguments);
}

}  // namespace kq
