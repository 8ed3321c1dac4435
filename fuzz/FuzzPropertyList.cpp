// Property lists from arbitrary bytes: readers never throw and never crash.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "KQFoundation/Foundation/PropertyList.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto value = kq::PropertyList::read(std::string_view(reinterpret_cast<const char*>(data), size));
    if (value) (void)kq::describe(*value);
    return 0;
}
