#pragma once
// Vendor and device names from the pci.ids database.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kq {

struct PCINames {
    std::optional<std::string> vendor;  // "Intel Corporation"
    std::optional<std::string> device;  // "UHD Graphics 620"
};

/// Looks the ids up in the text of a pci.ids file.
PCINames lookUpPCINames(std::string_view database, std::uint16_t vendorID, std::uint16_t deviceID);

/// The name a vendor goes by: "Intel Corporation" -> "Intel",
/// "Advanced Micro Devices, Inc. [AMD/ATI]" -> "AMD".
std::string shortVendorName(std::string_view vendor);

}  // namespace kq
