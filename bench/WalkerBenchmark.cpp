// Times kq::FileManager::enumeratorAtPath against find(1) on the same
// generated tree, in the same run: a plain walk against `find ROOT`, and a
// walk that picks out "*.app" against `find ROOT -iname '*.app'`.
//
//   WalkerBenchmark [ENTRIES [PARENT_FOLDER]]    (default 200000 entries under /dev/shm or $TMPDIR)
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "KQFoundation/Platform/FileManager.h"

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;

/// Folders of mixed width and depth, some of them "*.app" bundles, until
/// `target` entries exist.
std::size_t generateTree(const std::string& root, std::size_t target) {
    std::mt19937 random(20240601);
    std::deque<std::pair<std::string, int>> pending{{root, 0}};
    std::size_t made = 0;
    while (made < target && !pending.empty()) {
        auto [folder, depth] = pending.front();
        pending.pop_front();
        const int files = 3 + static_cast<int>(random() % 12);
        const int folders = depth < 12 ? 1 + static_cast<int>(random() % 4) : 0;
        for (int i = 0; i < files && made < target; ++i, ++made) {
            std::string path = folder + "/file" + std::to_string(i) + (i % 3 ? ".txt" : ".plist");
            int fd = open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
            if (fd >= 0) close(fd);
        }
        for (int i = 0; i < folders && made < target; ++i, ++made) {
            bool bundle = random() % 10 == 0;
            std::string path = folder + "/" + (bundle ? "Tool" : "folder") + std::to_string(i) + (bundle ? ".App" : "");
            mkdir(path.c_str(), 0755);
            pending.emplace_back(path, depth + 1);
        }
    }
    return made;
}

double seconds(const std::function<void()>& body) {
    auto start = Clock::now();
    body();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// Median of `runs` timings.
double median(int runs, const std::function<void()>& body) {
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) times.push_back(seconds(body));
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

/// Runs a tool found on PATH with its output discarded.
void runCommand(const std::vector<std::string>& arguments) {
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
    int status;
    waitpid(pid, &status, 0);
}

bool endsWithAppIgnoringCase(const std::string& path) {
    if (path.size() < 4) return false;
    const char* tail = path.c_str() + path.size() - 4;
    return tail[0] == '.' && (tail[1] | 0x20) == 'a' && (tail[2] | 0x20) == 'p' && (tail[3] | 0x20) == 'p';
}

}  // namespace

int main(int argc, char** argv) {
    const std::size_t target = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 200000;
    // A memory file system by default: the walk is what is measured, and
    // creating and removing the tree there does not wait for a shared disk.
    std::string parent = argc > 2                          ? argv[2]
                         : access("/dev/shm", W_OK) == 0 ? "/dev/shm"
                                                         : std::filesystem::temp_directory_path().string();
    std::string root = parent + "/kq-walker-XXXXXX";
    if (!mkdtemp(root.data())) {
        std::perror("mkdtemp");
        return 1;
    }

    double generation = seconds([&] { generateTree(root, target); });
    auto& fm = kq::FileManager::defaultManager();
    std::size_t entries = 0, apps = 0;
    auto walk = [&] {
        entries = 0;
        auto enumerator = fm.enumeratorAtPath(root);
        while (auto path = enumerator->nextObject()) ++entries;
    };
    auto walkApps = [&] {
        apps = 0;
        auto enumerator = fm.enumeratorAtPath(root);
        while (auto path = enumerator->nextObject())
            if (endsWithAppIgnoringCase(*path)) ++apps;
    };

    // Warm the caches for both sides before timing.
    walk();
    runCommand({"find", root});

    constexpr int kRuns = 3;
    double ours = median(kRuns, walk);
    double theirs = median(kRuns, [&] { runCommand({"find", root}); });
    double oursApps = median(kRuns, walkApps);
    double theirsApps = median(kRuns, [&] { runCommand({"find", root, "-iname", "*.app"}); });

    std::printf("tree: %zu entries in %s (generated in %.2f s), %zu *.app folders\n", entries, parent.c_str(),
                generation, apps);
    std::printf("walk all       enumerator %.3f s   find %.3f s   ratio %.2f\n", ours, theirs, ours / theirs);
    std::printf("walk *.app     enumerator %.3f s   find -iname %.3f s   ratio %.2f\n", oursApps, theirsApps,
                oursApps / theirsApps);

    double removal = seconds([&] { runCommand({"rm", "-rf", root}); });
    std::printf("removed the tree in %.2f s\n", removal);
    return 0;
}
