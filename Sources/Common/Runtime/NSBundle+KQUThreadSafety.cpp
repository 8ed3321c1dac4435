#include "KQFoundation/NSBundle+KQUThreadSafety.h"

namespace kq {

std::unique_ptr<KQUThreadSafeBundleProxy> Bundle::threadSafeMainBundle() {
    return KQUThreadSafeBundleProxy::proxyWithBundle(mainBundle());
}

std::unique_ptr<KQUThreadSafeBundleProxy> Bundle::threadSafeBundleWithPath(std::string_view path) {
    return KQUThreadSafeBundleProxy::proxyWithBundle(bundleWithPath(path));
}

std::unique_ptr<KQUThreadSafeBundleProxy> Bundle::threadSafeBundleForClass() {
    return KQUThreadSafeBundleProxy::proxyWithBundle(libraryBundle());
}

}  // namespace kq
