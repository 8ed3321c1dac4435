#include "System/UserLocale.h"

#include <cstdlib>
#include <string_view>

namespace kq::detail {

// The POSIX environment, which both Linux and macOS programs started from a
// shell carry; a macOS backend may prefer the user's region setting.
std::string systemNumberLocaleIdentifier() {
    // The C library's order: LC_ALL overrides LC_NUMERIC, which overrides LANG.
    for (const char* variable : {"LC_ALL", "LC_NUMERIC", "LANG"}) {
        const char* value = std::getenv(variable);
        if (!value || !*value) continue;
        std::string_view name(value);
        name = name.substr(0, name.find_first_of(".@"));
        if (name == "C" || name == "POSIX") return {};
        return std::string(name);
    }
    return {};
}

}  // namespace kq::detail
