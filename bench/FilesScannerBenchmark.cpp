// The files scanner against find(1), and its peak memory on a large tree.
//
//   FilesScannerBenchmark compare [ENTRIES [PARENT]]   scanner with "path ENDSWITH[c] '.app'" against
//                                                      `find ROOT -iname '*.app'` on the same tree, same run
//                                                      (default 200000 entries; target ratio <= 1.3)
//   FilesScannerBenchmark rss [ENTRIES [PARENT]]       peak RSS of a scan in a separate process, next to
//                                                      the same scan of a 1000-entry tree (default 1000000
//                                                      entries; target < 64 MB)
//   FilesScannerBenchmark scan ROOT                    one scan; prints the number of matches
//   FilesScannerBenchmark generate ROOT ENTRIES        only makes a tree (for profiling)
//
// Trees are generated under PARENT (default /dev/shm, else $TMPDIR) and removed afterwards.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "KQFoundation/KQUFilesScanner.h"
#include "Support/BenchmarkSupport.h"

namespace {

std::string makeTree(std::size_t entries, const char* parentArgument) {
    std::string root = kqbench::parentFolder(parentArgument) + "/kq-files-scanner-XXXXXX";
    if (!mkdtemp(root.data())) {
        std::perror("mkdtemp");
        std::exit(1);
    }
    kqbench::generateApplicationTree(root, entries);
    return root;
}

class MatchCounter final : public KQUFilesScannerDelegate {
public:
    std::size_t matches = 0;
    void filesScannerDidFindItem(KQUFilesScanner&, const kq::URL&, const kq::URL&) override { ++matches; }
};

std::size_t scanForApplications(const std::string& root) {
    KQUFilesScanner scanner({kq::URL::fileURLWithPath(root, true)});
    scanner.setPredicate(kq::Predicate::predicateWithFormat("path ENDSWITH[c] '.app'"));
    MatchCounter counter;
    scanner.setDelegate(&counter);
    scanner.scan();
    return counter.matches;
}

int compare(std::size_t entries, const char* parent) {
    const std::string root = makeTree(entries, parent);
    std::size_t matches = scanForApplications(root);  // also warms the caches for both
    kqbench::runQuietly({"find", root, "-iname", "*.app"});

    constexpr int kRuns = 5;
    const double ours = kqbench::median(kRuns, [&] { matches = scanForApplications(root); });
    const double theirs = kqbench::median(kRuns, [&] { kqbench::runQuietly({"find", root, "-iname", "*.app"}); });
    std::printf("tree: %zu entries, %zu match \"path ENDSWITH[c] '.app'\"\n", entries, matches);
    std::printf("files scanner %.3f s   find -iname '*.app' %.3f s   ratio %.2f (target <= 1.3)\n", ours, theirs,
                ours / theirs);
    kqbench::runQuietly({"rm", "-rf", root});
    return 0;
}

/// Peak resident set of a scan of a fresh tree, in a process of its own.
long peakKilobytesOfScan(const char* self, std::size_t entries, const char* parent) {
    const std::string root = makeTree(entries, parent);
    rusage usage{};
    kqbench::runQuietly({self, "scan", root}, &usage);
    kqbench::runQuietly({"rm", "-rf", root});
    return usage.ru_maxrss;
}

int peakMemory(const char* self, std::size_t entries, const char* parent) {
    const long small = peakKilobytesOfScan(self, 1000, parent);
    const long large = peakKilobytesOfScan(self, entries, parent);
    std::printf("peak RSS of a scan: %.1f MB for %zu entries, %.1f MB for 1000 entries (target < 64 MB)\n",
                large / 1024.0, entries, small / 1024.0);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "compare";
    const char* parent = argc > 3 ? argv[3] : nullptr;
    if (mode == "scan" && argc > 2) {
        std::printf("%zu\n", scanForApplications(argv[2]));
        return 0;
    }
    if (mode == "generate" && argc > 3) {
        mkdir(argv[2], 0755);
        kqbench::generateApplicationTree(argv[2], std::strtoul(argv[3], nullptr, 10));
        return 0;
    }
    if (mode == "compare") return compare(argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 200000, parent);
    if (mode == "rss") return peakMemory(argv[0], argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 1000000, parent);
    std::fprintf(stderr, "usage: %s compare|rss [ENTRIES [PARENT]] | scan ROOT | generate ROOT ENTRIES\n", argv[0]);
    return 1;
}
