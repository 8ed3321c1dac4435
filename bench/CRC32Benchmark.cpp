// CRC-32 throughput: the default polynomial (the compression library's crc32)
// against the byte-wise table path every other polynomial takes. Target for
// the default polynomial: >= 1 GB/s.
#include <benchmark/benchmark.h>

#include <random>

#include "Common/Encodings/CRC32.h"
#include "KQFoundation/NSData+CRC32Hashing.h"

namespace {

kq::Data randomData(std::size_t size) {
    std::mt19937_64 random(1);
    kq::Data data(size);
    for (auto& b : data) b = std::uint8_t(random());
    return data;
}

void DefaultPolynomial(benchmark::State& state) {
    const auto data = randomData(std::size_t(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(kq::CRC32(data));
    state.SetBytesProcessed(std::int64_t(state.iterations()) * state.range(0));
}

void TablePathDefaultPolynomial(benchmark::State& state) {
    const auto data = randomData(std::size_t(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(kq::detail::tableCRC32(data.data(), data.size(), kq::kCRC32DefaultSeed,
                                                        kq::kCRC32DefaultPolynomial));
    state.SetBytesProcessed(std::int64_t(state.iterations()) * state.range(0));
}

void OtherPolynomial(benchmark::State& state) {
    const auto data = randomData(std::size_t(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(kq::CRC32WithPolynomial(data, 0x82F63B78));
    state.SetBytesProcessed(std::int64_t(state.iterations()) * state.range(0));
}

BENCHMARK(DefaultPolynomial)->Arg(64)->Arg(4096)->Arg(1 << 20)->Arg(16 << 20);
BENCHMARK(TablePathDefaultPolynomial)->Arg(4096)->Arg(1 << 20);
BENCHMARK(OtherPolynomial)->Arg(4096)->Arg(1 << 20);

}  // namespace

BENCHMARK_MAIN();
