#pragma once
// kq::Object: a small base whose subclasses make methods callable by selector
// name, so that a message can be built and sent later (kq::Invocation,
// kq::InvocationOperation).
//
// An object argument is a std::any: it holds any copyable value (a kq::Value,
// a std::shared_ptr<kq::Object>, a string ...), and an empty std::any is nil.
// A method takes one object argument per colon of its selector ("didFinish:"
// takes one, "reload" none) and may return an object (empty for none).
//
// Targets are compared by identity (their address), selectors by string
// equality. Register methods in the subclass's constructor; lookups and sends
// are safe from any thread.
#include <any>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include "KQFoundation/Export.h"

class KQUKeyValueObserver;

namespace kq {

class Observable;
struct KeyValueChange;

using ObjectArguments = std::vector<std::any>;

// What a selector takes: its object arguments. The platform counts the
// receiver and the selector as arguments 0 and 1 as well.
struct KQ_EXPORT MethodSignature {
    std::size_t numberOfObjectArguments = 0;
    std::size_t numberOfArguments() const { return numberOfObjectArguments + 2; }
    friend bool operator==(const MethodSignature&, const MethodSignature&) = default;
};

// The number of object arguments a selector name takes: its colons.
KQ_EXPORT std::size_t numberOfObjectArguments(std::string_view selector);

class KQ_EXPORT Object {
public:
    using Method = std::function<std::any(const ObjectArguments&)>;

    Object() = default;
    virtual ~Object();
    // Methods capture `this`: a copy would call into the original.
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    bool respondsToSelector(std::string_view selector) const;
    // nullopt when the object does not respond.
    std::optional<MethodSignature> methodSignature(std::string_view selector) const;

    // Sends the message: nullopt when the object does not respond, else what the
    // method returned. Missing arguments are nil; more arguments than the
    // selector takes raise kq::InvalidArgumentException.
    std::optional<std::any> performSelector(std::string_view selector, ObjectArguments arguments = {});
    template <typename... Arguments>
        requires(sizeof...(Arguments) > 0)
    std::optional<std::any> performSelector(std::string_view selector, Arguments&&... arguments) {
        return performSelector(selector, ObjectArguments{std::any(std::forward<Arguments>(arguments))...});
    }

    // ---- Category NSObject(KQUKeyValueObserving): NSObject+KQUKeyValueObserving.h/.cpp ----
    void startObservingObject(
        Observable* object, std::string_view keyPath, unsigned options,
        std::function<void(KQUKeyValueObserver&, const Observable&, const std::string&, const KeyValueChange&)>
            handler);
    void stopObservingAllObjects();
    // ---- end of category ----

protected:
    // Registers (or replaces) a method. The callable takes the arguments
    // (const ObjectArguments&), or nothing; it may return void.
    template <typename Callable>
    void registerSelector(std::string selector, Callable callable) {
        if constexpr (std::is_invocable_v<Callable&, const ObjectArguments&>) {
            if constexpr (std::is_void_v<std::invoke_result_t<Callable&, const ObjectArguments&>>) {
                addMethod(std::move(selector), [callable](const ObjectArguments& arguments) mutable -> std::any {
                    callable(arguments);
                    return {};
                });
            } else {
                addMethod(std::move(selector), [callable](const ObjectArguments& arguments) mutable -> std::any {
                    return std::any(callable(arguments));
                });
            }
        } else {
            static_assert(std::is_invocable_v<Callable&>, "a method takes const kq::ObjectArguments& or nothing");
            registerSelector(std::move(selector),
                             [callable](const ObjectArguments&) mutable { return callable(); });
        }
    }

private:
    void addMethod(std::string selector, Method method);
    std::optional<Method> method(std::string_view selector) const;

    mutable std::mutex mutex_;
    std::unordered_map<std::string, Method> methods_;
    // Owned by the NSObject(KQUKeyValueObserving) category; not guarded.
    std::vector<std::shared_ptr<KQUKeyValueObserver>> keyValueObservers_;
};

}  // namespace kq
