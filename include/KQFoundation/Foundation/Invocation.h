#pragma once
// kq::Invocation: a message ready to send later: a target (not owned; it
// must outlive the sends), a selector and the object arguments. Argument
// indexes follow the platform: 0 is the receiver, 1 the selector, the object
// arguments start at 2.
#include <any>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Object.h"

namespace kq {

class KQ_EXPORT Invocation {
public:
    explicit Invocation(MethodSignature signature);

    const MethodSignature& methodSignature() const { return signature_; }
    Object* target() const { return target_; }
    void setTarget(Object* target) { target_ = target; }
    const std::string& selector() const { return selector_; }
    void setSelector(std::string selector) { selector_ = std::move(selector); }

    // Index 2 and up, below the signature's numberOfArguments(); any other
    // index raises kq::InvalidArgumentException. Unset arguments are nil.
    void setArgument(std::any argument, std::size_t index);
    const std::any& argument(std::size_t index) const;

    // The invocation always keeps its own copies of the arguments (a
    // shared_ptr argument keeps its object alive); this records that the
    // holder asked for them to be kept, as the platform's message objects do.
    void retainArguments() { argumentsRetained_ = true; }
    bool argumentsRetained() const { return argumentsRetained_; }

    // Sends the message to target() (nothing without a target) and keeps the
    // result. A target that does not respond raises
    // kq::InvalidArgumentException ("unrecognized selector").
    void invoke();
    void invokeWithTarget(Object* target);
    const std::any& returnValue() const { return returnValue_; }

    // ---- Category NSInvocation(KQUCreation): NSInvocation+KQUCreation.h/.cpp ----
    static std::unique_ptr<Invocation> invocationWithTarget(Object* target, std::string_view selector);
    static std::unique_ptr<Invocation> invocationWithTarget(Object* target, std::string_view selector,
                                                            const ObjectArguments& arguments);
    static std::unique_ptr<Invocation> invocationWithTarget(Object* target, std::string_view selector,
                                                            std::any argument);
    // ---- end of category ----

private:
    std::size_t slot(std::size_t index) const;

    MethodSignature signature_;
    Object* target_ = nullptr;
    std::string selector_;
    ObjectArguments arguments_;
    std::any returnValue_;
    bool argumentsRetained_ = false;
};

}  // namespace kq
