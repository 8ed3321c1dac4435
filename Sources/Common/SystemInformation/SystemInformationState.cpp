#include "SystemInformationState.h"

#include <cstdint>

namespace kq::systeminformation {

State& state() {
    static State* const instance = new State();
    return *instance;
}

void resetForTesting() {
    State& s = state();
    {
        std::lock_guard lock(s.mutex);
        s.macAddress.reset();
        s.macAddressString.reset();
        s.systemVersionString.reset();
        s.marketingModelName.reset();
        ++s.generation;
        s.systemProfilerPath.reset();
        s.productDescriptionServiceURL.reset();
        s.productDescriptionServiceURLSet = false;
    }
    {
        std::lock_guard lock(s.memorySizeStringMutex);
        s.memorySizeStringComputed = false;
        s.memorySizeString.clear();
    }
    std::lock_guard lock(s.pageSizeMutex);
    s.pageSizeFetched = false;
    s.pageSize = 0;
}

namespace {
// Length of the UTF-8 sequence starting at text[i] and its UTF-16 length; 0 when malformed.
std::pair<std::size_t, std::size_t> sequenceAt(std::string_view text, std::size_t i) {
    const auto byte = [&](std::size_t k) { return static_cast<std::uint8_t>(text[k]); };
    const std::uint8_t lead = byte(i);
    if (lead < 0x80) return {1, 1};
    std::size_t length = 0;
    std::uint32_t codePoint = 0;
    if ((lead & 0xe0) == 0xc0) {
        length = 2;
        codePoint = lead & 0x1f;
    } else if ((lead & 0xf0) == 0xe0) {
        length = 3;
        codePoint = lead & 0x0f;
    } else if ((lead & 0xf8) == 0xf0) {
        length = 4;
        codePoint = lead & 0x07;
    } else {
        return {0, 0};
    }
    if (i + length > text.size()) return {0, 0};
    for (std::size_t k = 1; k < length; ++k) {
        if ((byte(i + k) & 0xc0) != 0x80) return {0, 0};
        codePoint = codePoint << 6 | (byte(i + k) & 0x3f);
    }
    static constexpr std::uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (codePoint < kSmallest[length] || codePoint > 0x10ffff || (codePoint >= 0xd800 && codePoint <= 0xdfff))
        return {0, 0};
    return {length, codePoint >= 0x10000 ? 2 : 1};
}
}  // namespace

bool isValidUTF8(std::string_view text) {
    for (std::size_t i = 0; i < text.size();) {
        const auto [length, units] = sequenceAt(text, i);
        if (length == 0) return false;
        i += length;
    }
    return true;
}

std::optional<std::string> substringFromUTF16Index(std::string_view text, std::size_t index) {
    std::size_t units = 0;
    std::size_t i = 0;
    while (i < text.size() && units < index) {
        const auto [length, width] = sequenceAt(text, i);
        i += length ? length : 1;
        units += length ? width : 1;
    }
    if (units < index) return std::nullopt;
    return std::string(text.substr(i));
}

}  // namespace kq::systeminformation
