// The typed-argument formatter against snprintf on the same conversions, and
// a localized number string with its strings lookup, in one run.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

#include "KQFoundation/KQULocalizedNumberString.h"

namespace {

void snprintfConversions(benchmark::State& state) {
    char buffer[256];
    int count = 0;
    for (auto _ : state) {
        std::snprintf(buffer, sizeof buffer, "%d files in %s (%.1f%%), %lu left, %08x", ++count, "Documents", 12.34,
                      7ul, 0xBEEFu);
        benchmark::DoNotOptimize(buffer);
    }
}
BENCHMARK(snprintfConversions);

void formatWithArguments(benchmark::State& state) {
    int count = 0;
    for (auto _ : state) {
        const kq::FormatArgument arguments[] = {++count, "Documents", 12.34, 7ul, 0xBEEFu};
        benchmark::DoNotOptimize(
            kq::formatWithArguments("%d files in %s (%.1f%%), %lu left, %08x", arguments));
    }
}
BENCHMARK(formatWithArguments);

namespace fs = std::filesystem;
const fs::path kFolder = fs::temp_directory_path() / ("kq-format-benchmark-" + std::to_string(::getpid()));

/// A Russian application with the five tagged entries, in a temporary folder.
std::shared_ptr<kq::Bundle> russianBundle() {
    const fs::path& folder = kFolder;
    fs::create_directories(folder / "ru.lproj");
    std::ofstream(folder / "ru.lproj/Localizable.strings")
        << "\"[=0]%?d files\" = \"нет файлов\";\n\"[=1]%?d files\" = \"один файл\";\n"
           "\"[One]%?d files\" = \"%d файл\";\n\"[Few]%?d files\" = \"%d файла\";\n"
           "\"[Many]%?d files\" = \"%d файлов\";\n";
    ::setenv("LANGUAGE", "ru", 1);
    return kq::Bundle::bundleWithPath(folder.string());
}

void localizedNumberString(benchmark::State& state) {
    static const auto bundle = russianBundle();
    kq::Bundle::setMainBundle(bundle);
    int count = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(KQULocalizedNumberStringWithFormat(nullptr, "%?d files", ++count));
    }
    kq::Bundle::setMainBundle(nullptr);
    std::error_code ignored;
    fs::remove_all(kFolder, ignored);  // the bundle keeps the table it read
}
BENCHMARK(localizedNumberString);

}  // namespace

BENCHMARK_MAIN();
