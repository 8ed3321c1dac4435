#pragma once
// Base64 (RFC 4648, standard alphabet, "=" padding): data in property lists,
// JSON output and, later, encrypted records.
#include <optional>
#include <string>
#include <string_view>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Value.h"

namespace kq {

/// The data as base64 text, padded, without line breaks.
KQ_EXPORT std::string base64EncodedString(const Data& data);
/// The data of base64 text; spaces, tabs and line breaks are skipped. nullopt
/// for any other character, text after the padding, or a lone final character.
KQ_EXPORT std::optional<Data> dataFromBase64String(std::string_view text);

}  // namespace kq
