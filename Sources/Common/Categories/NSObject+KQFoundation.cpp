#include "KQFoundation/NSObject+KQFoundation.h"

namespace kq {

bool isObject(const Value* a, const Value* b) {
    if (!a && !b) return true;
    if (!a) return false;
    // A present object decides by its own equality; against nil that is false.
    return b && *a == *b;
}

Array inArray(const Value& v) { return Array{v}; }

}  // namespace kq
