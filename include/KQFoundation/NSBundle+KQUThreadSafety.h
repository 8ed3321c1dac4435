#pragma once
// NSBundle(KQUThreadSafety): thread-safe wrappers of the well-known bundles,
// as free functions. Each returns nullptr when the bundle does not exist.
#include "KQFoundation/Export.h"
#include <memory>
#include <string_view>

#include "KQFoundation/KQUThreadSafeBundleProxy.h"

namespace kq {

/// Around kq::Bundle::mainBundle().
KQ_EXPORT std::unique_ptr<KQUThreadSafeBundleProxy> threadSafeMainBundle();
/// Around the bundle at the path.
KQ_EXPORT std::unique_ptr<KQUThreadSafeBundleProxy> threadSafeBundleWithPath(std::string_view path);
/// Around the bundle that defines the library's classes: its own resources
/// (kq::Bundle::libraryBundle()).
KQ_EXPORT std::unique_ptr<KQUThreadSafeBundleProxy> threadSafeBundleForClass();

}  // namespace kq
