// Keyed archives from arbitrary bytes: cycles, stray references and wrong
// types give nullopt, never a crash; what reads back survives a second trip.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "KQFoundation/Foundation/KeyedArchiver.h"
#include "KQFoundation/KQUBrowserExtension.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const kq::Data bytes(data, data + size);
    if (auto value = kq::KeyedUnarchiver::unarchiveObjectWithData(bytes); value && !value->isNull()) {
        const kq::Data again = kq::KeyedArchiver::archivedDataWithRootObject(*value);
        // NaN is the one value unequal to itself.
        if (again.empty() || (!(kq::KeyedUnarchiver::unarchiveObjectWithData(again) == *value) &&
                              kq::describe(*value).find("nan") == std::string::npos))
            std::abort();
    }
    if (auto record = KQUBrowserExtension::unarchivedExtensionWithData(bytes)) {
        (void)record->description();
        auto back = KQUBrowserExtension::unarchivedExtensionWithData(record->archivedData());
        if (!back || !(*back == *record)) std::abort();
    }
    return 0;
}
