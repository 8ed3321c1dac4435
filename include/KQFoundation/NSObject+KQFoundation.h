#pragma once
// NSObject(KQFoundation): nil-safe equality and one-element arrays. The
// platform's objects are kq::Value here, so these are free functions.
#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Value.h"

namespace kq {

/// True when both are missing; otherwise the first one's equality with the
/// second (so a missing first and a present second give false).
KQ_EXPORT bool isObject(const Value* a, const Value* b);
/// A new array holding only the value.
KQ_EXPORT Array inArray(const Value& v);

}  // namespace kq
