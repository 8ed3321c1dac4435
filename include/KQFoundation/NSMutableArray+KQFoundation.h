#pragma once
// kq::Array::addObjectIfNotNil and addObjectsFromArrayIfNotNil.
#include "KQFoundation/Foundation/Value.h"
