#pragma once
// The table-driven CRC-32, also for the default polynomial, so tests can
// check the fast path against it.
#include <cstddef>
#include <cstdint>

namespace kq::detail {

std::uint32_t tableCRC32(const void* bytes, std::size_t length, std::uint32_t seed, std::uint32_t polynomial);

}  // namespace kq::detail
