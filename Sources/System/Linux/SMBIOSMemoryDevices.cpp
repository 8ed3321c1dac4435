#include "SMBIOSMemoryDevices.h"

#include <array>
#include <cstdint>
#include <string>

namespace kq {

namespace {

constexpr unsigned kMemoryDeviceType = 17;
constexpr unsigned kEndOfTableType = 127;

struct Structure {
    std::string_view formatted;          // type, length, handle and the fields
    std::vector<std::string_view> strings;  // 1-based in the table, 0-based here
};

std::uint16_t word(std::string_view bytes, std::size_t offset) {
    return static_cast<std::uint16_t>(static_cast<std::uint8_t>(bytes[offset]) |
                                      static_cast<std::uint8_t>(bytes[offset + 1]) << 8);
}

std::uint32_t doubleWord(std::string_view bytes, std::size_t offset) {
    return word(bytes, offset) | static_cast<std::uint32_t>(word(bytes, offset + 2)) << 16;
}

std::string stringField(const Structure& s, std::size_t offset) {
    if (offset >= s.formatted.size()) return {};
    const unsigned index = static_cast<std::uint8_t>(s.formatted[offset]);
    if (index == 0 || index > s.strings.size()) return {};
    std::string_view text = s.strings[index - 1];
    while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
    while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
    return std::string(text);
}

// Size in bytes: the 16-bit field counts MiB (or KiB with bit 15 set);
// 0x7fff points to the 32-bit extended size in MiB.
std::uint64_t moduleSize(const Structure& s) {
    if (s.formatted.size() < 0x0e) return 0;
    const std::uint16_t size = word(s.formatted, 0x0c);
    if (size == 0 || size == 0xffff) return 0;
    if (size == 0x7fff && s.formatted.size() >= 0x20)
        return static_cast<std::uint64_t>(doubleWord(s.formatted, 0x1c) & 0x7fffffff) << 20;
    if (size & 0x8000) return static_cast<std::uint64_t>(size & 0x7fff) << 10;
    return static_cast<std::uint64_t>(size) << 20;
}

std::uint32_t moduleSpeed(const Structure& s) {
    if (s.formatted.size() < 0x17) return 0;
    const std::uint16_t speed = word(s.formatted, 0x15);
    if (speed == 0xffff && s.formatted.size() >= 0x58) return doubleWord(s.formatted, 0x54);
    return speed == 0xffff ? 0 : speed;
}

}  // namespace

std::string_view smbiosMemoryTypeName(unsigned code) {
    static constexpr std::array<std::string_view, 0x25> names{
        "", "Other", "Unknown", "DRAM", "EDRAM", "VRAM", "SRAM", "RAM", "ROM", "Flash", "EEPROM", "FEPROM",
        "EPROM", "CDRAM", "3DRAM", "SDRAM", "SGRAM", "RDRAM", "DDR", "DDR2", "DDR2 FB-DIMM", "", "", "",
        "DDR3", "FBD2", "DDR4", "LPDDR", "LPDDR2", "LPDDR3", "LPDDR4", "Logical non-volatile device", "HBM",
        "HBM2", "DDR5", "LPDDR5", "HBM3"};
    return code < names.size() ? names[code] : std::string_view();
}

std::vector<MemoryModuleFact> memoryModulesFromSMBIOSTable(std::string_view table) {
    std::vector<MemoryModuleFact> modules;
    std::size_t offset = 0;
    while (offset + 4 <= table.size()) {
        const unsigned type = static_cast<std::uint8_t>(table[offset]);
        const std::size_t length = static_cast<std::uint8_t>(table[offset + 1]);
        if (length < 4 || offset + length > table.size()) return {};
        Structure s{table.substr(offset, length), {}};
        // The strings follow the formatted area and end with an empty string.
        std::size_t cursor = offset + length;
        const std::size_t end = table.find(std::string_view("\0\0", 2), cursor);
        if (end == std::string_view::npos) return {};
        if (end > cursor) {
            std::string_view strings = table.substr(cursor, end - cursor);
            std::size_t start = 0;
            while (start <= strings.size()) {
                const std::size_t nul = strings.find('\0', start);
                s.strings.push_back(strings.substr(start, nul == std::string_view::npos ? nul : nul - start));
                if (nul == std::string_view::npos) break;
                start = nul + 1;
            }
        }
        offset = end + 2;

        if (type == kEndOfTableType) break;
        if (type != kMemoryDeviceType || length < 0x15) continue;
        MemoryModuleFact module;
        const std::string device = stringField(s, 0x10);
        const std::string bank = stringField(s, 0x11);
        module.slotName = bank.empty() ? device : device.empty() ? bank : bank + "/" + device;
        module.sizeBytes = moduleSize(s);
        module.type = module.sizeBytes ? std::string(smbiosMemoryTypeName(static_cast<std::uint8_t>(s.formatted[0x12])))
                                       : "Empty";
        module.speedMHz = moduleSpeed(s);
        module.manufacturer = stringField(s, 0x17);
        module.serialNumber = stringField(s, 0x18);
        module.partNumber = stringField(s, 0x1a);
        modules.push_back(std::move(module));
    }
    return modules;
}

}  // namespace kq
