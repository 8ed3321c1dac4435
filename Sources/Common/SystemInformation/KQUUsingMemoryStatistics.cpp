#include "KQFoundation/KQUUsingMemoryStatistics.h"

#include <cerrno>
#include <mutex>

#include "System/SystemFacts.h"
#include "SystemInformationState.h"

namespace state = kq::systeminformation;

namespace {
// Firmware reservations below this are noise, not memory kept from the system.
constexpr std::uint64_t kStolenMemoryThreshold = 0x8000000;  // 128 MiB
}  // namespace

KQUUsingMemoryStatistics& KQUUsingMemoryStatistics::sharedMemoryStatistics() {
    static KQUUsingMemoryStatistics* const shared = new KQUUsingMemoryStatistics();
    return *shared;
}

bool KQUUsingMemoryStatistics::getStatisticsData(kq::VMStatistics* statistics) const {
    if (!statistics) return true;
    const auto read = kq::SystemFacts::current()->vmStatistics();
    if (!read) return false;
    *statistics = *read;
    return true;
}

bool KQUUsingMemoryStatistics::getStatistics64Data(kq::VMStatistics64* statistics) const {
    if (!statistics) return true;
    const auto read = kq::SystemFacts::current()->vmStatistics64();
    if (!read) return false;
    *statistics = *read;
    return true;
}

std::uint64_t KQUUsingMemoryStatistics::pageSize() const {
    state::State& s = state::state();
    std::lock_guard lock(s.pageSizeMutex);
    if (!s.pageSizeFetched) {
        s.pageSizeFetched = true;
        kq::VMStatistics statistics{};
        // The page size is asked only once the counters proved readable.
        if (getStatisticsData(&statistics)) s.pageSize = kq::SystemFacts::current()->pageSize().value_or(0);
    }
    return s.pageSize;
}

std::uint64_t KQUUsingMemoryStatistics::stolenMemorySize() const {
    const auto facts = kq::SystemFacts::current();
    std::uint64_t total = 0;
    for (const char* name : {"machdep.memmap.Reserved", "machdep.memmap.Unusable", "machdep.memmap.Other"}) {
        std::uint64_t value = 0;
        const int result = facts->firmwareMemoryFigure(name, value);
        // A read counts only when its result equals errno: 0 and 0 in practice,
        // so an errno left over from an earlier call fails a good read too.
        if (result != errno) return 0;
        total += value;
    }
    return total < kStolenMemoryThreshold ? 0 : total;
}

std::uint64_t KQUUsingMemoryStatistics::wiredMemorySize() const {
    kq::VMStatistics statistics{};
    if (!getStatisticsData(&statistics)) return 0;
    return static_cast<std::uint64_t>(statistics.wire_count) * pageSize() + stolenMemorySize();
}

std::uint64_t KQUUsingMemoryStatistics::activeMemorySize() const {
    kq::VMStatistics statistics{};
    if (!getStatisticsData(&statistics)) return 0;
    return static_cast<std::uint64_t>(statistics.active_count) * pageSize();
}

std::uint64_t KQUUsingMemoryStatistics::inactiveMemorySize() const {
    kq::VMStatistics statistics{};
    if (!getStatisticsData(&statistics)) return 0;
    return static_cast<std::uint64_t>(statistics.inactive_count) * pageSize();
}

std::uint64_t KQUUsingMemoryStatistics::compressedMemorySize() const {
    kq::VMStatistics64 statistics{};
    if (!getStatistics64Data(&statistics)) return 0;
    return static_cast<std::uint64_t>(statistics.compressor_page_count) * pageSize();
}

std::uint64_t KQUUsingMemoryStatistics::freeMemorySize() const {
    kq::VMStatistics statistics{};
    if (!getStatisticsData(&statistics)) return 0;
    return static_cast<std::uint64_t>(statistics.free_count) * pageSize();
}
