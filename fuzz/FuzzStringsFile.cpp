// Strings tables (text in UTF-8 or UTF-16, or a property list) from arbitrary bytes.
#include <cstddef>
#include <cstdint>

#include "KQFoundation/Foundation/Bundle.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto table = kq::parseStringsFile(kq::Data(data, data + size));
    if (table) (void)kq::describe(*table);
    return 0;
}
