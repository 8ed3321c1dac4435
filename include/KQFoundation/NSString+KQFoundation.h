#pragma once
// NSString(KQFoundation): string helpers, as free functions on UTF-8 text.
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

}  // namespace kq
