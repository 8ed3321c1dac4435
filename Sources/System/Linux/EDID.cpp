#include "EDID.h"

#include <cstdint>
#include <string>

namespace kq {

namespace {

std::uint8_t byteAt(std::string_view b, std::size_t i) { return static_cast<std::uint8_t>(b[i]); }

std::string descriptorText(std::string_view descriptor) {
    std::string text;
    for (std::size_t i = 5; i < 18; ++i) {
        const char c = descriptor[i];
        if (c == '\n' || c == '\0') break;
        text.push_back(c);
    }
    while (!text.empty() && text.back() == ' ') text.pop_back();
    return text;
}

}  // namespace

std::optional<DisplayFact> displayFromEDID(std::string_view edid) {
    static constexpr std::string_view kHeader("\x00\xff\xff\xff\xff\xff\xff\x00", 8);
    if (edid.size() < 128 || edid.substr(0, 8) != kHeader) return std::nullopt;
    DisplayFact display;
    display.vendorNumber = static_cast<std::uint16_t>(byteAt(edid, 8) << 8 | byteAt(edid, 9));
    display.productNumber = static_cast<std::uint16_t>(byteAt(edid, 10) | byteAt(edid, 11) << 8);
    display.serialNumber = static_cast<std::uint32_t>(byteAt(edid, 12)) | static_cast<std::uint32_t>(byteAt(edid, 13)) << 8 |
                           static_cast<std::uint32_t>(byteAt(edid, 14)) << 16 |
                           static_cast<std::uint32_t>(byteAt(edid, 15)) << 24;
    const std::uint8_t week = byteAt(edid, 16);
    // Week 0xff marks the year as a model year; weeks beyond 54 are not weeks.
    display.weekOfManufacture = week <= 54 ? week : 0;
    display.yearOfManufacture = 1990u + byteAt(edid, 17);

    bool haveMode = false;
    for (std::size_t offset = 54; offset < 126; offset += 18) {
        std::string_view d = edid.substr(offset, 18);
        if (byteAt(d, 0) != 0 || byteAt(d, 1) != 0) {
            // The first detailed timing is the preferred mode.
            if (!haveMode) {
                display.width = byteAt(d, 2) | (byteAt(d, 4) & 0xf0u) << 4;
                display.height = byteAt(d, 5) | (byteAt(d, 7) & 0xf0u) << 4;
                haveMode = true;
            }
        } else if (byteAt(d, 3) == 0xfc) {
            display.name = descriptorText(d);
        }
    }
    return display;
}

}  // namespace kq
