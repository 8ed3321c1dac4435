#include "KQFoundation/NSString+KQFoundation.h"

#include <array>
#include <cstdint>
#include <random>

namespace kq {

std::string stringWithUUID() {
    std::random_device source;
    std::array<std::uint8_t, 16> bytes{};
    for (std::size_t i = 0; i < bytes.size(); i += 4) {
        const std::uint32_t word = source();
        for (std::size_t k = 0; k < 4; ++k) bytes[i + k] = static_cast<std::uint8_t>(word >> (8 * k));
    }
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(36);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
        text += kHex[bytes[i] >> 4];
        text += kHex[bytes[i] & 0x0F];
    }
    return text;
}

std::vector<std::string> componentsSeparatedByNewLine(std::string_view text) {
    std::vector<std::string> lines;
    lines.reserve(10);
    std::size_t start = 0;
    std::size_t i = 0;
    while (i < text.size()) {
        std::size_t terminator = 0;
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte == '\n') {
            terminator = 1;
        } else if (byte == '\r') {
            terminator = i + 1 < text.size() && text[i + 1] == '\n' ? 2 : 1;
        } else if (byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) == 0x85) {
            terminator = 2;  // U+0085
        } else if (byte == 0xE2 && i + 2 < text.size() && static_cast<unsigned char>(text[i + 1]) == 0x80 &&
                   (static_cast<unsigned char>(text[i + 2]) == 0xA8 || static_cast<unsigned char>(text[i + 2]) == 0xA9)) {
            terminator = 3;  // U+2028, U+2029
        }
        if (terminator == 0) {
            ++i;
            continue;
        }
        lines.emplace_back(text.substr(start, i - start));
        i += terminator;
        start = i;
    }
    if (start < text.size()) lines.emplace_back(text.substr(start));
    return lines;
}

std::string URLEncodedString(std::string_view text) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(text.size() * 3);
    for (char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        const bool keep = (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9') ||
                          std::string_view("-._~!*'()").find(c) != std::string_view::npos;
        if (keep) {
            out += c;
        } else {
            out += '%';
            out += kHex[byte >> 4];
            out += kHex[byte & 0x0F];
        }
    }
    return out;
}

}  // namespace kq
