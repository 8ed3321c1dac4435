#include "KQFoundation/KQUThreadSafeBundleProxy.h"

std::unique_ptr<KQUThreadSafeBundleProxy> KQUThreadSafeBundleProxy::proxyWithBundle(
    std::shared_ptr<kq::Bundle> bundle) {
    if (!bundle) return nullptr;
    return std::unique_ptr<KQUThreadSafeBundleProxy>(new KQUThreadSafeBundleProxy(std::move(bundle)));
}
