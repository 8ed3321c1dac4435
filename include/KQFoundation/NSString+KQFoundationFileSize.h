#pragma once
// NSString(KQFoundation), file sizes:
//
//   stringWithFileSize(bytes)     KQUFileSize(bytes).description(): "1.5 KB"
//                                 with a no-break space, "1 byte", "0 bytes".
//   compactFileSizeString(bytes, includeCount, includeUnits)
//                                 The size by a KQUByteCountFormatter rounding
//                                 to nearest, in steps of 1024, with units
//                                 bytes to TB: below 1 MB tenths of a megabyte
//                                 once they round to 0.1 MB (700000 gives
//                                 "0.7 MB"), else whole KB or bytes; whole MB up
//                                 to half a gigabyte; from there "1 GB" (600 MB
//                                 already rounds to it); tenths of GB from one
//                                 gigabyte; likewise "1 TB" from half a terabyte
//                                 and tenths of TB from one terabyte. The unit
//                                 names are fixed English, the decimal separator
//                                 is the user's. nullopt when both flags are off.
#include <cstdint>
#include <optional>
#include <string>

#include "KQFoundation/Export.h"

namespace kq {

KQ_EXPORT std::string stringWithFileSize(std::uint64_t bytes);
KQ_EXPORT std::optional<std::string> compactFileSizeString(std::uint64_t bytes, bool includeCount,
                                                           bool includeUnits);

}  // namespace kq
