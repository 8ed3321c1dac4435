#include "KQFoundation/Foundation/Base64.h"

#include <cstdint>

namespace kq {

std::string base64EncodedString(const Data& data) {
    static constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    out.reserve((data.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < data.size(); i += 3) {
        const std::uint32_t chunk = static_cast<std::uint32_t>(data[i]) << 16 |
                                    (i + 1 < data.size() ? static_cast<std::uint32_t>(data[i + 1]) << 8 : 0) |
                                    (i + 2 < data.size() ? data[i + 2] : 0);
        out.push_back(kAlphabet[chunk >> 18 & 63]);
        out.push_back(kAlphabet[chunk >> 12 & 63]);
        out.push_back(i + 1 < data.size() ? kAlphabet[chunk >> 6 & 63] : '=');
        out.push_back(i + 2 < data.size() ? kAlphabet[chunk & 63] : '=');
    }
    return out;
}

std::optional<Data> dataFromBase64String(std::string_view text) {
    Data out;
    std::uint32_t bits = 0;
    int count = 0;
    bool padded = false;
    for (char c : text) {
        int v;
        if (c >= 'A' && c <= 'Z') v = c - 'A';
        else if (c >= 'a' && c <= 'z') v = c - 'a' + 26;
        else if (c >= '0' && c <= '9') v = c - '0' + 52;
        else if (c == '+') v = 62;
        else if (c == '/') v = 63;
        else if (c == '=') { padded = true; continue; }
        else if (c == ' ' || c == '\t' || c == '\n' || c == '\r') continue;
        else return std::nullopt;
        if (padded) return std::nullopt;  // data after the padding
        bits = bits << 6 | static_cast<std::uint32_t>(v);
        if (++count == 4) {
            out.push_back(static_cast<std::uint8_t>(bits >> 16));
            out.push_back(static_cast<std::uint8_t>(bits >> 8));
            out.push_back(static_cast<std::uint8_t>(bits));
            bits = 0;
            count = 0;
        }
    }
    if (count == 1) return std::nullopt;
    if (count >= 2) out.push_back(static_cast<std::uint8_t>(bits >> (count == 2 ? 4 : 10)));
    if (count == 3) out.push_back(static_cast<std::uint8_t>(bits >> 2));
    return out;
}

}  // namespace kq
