#include <gtest/gtest.h>

#include <random>

#include "Common/Encodings/CRC32.h"
#include "KQFoundation/NSData+CRC32Hashing.h"

namespace {

const kq::Data kCheck{'1', '2', '3', '4', '5', '6', '7', '8', '9'};

TEST(NSDataCRC32HashingTests, KnownValues) {
    EXPECT_EQ(kq::CRC32ForBytes("123456789", 9), 0xCBF43926u);
    EXPECT_EQ(kq::CRC32WithPolynomial(kCheck, 0x82F63B78), 0xE3069283u);  // Castagnoli
    EXPECT_EQ(kq::CRC32WithSeed(kCheck, 0, 0xEDB88320), 0xD202D277u);  // the register starts at 0
    const auto table = kq::createCRC32TableWithPolynomial(0xEDB88320);
    EXPECT_EQ(table[0], 0u);
    EXPECT_EQ(table[1], 0x77073096u);
    EXPECT_EQ(table[255], 0x2D02EF8Du);
}

TEST(NSDataCRC32HashingTests, ChecksumsContinueWithTheComplementAsSeed) {
    const kq::Data head{'1', '2', '3', '4'}, tail{'5', '6', '7', '8', '9'};
    EXPECT_EQ(kq::CRC32WithSeed(tail, ~kq::CRC32(head)), 0xCBF43926u);
    EXPECT_EQ(kq::CRC32WithSeed(tail, ~kq::CRC32WithPolynomial(head, 0x82F63B78), 0x82F63B78), 0xE3069283u);
}

TEST(NSDataCRC32HashingTests, FastPathMatchesTheTableForAnySeedAndLength) {
    std::mt19937 generator(42);
    kq::Data data(5000);
    for (auto& b : data) b = std::uint8_t(generator());
    for (int round = 0; round < 200; ++round) {
        const std::size_t offset = generator() % 16, length = generator() % (data.size() - 16);
        const std::uint32_t seed = round < 3 ? std::uint32_t(-round) : std::uint32_t(generator());
        ASSERT_EQ(kq::CRC32ForBytes(data.data() + offset, length, seed, 0xEDB88320),
                  kq::detail::tableCRC32(data.data() + offset, length, seed, 0xEDB88320))
            << "offset " << offset << " length " << length << " seed " << seed;
    }
}

}  // namespace
