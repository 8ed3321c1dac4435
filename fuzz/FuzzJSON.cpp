// JSON text from arbitrary bytes, read as an object and as an array, with and
// without nulls, and written back: nothing throws, crashes or recurses deeply.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "KQFoundation/NSObject+JSON.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    for (const bool ignoreNull : {false, true}) {
        if (const auto dictionary = kq::Dictionary::dictionaryWithJSONString(text, ignoreNull))
            (void)dictionary->JSONString();
        if (const auto array = kq::Array::arrayWithJSONString(text, ignoreNull)) (void)array->JSONString();
    }
    return 0;
}
