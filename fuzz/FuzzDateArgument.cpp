// kqu's date arguments from arbitrary bytes: nothing crashes or reads past the
// text, a date read is finite, and "Z" means the same as "+00:00".
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "DateArgument.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto date = kqu::parseDateArgument(text);
    if (!date) return 0;
    if (!std::isfinite(date->time_since_epoch().count())) std::abort();
    if (!text.empty() && text.back() == 'Z') {
        const auto same = kqu::parseDateArgument(text.substr(0, text.size() - 1) + "+00:00");
        if (!same || *same != *date) std::abort();
    }
    return 0;
}
