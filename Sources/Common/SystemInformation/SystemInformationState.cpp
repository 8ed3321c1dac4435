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

}  // namespace kq::systeminformation
