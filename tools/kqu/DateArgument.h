#pragma once
// Dates given on kqu's command line.
#include <optional>
#include <string_view>

#include "KQFoundation/Foundation/Value.h"

namespace kqu {

/// A date and time in ISO 8601: YYYY-MM-DD, "T" (or a space), hh:mm, then
/// optionally :ss and a fraction, then optionally Z, +hh:mm, +hhmm or +hh (or
/// "-"). Without a zone it is the local time of the TZ setting. nullopt for
/// anything else, impossible days and times included.
std::optional<kq::Date> parseDateArgument(std::string_view text);

}  // namespace kqu
