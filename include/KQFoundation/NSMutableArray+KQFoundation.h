#pragma once
// kq::Array::addObjectIfNotNil and addObjectsFromArrayIfNotNil.
#include "KQFoundation/Platform/Value.h"
