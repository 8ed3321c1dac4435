#pragma once
// The kernel's virtual-memory page counters, in the shape of the platform's
// 32-bit and 64-bit statistics records (page counts, not bytes). Fields the
// library does not use are kept so the records stay recognisable; a backend
// that cannot supply one leaves it 0.
#include <cstdint>

#include "KQFoundation/Export.h"

namespace kq {

struct KQ_EXPORT VMStatistics {
    std::uint32_t free_count = 0;
    std::uint32_t active_count = 0;
    std::uint32_t inactive_count = 0;
    std::uint32_t wire_count = 0;
    std::uint32_t zero_fill_count = 0;
    std::uint32_t reactivations = 0;
    std::uint32_t pageins = 0;
    std::uint32_t pageouts = 0;
    std::uint32_t faults = 0;
    std::uint32_t cow_faults = 0;
    std::uint32_t lookups = 0;
    std::uint32_t hits = 0;
    std::uint32_t purgeable_count = 0;
    std::uint32_t speculative_count = 0;
};

struct KQ_EXPORT VMStatistics64 {
    std::uint32_t free_count = 0;
    std::uint32_t active_count = 0;
    std::uint32_t inactive_count = 0;
    std::uint32_t wire_count = 0;
    std::uint64_t zero_fill_count = 0;
    std::uint64_t reactivations = 0;
    std::uint64_t pageins = 0;
    std::uint64_t pageouts = 0;
    std::uint64_t faults = 0;
    std::uint64_t cow_faults = 0;
    std::uint64_t lookups = 0;
    std::uint64_t hits = 0;
    std::uint64_t purges = 0;
    std::uint32_t purgeable_count = 0;
    std::uint32_t speculative_count = 0;
    std::uint64_t decompressions = 0;
    std::uint64_t compressions = 0;
    std::uint64_t swapins = 0;
    std::uint64_t swapouts = 0;
    std::uint32_t compressor_page_count = 0;
    std::uint32_t throttled_count = 0;
    std::uint32_t external_page_count = 0;
    std::uint32_t internal_page_count = 0;
    std::uint64_t total_uncompressed_pages_in_compressor = 0;
};

}  // namespace kq
