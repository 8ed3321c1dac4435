#pragma once
// NSDictionary(KQValueTypeChecking): typed look-ups on loosely typed
// dictionaries (property lists, JSON, profiler output), as members of
// kq::Dictionary (declared in its category block in Value.h). Each looks the
// key up once.
//
//   stringValueForKey(key)        The value when it is a string, else nullptr.
//   arrayValueForKey(key)         The value when it is an array, else nullptr.
//   dictioniaryValueForKey(key)   The value when it is a dictionary, else
//                                 nullptr (spelled so on purpose).
//   numberValueForKey(key)        The value when it is a number (boolean,
//                                 integer or real), else nullptr.
//   dateValueForKey(key)          The value when it is a date, else nullptr.
//   integerValueForKey(key, d)    A number's integer value, else d (a string
//                                 such as "12" gives d).
//   boolValueForKey(key, d)       d for a missing key or a value that is
//                                 neither number nor string; a number's truth;
//                                 for a string, "true" in any case, else true
//                                 when it starts (after white space, a sign and
//                                 zeros) with y, t or a digit 1-9.
#include "KQFoundation/Foundation/Value.h"
