#pragma once
// Memory modules from the firmware's SMBIOS structure table (the "Memory
// Device" structures, type 17), as Linux exposes it in
// /sys/firmware/dmi/tables/DMI.
#include <string_view>
#include <vector>

#include "System/SystemFacts.h"

namespace kq {

/// The memory slots of the table, in table order; empty for a malformed or truncated table.
std::vector<MemoryModuleFact> memoryModulesFromSMBIOSTable(std::string_view table);

/// "DDR4", "LPDDR5"... for an SMBIOS memory type code; "" when it has no name.
std::string_view smbiosMemoryTypeName(unsigned code);

}  // namespace kq
