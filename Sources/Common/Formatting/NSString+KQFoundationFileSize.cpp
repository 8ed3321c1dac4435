#include "KQFoundation/NSString+KQFoundation.h"

#include "KQFoundation/KQUByteCountFormatter.h"
#include "KQFoundation/KQUFileSize.h"

namespace kq {

std::string stringWithFileSize(std::uint64_t bytes) { return KQUFileSize(bytes).description(); }

std::optional<std::string> compactFileSizeString(std::uint64_t bytes, bool includeCount, bool includeUnits) {
    const double megabytes = static_cast<double>(bytes) / 1024 / 1024;
    const double gigabytes = megabytes / 1024;
    const double terabytes = gigabytes / 1024;
    KQUByteCountFormatter formatter;
    formatter.setPrecision(0, 0);
    formatter.setPrecision(0, 1);
    formatter.setPrecision(megabytes < 1 ? 1 : 0, 2);
    formatter.setPrecision(gigabytes >= 1 ? 1 : 0, 3);
    formatter.setPrecision(terabytes >= 1 ? 1 : 0, 4);
    formatter.setIncludeUnits(includeUnits);
    formatter.setIncludeCount(includeCount);
    formatter.setRoundMode(2);
    return formatter.stringFromByteCount(bytes);
}

}  // namespace kq
