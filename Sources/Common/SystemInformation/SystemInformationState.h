#pragma once
// Process-wide state of KQUSystemInformation and KQUUsingMemoryStatistics:
// the caches (filled once with a present value, never invalidated) and the
// two settings. Tests reset it between cases through resetForTesting().
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "KQFoundation/Foundation/Value.h"

namespace kq::systeminformation {

struct State {
    std::mutex mutex;
    std::optional<Data> macAddress;
    std::optional<std::string> macAddressString;
    std::optional<std::string> systemVersionString;
    // Computed once whatever its result.
    bool memorySizeStringComputed = false;
    std::string memorySizeString;
    std::mutex memorySizeStringMutex;
    // Written by the background model-name lookup, unless the state was
    // reset (generation changed) while it ran.
    std::optional<std::string> marketingModelName;
    std::uint64_t generation = 0;
    // Fetched once for the process, under its own guard.
    bool pageSizeFetched = false;
    std::uint64_t pageSize = 0;
    std::mutex pageSizeMutex;

    std::optional<std::string> systemProfilerPath;
    std::optional<std::string> productDescriptionServiceURL;
    bool productDescriptionServiceURLSet = false;
};

/// Lives for the whole process (never destroyed, so late background work finds it).
State& state();

/// Forgets every cache and setting.
void resetForTesting();

}  // namespace kq::systeminformation
