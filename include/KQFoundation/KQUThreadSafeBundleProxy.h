#pragma once
// KQUThreadSafeBundleProxy: a kq::Bundle wrapper whose every call holds the
// bundle object's own monitor (kq::Bundle::monitor()), so resource and
// localization look-ups from several threads are serialised, also across
// different wrappers of the same bundle and against any code that takes the
// monitor itself. The monitor is recursive: a call may nest another one.
//
//   auto proxy = KQUThreadSafeBundleProxy::proxyWithBundle(kq::Bundle::mainBundle());
//   std::string title = proxy->locked()->localizedString("Title");  // locked for the whole expression
//   (*proxy)->localizedString("Title");                              // the same
//   proxy->with([](const kq::Bundle& b) { ... });                    // locked for the whole callable
//
// An exception thrown by the bundle releases the monitor and reaches the caller.
#include <functional>
#include <memory>
#include <mutex>
#include <type_traits>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Bundle.h"

class KQ_EXPORT KQUThreadSafeBundleProxy {
public:
    /// nullptr for a missing bundle. The wrapper keeps the bundle alive.
    static std::unique_ptr<KQUThreadSafeBundleProxy> proxyWithBundle(std::shared_ptr<kq::Bundle> bundle);

    /// Holds the monitor for as long as it lives: operator-> hands one out as
    /// a temporary, which lasts until the end of the full expression.
    class LockedAccess {
    public:
        explicit LockedAccess(const kq::Bundle& bundle) : bundle_(&bundle), lock_(bundle.monitor()) {}
        const kq::Bundle* operator->() const { return bundle_; }
        const kq::Bundle& operator*() const { return *bundle_; }

    private:
        const kq::Bundle* bundle_;
        std::unique_lock<std::recursive_mutex> lock_;
    };

    LockedAccess operator->() const { return LockedAccess(*bundle_); }
    LockedAccess locked() const { return LockedAccess(*bundle_); }

    /// Calls `body(const kq::Bundle&)` while holding the monitor and returns its result.
    template <class Body>
    decltype(auto) with(Body&& body) const {
        std::lock_guard lock(bundle_->monitor());
        return std::invoke(std::forward<Body>(body), std::as_const(*bundle_));
    }

    /// The wrapped bundle itself, for handing on; calls made through it are not locked.
    const std::shared_ptr<kq::Bundle>& bundle() const { return bundle_; }

private:
    explicit KQUThreadSafeBundleProxy(std::shared_ptr<kq::Bundle> bundle) : bundle_(std::move(bundle)) {}

    std::shared_ptr<kq::Bundle> bundle_;
};
