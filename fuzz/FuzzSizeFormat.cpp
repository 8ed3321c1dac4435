// Size formats as a strings table may give them, numbers read back from text,
// and byte counts with any precision and round mode.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "Common/Formatting/LocalizedNumberFormat.h"
#include "KQFoundation/KQUByteCountFormatter.h"
#include "KQFoundation/KQUFileSize.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 10) return 0;
    std::uint64_t count;
    std::memcpy(&count, data, sizeof count);
    double real;
    std::memcpy(&real, data, sizeof real);
    const auto precision = static_cast<std::int64_t>(static_cast<std::int8_t>(data[8]));
    const std::uint64_t mode = data[9] & 3;
    const std::string_view text(reinterpret_cast<const char*>(data + 10), size - 10);

    (void)kq::detail::formatNumber(text, count, true);
    (void)kq::detail::formatNumber(text, real, false);
    (void)kq::detail::leadingDoubleValue(text);

    KQUByteCountFormatter formatter;
    formatter.setFormats({{data[9] % 5, precision}, {0, 0}});
    formatter.setRoundMode(mode);
    formatter.setCountStyle(data[9] & 4);
    (void)formatter.stringFromByteCount(count);
    (void)formatter.normalizeValue(real, static_cast<std::uint64_t>(precision));
    kq::Value parsed;
    formatter.getObjectValue(&parsed, text, nullptr);

    (void)KQUFileSize(count, data[8], data[9] & 8).description();
    return 0;
}
