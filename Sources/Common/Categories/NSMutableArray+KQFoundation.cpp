#include "KQFoundation/NSMutableArray+KQFoundation.h"

namespace kq {

void Array::addObjectIfNotNil(const Value* value) {
    if (value) push_back(*value);
}

void Array::addObjectIfNotNil(const std::optional<Value>& value) {
    if (value) push_back(*value);
}

void Array::addObjectsFromArrayIfNotNil(const Array* array) {
    if (array) insert(end(), array->begin(), array->end());
}

void Array::addObjectsFromArrayIfNotNil(const std::optional<Array>& array) {
    if (array) insert(end(), array->begin(), array->end());
}

}  // namespace kq
