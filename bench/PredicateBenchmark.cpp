// The files scanner evaluates "path ENDSWITH[c] '.app'" once per directory
// entry, so that evaluation must stay close to a bare suffix compare and
// allocate nothing for ASCII paths. "allocs/eval" reports heap allocations
// per evaluation (counted by the replaced operator new below).
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>
#include <strings.h>
#include <vector>

#include "KQFoundation/Predicate/Predicate.h"
#include "KQFoundation/Foundation/URL.h"

namespace {
std::atomic<long> gAllocations{0};
}

// The replacements pair malloc with free; GCC cannot see that through the
// inlined calls and warns about a mismatch that is not there.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

void* operator new(std::size_t size) {
    gAllocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

namespace {

// Paths shaped like a walk of /Applications and ~/Library; with nonASCII, a
// fifth of the names end in non-ASCII letters and take the ICU path.
std::vector<std::string> samplePaths(bool nonASCII) {
    const char* folders[] = {"/Applications", "/Users/someone/Library/Application Support/Example",
                             "/Users/someone/Library/Caches/com.example.Editor/fsCachedData",
                             "/Applications/Editor.app/Contents/Resources/en.lproj"};
    const char* names[] = {"Editor.app", "Info.plist", "PkgInfo", "MainMenu.nib", "Preview.APP", "icon.icns",
                           "com.example.Editor.plist", "Contents", "Résumé", "Straße"};
    std::vector<std::string> paths;
    for (int i = 0; i < 4096; ++i) {
        std::string name = names[i % (nonASCII ? 10 : 8)];
        paths.push_back(std::string(folders[i % 4]) + "/" + std::to_string(i) + "-" + name);
    }
    return paths;
}

std::vector<kq::URL> sampleURLs(bool nonASCII) {
    std::vector<kq::URL> urls;
    for (const auto& p : samplePaths(nonASCII)) urls.push_back(kq::URL::fileURLWithPath(p));
    return urls;
}

void reportPerItem(benchmark::State& state, long allocationsBefore) {
    state.SetItemsProcessed(state.iterations());
    state.counters["allocs/eval"] = benchmark::Counter(
        static_cast<double>(gAllocations.load() - allocationsBefore) / static_cast<double>(state.iterations()));
}

void BM_EndsWithCaseInsensitiveOnFileURL(benchmark::State& state) {
    const auto predicate = kq::Predicate::predicateWithFormat("path ENDSWITH[c] '.app'");
    const auto urls = sampleURLs(state.range(0) != 0);
    std::size_t i = 0, matches = 0;
    const long before = gAllocations.load();
    for (auto _ : state) {
        matches += predicate->evaluateWithObject(urls[i++ & 4095]);
    }
    reportPerItem(state, before);
    benchmark::DoNotOptimize(matches);
}
BENCHMARK(BM_EndsWithCaseInsensitiveOnFileURL)->Arg(0)->Arg(1)->ArgNames({"nonASCII"});

// The floor: a bare ASCII case-insensitive suffix test on the path strings.
void BM_BareSuffixCompare(benchmark::State& state) {
    const auto paths = samplePaths(false);
    std::size_t i = 0, matches = 0;
    const long before = gAllocations.load();
    for (auto _ : state) {
        const std::string& p = paths[i++ & 4095];
        matches += p.size() >= 4 && strncasecmp(p.c_str() + p.size() - 4, ".app", 4) == 0;
    }
    reportPerItem(state, before);
    benchmark::DoNotOptimize(matches);
}
BENCHMARK(BM_BareSuffixCompare);

// What the scanner pays per entry: make the entry's URL, then evaluate.
void BM_MakeFileURLAndEvaluate(benchmark::State& state) {
    const auto predicate = kq::Predicate::predicateWithFormat("path ENDSWITH[c] '.app'");
    const auto paths = samplePaths(false);
    std::size_t i = 0, matches = 0;
    const long before = gAllocations.load();
    for (auto _ : state) {
        matches += predicate->evaluateWithObject(kq::URL::fileURLWithPath(paths[i++ & 4095]));
    }
    reportPerItem(state, before);
    benchmark::DoNotOptimize(matches);
}
BENCHMARK(BM_MakeFileURLAndEvaluate);

// A knowledge-base style filter: several key paths, LIKE and NOT.
void BM_CompoundLeftoversFilter(benchmark::State& state) {
    const auto predicate = kq::Predicate::predicateWithFormat(
        "NOT lastPathComponent LIKE[c] 'com.example.*' AND (pathExtension == 'plist' OR path CONTAINS[c] '/caches/')");
    const auto urls = sampleURLs(false);
    std::size_t i = 0, matches = 0;
    const long before = gAllocations.load();
    for (auto _ : state) {
        matches += predicate->evaluateWithObject(urls[i++ & 4095]);
    }
    reportPerItem(state, before);
    benchmark::DoNotOptimize(matches);
}
BENCHMARK(BM_CompoundLeftoversFilter);

void BM_ParseFormat(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(kq::Predicate::predicateWithFormat(
            "path ENDSWITH[c] '.app' AND NOT (lastPathComponent BEGINSWITH '.') OR self IN {'a', 'b'}"));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ParseFormat);

}  // namespace

BENCHMARK_MAIN();
