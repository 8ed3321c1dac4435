#include "KQFoundation/NSData+CRC32Hashing.h"

#include <algorithm>
#include <new>

#include "Common/Encodings/CRC32.h"
#include "Common/Encodings/CompressionLibrary.h"

namespace kq {

std::unique_ptr<std::uint32_t[]> createCRC32TableWithPolynomial(std::uint32_t polynomial) {
    std::unique_ptr<std::uint32_t[]> table(new (std::nothrow) std::uint32_t[256]);
    if (!table) return nullptr;
    for (std::uint32_t i = 0; i < 256; ++i) {
        std::uint32_t value = i;
        for (int bit = 0; bit < 8; ++bit) value = (value & 1) ? (value >> 1) ^ polynomial : value >> 1;
        table[i] = value;
    }
    return table;
}

std::uint32_t detail::tableCRC32(const void* bytes, std::size_t length, std::uint32_t seed,
                                 std::uint32_t polynomial) {
    const auto table = createCRC32TableWithPolynomial(polynomial);
    if (!table) return ~seed;
    std::uint32_t crc = seed;
    const auto* p = static_cast<const std::uint8_t*>(bytes);
    for (std::size_t i = 0; i < length; ++i) crc = (crc >> 8) ^ table[(crc ^ p[i]) & 0xFF];
    return ~crc;
}

std::uint32_t CRC32ForBytes(const void* bytes, std::size_t length, std::uint32_t seed, std::uint32_t polynomial) {
    const auto* z = detail::compressionLibrary();
    if (polynomial != kCRC32DefaultPolynomial || !z) return detail::tableCRC32(bytes, length, seed, polynomial);
    // zlib's crc32 takes a previous result, complements it into the register
    // and complements again at the end: handing it ~seed starts the register at seed.
    uLong crc = ~seed & 0xFFFFFFFFul;
    const auto* p = static_cast<const Bytef*>(bytes);
    constexpr std::size_t kPiece = std::size_t{1} << 30;  // its length is 32-bit
    while (length > 0) {
        const std::size_t n = std::min(length, kPiece);
        crc = z->crc32(crc, p, uInt(n));
        p += n;
        length -= n;
    }
    return std::uint32_t(crc);
}

std::uint32_t CRC32ForBytes(const void* bytes, std::size_t length) {
    return CRC32ForBytes(bytes, length, kCRC32DefaultSeed, kCRC32DefaultPolynomial);
}

std::uint32_t CRC32(const Data& data) {
    return CRC32ForBytes(data.data(), data.size());
}

std::uint32_t CRC32WithSeed(const Data& data, std::uint32_t seed) {
    return CRC32ForBytes(data.data(), data.size(), seed, kCRC32DefaultPolynomial);
}

std::uint32_t CRC32WithPolynomial(const Data& data, std::uint32_t polynomial) {
    return CRC32ForBytes(data.data(), data.size(), kCRC32DefaultSeed, polynomial);
}

std::uint32_t CRC32WithSeed(const Data& data, std::uint32_t seed, std::uint32_t polynomial) {
    return CRC32ForBytes(data.data(), data.size(), seed, polynomial);
}

}  // namespace kq
