#pragma once
// NSBundle(KQUThreadSafety): thread-safe wrappers of the well-known bundles,
// as static members of kq::Bundle (declared in its category block in
// Bundle.h). Each returns nullptr when the bundle does not exist.
//
//   threadSafeMainBundle()          Around kq::Bundle::mainBundle().
//   threadSafeBundleWithPath(p)     Around the bundle at the path.
//   threadSafeBundleForClass()      Around the bundle that defines the
//                                   library's classes: its own resources
//                                   (kq::Bundle::libraryBundle()).
#include "KQFoundation/Foundation/Bundle.h"
#include "KQFoundation/KQUThreadSafeBundleProxy.h"
