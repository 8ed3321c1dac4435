#pragma once
// NSMutableArray(KQFoundation): nil-tolerant appends, as members of kq::Array
// (declared in its category block in Value.h):
//
//   addObjectIfNotNil(v)              Appends v unless it is missing
//                                     (nullptr or nullopt).
//   addObjectsFromArrayIfNotNil(a)    Appends every element of a unless a is
//                                     missing.
#include "KQFoundation/Foundation/Value.h"
