#include "KQFoundation/NSString+KQUFileSize.h"

#include "Common/Formatting/FileSizeTexts.h"
#include "KQFoundation/Foundation/Exceptions.h"

namespace kq {

std::string stringWithFileSizeUnit(KQUFileSizeUnit unit) {
    if (unit < KQUFileSizeUnitByte || unit > KQUFileSizeUnitEB)
        throw RangeException("index " + std::to_string(static_cast<std::int32_t>(unit)) + " beyond bounds [0 .. 7]");
    return detail::fileSizeTexts()->names[static_cast<std::size_t>(unit)];
}

}  // namespace kq
