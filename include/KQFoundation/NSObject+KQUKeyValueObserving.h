#pragma once
// NSObject(KQUKeyValueObserving): any kq::Object can own key-value observers
// and drop them all at once (members of kq::Object, declared in the category
// block of Foundation/Object.h):
//
//   object.startObservingObject(observee, keyPath, options, handler)
//       Creates a KQUKeyValueObserver with these values and keeps it; does
//       nothing when it cannot be created (missing observee, key path or
//       handler).
//   object.stopObservingAllObjects()
//       Invalidates every observer the object keeps and forgets them, so no
//       handler of this object is called afterwards.
//
// The observers go with their owner. Start and stop belong to one thread per
// owner: the list is not guarded.
#include "KQFoundation/Foundation/Object.h"
#include "KQFoundation/KQUKeyValueObserver.h"
