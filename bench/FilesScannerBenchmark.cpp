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

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;

/// Folders of mixed width and depth, one in ten of them an "*.App" bundle
/// with contents, until `target` entries exist.
void generateTree(const std::string& root, std::size_t target) {
    std::mt19937 random(20240601);
    std::deque<std::pair<std::string, int>> pending{{root, 0}};
    std::size_t made = 0;
    while (made < target && !pending.empty()) {
        auto [folder, depth] = pending.front();
        pending.pop_front();
        const int files = 3 + static_cast<int>(random() % 12);
        const int folders = depth < 12 ? 1 + static_cast<int>(random() % 4) : 0;
        for (int i = 0; i < files && made < target; ++i, ++made) {
            const std::string path = folder + "/file" + std::to_string(i) + (i % 3 ? ".txt" : ".plist");
            const int fd = open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
            if (fd >= 0) close(fd);
        }
        for (int i = 0; i < folders && made < target; ++i, ++made) {
            const bool bundle = random() % 10 == 0;
            const std::string path =
                folder + "/" + (bundle ? "Tool" : "folder") + std::to_string(i) + (bundle ? ".App" : "");
            mkdir(path.c_str(), 0755);
            pending.emplace_back(path, depth + 1);
        }
    }
}

std::string makeTree(std::size_t entries, const char* parentArgument) {
    const std::string parent = parentArgument                ? parentArgument
                               : access("/dev/shm", W_OK) == 0 ? "/dev/shm"
                                                               : std::filesystem::temp_directory_path().string();
    std::string root = parent + "/kq-files-scanner-XXXXXX";
    if (!mkdtemp(root.data())) {
        std::perror("mkdtemp");
        std::exit(1);
    }
    generateTree(root, entries);
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

/// Runs the program and returns its exit status; `usage` receives its own resource use.
int runProcess(const std::vector<std::string>& arguments, rusage* usage = nullptr) {
    std::vector<char*> argv;
    for (const auto& a : arguments) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t pid;
    if (posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ) != 0) {
        std::perror(argv[0]);
        std::exit(1);
    }
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    rusage ignored{};
    wait4(pid, &status, 0, usage ? usage : &ignored);
    return status;
}

double seconds(const std::function<void()>& body) {
    const auto start = Clock::now();
    body();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

double median(int runs, const std::function<void()>& body) {
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) times.push_back(seconds(body));
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

int compare(std::size_t entries, const char* parent) {
    const std::string root = makeTree(entries, parent);
    std::size_t matches = scanForApplications(root);  // also warms the caches for both
    runProcess({"find", root, "-iname", "*.app"});

    constexpr int kRuns = 5;
    const double ours = median(kRuns, [&] { matches = scanForApplications(root); });
    const double theirs = median(kRuns, [&] { runProcess({"find", root, "-iname", "*.app"}); });
    std::printf("tree: %zu entries, %zu match \"path ENDSWITH[c] '.app'\"\n", entries, matches);
    std::printf("files scanner %.3f s   find -iname '*.app' %.3f s   ratio %.2f (target <= 1.3)\n", ours, theirs,
                ours / theirs);
    runProcess({"rm", "-rf", root});
    return 0;
}

/// Peak resident set of a scan of a fresh tree, in a process of its own.
long peakKilobytesOfScan(const char* self, std::size_t entries, const char* parent) {
    const std::string root = makeTree(entries, parent);
    rusage usage{};
    runProcess({self, "scan", root}, &usage);
    runProcess({"rm", "-rf", root});
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
        generateTree(argv[2], std::strtoul(argv[3], nullptr, 10));
        return 0;
    }
    if (mode == "compare") return compare(argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 200000, parent);
    if (mode == "rss") return peakMemory(argv[0], argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 1000000, parent);
    std::fprintf(stderr, "usage: %s compare|rss [ENTRIES [PARENT]] | scan ROOT | generate ROOT ENTRIES\n", argv[0]);
    return 1;
}
