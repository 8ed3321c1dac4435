#pragma once
// NSData(CRC32Hashing): CRC-32 checksums of a byte buffer or a byte range,
// as free functions (the platform's data objects are kq::Data here).
//
// The register starts at the seed as given and the result is its complement,
// so with the defaults (seed 0xFFFFFFFF, reflected polynomial 0xEDB88320)
// this is the CRC-32 of zip and gzip: "123456789" gives 0xCBF43926, no bytes
// give 0. To continue an earlier checksum, pass the complement of its result
// as the seed. Never fails: when a table cannot be allocated the result is
// the complement of the seed.
//
// The default polynomial is computed by the compression library's crc32
// (same results for every seed; the table path where the library is missing).
// Any other polynomial builds a fresh 256-entry table per call.
#include <cstddef>
#include <cstdint>
#include <memory>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Value.h"

namespace kq {

inline constexpr std::uint32_t kCRC32DefaultSeed = 0xFFFFFFFF;
inline constexpr std::uint32_t kCRC32DefaultPolynomial = 0xEDB88320;

KQ_EXPORT std::uint32_t CRC32(const Data& data);
KQ_EXPORT std::uint32_t CRC32WithSeed(const Data& data, std::uint32_t seed);
KQ_EXPORT std::uint32_t CRC32WithPolynomial(const Data& data, std::uint32_t polynomial);
KQ_EXPORT std::uint32_t CRC32WithSeed(const Data& data, std::uint32_t seed, std::uint32_t polynomial);
KQ_EXPORT std::uint32_t CRC32ForBytes(const void* bytes, std::size_t length);
KQ_EXPORT std::uint32_t CRC32ForBytes(const void* bytes, std::size_t length, std::uint32_t seed,
                                      std::uint32_t polynomial);

/// A new table for the reflected polynomial: entry i is i shifted right 8
/// times, XOR-ing in the polynomial whenever a 1 is shifted out. nullptr when
/// it cannot be allocated.
KQ_EXPORT std::unique_ptr<std::uint32_t[]> createCRC32TableWithPolynomial(std::uint32_t polynomial);

}  // namespace kq
