#pragma once
// Typed look-ups on loosely typed dictionaries (property lists, JSON,
// profiler output): stringValueForKey, arrayValueForKey,
// dictioniaryValueForKey (spelled so), numberValueForKey, dateValueForKey,
// integerValueForKey and boolValueForKey are members of kq::Dictionary.
//
// boolValueForKey(key, defaultValue): the default for a missing key or a
// value that is neither number nor string; a number's truth; for a string,
// "true" in any case, else YES when it starts (after white space, a sign and
// zeros) with y, t or a digit 1-9.
#include "KQFoundation/Foundation/Value.h"
