#pragma once
// A display's identity and preferred mode from its EDID block.
#include <optional>
#include <string_view>

#include "System/SystemFacts.h"

namespace kq {

/// Name (the monitor-name descriptor), preferred resolution, manufacturer
/// and product ids, serial number and date of manufacture. nullopt when the
/// bytes are not an EDID block (fewer than 128 bytes or a wrong header).
std::optional<DisplayFact> displayFromEDID(std::string_view edid);

}  // namespace kq
