#include "PCIIDs.h"

#include "LinuxFiles.h"

namespace kq {

namespace {

std::optional<std::uint16_t> hexID(std::string_view text) {
    if (text.size() < 4) return std::nullopt;
    auto value = linuxfiles::parseNumber(text.substr(0, 4), true);
    if (!value) return std::nullopt;
    return static_cast<std::uint16_t>(*value);
}

}  // namespace

PCINames lookUpPCINames(std::string_view database, std::uint16_t vendorID, std::uint16_t deviceID) {
    PCINames names;
    bool inVendor = false;
    for (std::string_view line : linuxfiles::split(database, '\n')) {
        if (line.empty() || line.front() == '#') continue;
        if (line.front() != '\t') {
            if (inVendor) break;
            // The device classes come after all vendors.
            if (line.starts_with("C ")) break;
            if (hexID(line) == vendorID && line.size() > 6) {
                names.vendor = std::string(linuxfiles::trim(line.substr(4)));
                inVendor = true;
            }
        } else if (inVendor && line.size() > 7 && line[1] != '\t' && hexID(line.substr(1)) == deviceID) {
            names.device = std::string(linuxfiles::trim(line.substr(5)));
            break;
        }
    }
    return names;
}

std::string shortVendorName(std::string_view vendor) {
    vendor = linuxfiles::trim(vendor);
    if (const std::size_t open = vendor.find('['); open != std::string_view::npos) {
        const std::size_t close = vendor.find(']', open);
        std::string_view inside = vendor.substr(open + 1, close == std::string_view::npos ? close : close - open - 1);
        inside = inside.substr(0, inside.find('/'));
        if (!linuxfiles::trim(inside).empty()) return std::string(linuxfiles::trim(inside));
        vendor = linuxfiles::trim(vendor.substr(0, open));
    }
    for (std::string_view suffix : {" Corporation", " Corp.", ", Inc.", " Inc.", " Co., Ltd.", " Ltd.", " GmbH", " AG"}) {
        if (vendor.ends_with(suffix)) {
            vendor.remove_suffix(suffix.size());
            break;
        }
    }
    return std::string(linuxfiles::trim(vendor));
}

}  // namespace kq
