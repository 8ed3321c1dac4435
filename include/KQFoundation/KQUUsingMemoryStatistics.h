#pragma once
// KQUUsingMemoryStatistics: how the physical memory is used, in bytes (wired,
// active, inactive, compressed, free, and what the firmware keeps for itself).
// Every size reads the kernel's page counters afresh; a failed read gives 0.
#include <cstdint>

#include "KQFoundation/Export.h"
#include "KQFoundation/System/VMStatistics.h"

class KQ_EXPORT KQUUsingMemoryStatistics {
public:
    /// The one shared instance, created on first use.
    static KQUUsingMemoryStatistics& sharedMemoryStatistics();

    /// Fills the record; false when the kernel call fails. A null record
    /// returns true at once without reading anything.
    bool getStatisticsData(kq::VMStatistics* statistics) const;
    bool getStatistics64Data(kq::VMStatistics64* statistics) const;

    /// Bytes per page, fetched once per process (0 when the counters could not be read then).
    std::uint64_t pageSize() const;

    /// Firmware-reserved memory; sums below 128 MiB count as 0.
    std::uint64_t stolenMemorySize() const;
    /// Wired pages plus the stolen memory.
    std::uint64_t wiredMemorySize() const;
    std::uint64_t activeMemorySize() const;
    std::uint64_t inactiveMemorySize() const;
    std::uint64_t compressedMemorySize() const;
    std::uint64_t freeMemorySize() const;

    KQUUsingMemoryStatistics(const KQUUsingMemoryStatistics&) = delete;
    KQUUsingMemoryStatistics& operator=(const KQUUsingMemoryStatistics&) = delete;

private:
    KQUUsingMemoryStatistics() = default;
};
