#pragma once
// NSString(KQFoundation): string helpers, as free functions on UTF-8 text.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KQFoundation/Export.h"

namespace kq {

/// A new random (version 4) UUID in canonical upper-case form,
/// "E621E1F8-C36C-495A-93FC-0C247A3E6E5F".
KQ_EXPORT std::string stringWithUUID();

/// The text's lines in order, without their terminators. Every line
/// terminator counts: "\n", "\r", "\r\n" (one terminator), U+0085, U+2028
/// and U+2029. A terminator at the end starts no further line, so "a\n" is
/// {"a"}, "\n" is {""} and "" is {}.
KQ_EXPORT std::vector<std::string> componentsSeparatedByNewLine(std::string_view text);

/// The text percent-encoded as UTF-8 so that it can stand as one query
/// value: everything but letters, digits and "-._~!*'()" becomes %XX with
/// upper-case hex digits, ";/?:@&=+$," and "#%[]" included.
KQ_EXPORT std::string URLEncodedString(std::string_view text);

// File sizes (NSString+KQFoundationFileSize.cpp)

/// KQUFileSize(bytes).description(): "1.5 KB" with a no-break space, "1 byte",
/// "0 bytes".
KQ_EXPORT std::string stringWithFileSize(std::uint64_t bytes);
/// The size by a KQUByteCountFormatter rounding to nearest, in steps of 1024,
/// with units bytes to TB: below 1 MB tenths of a megabyte once they round to
/// 0.1 MB (700000 gives "0.7 MB"), else whole KB or bytes; whole MB up to half
/// a gigabyte; from there "1 GB" (600 MB already rounds to it); tenths of GB
/// from one gigabyte; likewise "1 TB" from half a terabyte and tenths of TB
/// from one terabyte. The unit names are fixed English, the decimal separator
/// is the user's. nullopt when both flags are off.
KQ_EXPORT std::optional<std::string> compactFileSizeString(std::uint64_t bytes, bool includeCount,
                                                           bool includeUnits);

}  // namespace kq
