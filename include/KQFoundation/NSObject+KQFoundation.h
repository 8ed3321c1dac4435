#pragma once
// kq::isObject(a, b) (nil-safe equality) and kq::inArray(value).
#include "KQFoundation/Foundation/Value.h"
