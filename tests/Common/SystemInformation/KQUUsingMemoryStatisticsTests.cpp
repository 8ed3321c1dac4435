#include "KQFoundation/KQUUsingMemoryStatistics.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <tuple>

#include "FakeSystemFacts.h"

namespace {

class MemoryStatisticsTest : public kqtest::SystemInformationTest {
protected:
    void SetUp() override {
        SystemInformationTest::SetUp();
        kq::VMStatistics counters;
        counters.free_count = 100;
        counters.active_count = 200;
        counters.inactive_count = 300;
        counters.wire_count = 400;
        facts->statistics = counters;
        kq::VMStatistics64 counters64;
        counters64.compressor_page_count = 50;
        facts->statistics64 = counters64;
        facts->page = 16384;
        errno = 0;
    }
    const KQUUsingMemoryStatistics& statistics = KQUUsingMemoryStatistics::sharedMemoryStatistics();
};

TEST_F(MemoryStatisticsTest, SizesArePageCountsTimesAPageSizeFetchedOnce) {
    // No firmware figures: nothing stolen from wired memory.
    EXPECT_EQ(std::make_tuple(statistics.pageSize(), statistics.freeMemorySize(), statistics.activeMemorySize(),
                              statistics.inactiveMemorySize(), statistics.compressedMemorySize(), statistics.wiredMemorySize()),
              std::make_tuple(16384u, 100u * 16384, 200u * 16384, 300u * 16384, 50u * 16384, 400u * 16384));
    facts->page = 4096;
    EXPECT_EQ(statistics.pageSize(), 16384u);
    EXPECT_EQ(facts->pageSizeQueries, 1);
}

TEST_F(MemoryStatisticsTest, UnreadableCountersGiveZeroAndLeaveThePageSizeZeroForGood) {
    facts->statistics.reset();
    facts->statistics64.reset();
    EXPECT_EQ(statistics.pageSize(), 0u);
    EXPECT_EQ(facts->pageSizeQueries, 0);
    EXPECT_EQ(statistics.freeMemorySize(), 0u);
    EXPECT_EQ(statistics.wiredMemorySize(), 0u);
    kq::VMStatistics record;
    kq::VMStatistics64 record64;
    EXPECT_FALSE(statistics.getStatisticsData(&record) || statistics.getStatistics64Data(&record64));
    // A null record is accepted without reading.
    EXPECT_TRUE(statistics.getStatisticsData(nullptr));
    EXPECT_TRUE(statistics.getStatistics64Data(nullptr));

    facts->statistics = kq::VMStatistics{};
    facts->statistics->active_count = 10;
    facts->statistics64 = kq::VMStatistics64{};
    facts->statistics64->compressor_page_count = 10;
    EXPECT_EQ(statistics.activeMemorySize(), 0u);
    EXPECT_EQ(statistics.compressedMemorySize(), 0u);
    // Only the stolen part of wired memory survives.
    facts->firmware = {{"machdep.memmap.Reserved", 0x10000000}, {"machdep.memmap.Unusable", 0}, {"machdep.memmap.Other", 0}};
    EXPECT_EQ(statistics.wiredMemorySize(), 0x10000000u);
}

TEST_F(MemoryStatisticsTest, StolenMemoryBelow128MiBOrAfterAnyErrorCountsAsNone) {
    facts->firmware = {{"machdep.memmap.Reserved", 134217000}, {"machdep.memmap.Unusable", 700}, {"machdep.memmap.Other", 27}};
    EXPECT_EQ(statistics.stolenMemorySize(), 0u);
    facts->firmware["machdep.memmap.Other"] = 28;
    EXPECT_EQ(statistics.stolenMemorySize(), 134217728u);
    EXPECT_EQ(statistics.wiredMemorySize(), 400u * 16384 + 134217728u);

    // Any failed figure, or an errno left over, gives none.
    facts->firmware = {{"machdep.memmap.Reserved", 1ull << 30}, {"machdep.memmap.Other", 1ull << 30}};
    EXPECT_EQ(statistics.stolenMemorySize(), 0u);
    facts->firmware["machdep.memmap.Unusable"] = 0;
    // The failed read left ENOENT behind, which fails the next good read too.
    EXPECT_EQ(statistics.stolenMemorySize(), 0u);
    errno = 0;
    EXPECT_EQ(statistics.stolenMemorySize(), 2ull << 30);
    // A stale error number fails a read that worked.
    errno = EINVAL;
    EXPECT_EQ(statistics.stolenMemorySize(), 0u);
}

}  // namespace
