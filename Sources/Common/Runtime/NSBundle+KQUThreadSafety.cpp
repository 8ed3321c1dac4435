#include "KQFoundation/NSBundle+KQUThreadSafety.h"

namespace kq {

std::unique_ptr<KQUThreadSafeBundleProxy> threadSafeMainBundle() {
    return KQUThreadSafeBundleProxy::proxyWithBundle(Bundle::mainBundle());
}

std::unique_ptr<KQUThreadSafeBundleProxy> threadSafeBundleWithPath(std::string_view path) {
    return KQUThreadSafeBundleProxy::proxyWithBundle(Bundle::bundleWithPath(path));
}

std::unique_ptr<KQUThreadSafeBundleProxy> threadSafeBundleForClass() {
    return KQUThreadSafeBundleProxy::proxyWithBundle(Bundle::libraryBundle());
}

}  // namespace kq
