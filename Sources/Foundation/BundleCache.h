#pragma once
// What a kq::Bundle reads lazily and keeps for its life. Guarded by its own
// locks, not the bundle's monitor, so plain (unwrapped) use is thread-safe too.
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "KQFoundation/Foundation/Bundle.h"

namespace kq {

struct Bundle::Cache {
    std::once_flag infoOnce;
    Dictionary info;

    std::once_flag localizationsOnce;
    std::vector<std::string> localizations;

    std::mutex tablesMutex;
    // Relative path of a strings file -> its table (nullopt: missing or unreadable).
    // Entries are never removed, so pointers into the map stay valid.
    std::map<std::string, std::optional<Dictionary>, std::less<>> tables;
};

}  // namespace kq
