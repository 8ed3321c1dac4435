#pragma once
// KQUUnsafeUnretainedProxy: a handle that forwards to an object it does not
// own, for breaking ownership cycles (a timer or callback that must reach
// back to its owner). The object is neither kept alive nor cleared when it
// goes away: its owner clears it (setObject(nullptr)) or drops the proxy first.
//
//   auto proxy = KQUUnsafeUnretainedProxy<Owner>::unsafeUnretainedProxyWithObject(this);
//   timer.onFire([p = proxy.get()] { (*p)->tick(); });
#include <memory>

#include "KQFoundation/Foundation/Exceptions.h"

template <class T>
class KQUUnsafeUnretainedProxy {
public:
    /// nullptr when there is no object to forward to.
    static std::unique_ptr<KQUUnsafeUnretainedProxy> unsafeUnretainedProxyWithObject(T* object) {
        if (!object) return nullptr;
        return std::unique_ptr<KQUUnsafeUnretainedProxy>(new KQUUnsafeUnretainedProxy(object));
    }

    T* object() const { return object_; }
    void setObject(T* object) { object_ = object; }

    /// Forwards to the object. Throws kq::InternalInconsistencyException once
    /// the object has been cleared, rather than calling through null.
    T* operator->() const { return &**this; }
    T& operator*() const {
        if (!object_) throw kq::InternalInconsistencyException("KQUUnsafeUnretainedProxy has no object");
        return *object_;
    }

private:
    explicit KQUUnsafeUnretainedProxy(T* object) : object_(object) {}

    T* object_;
};
