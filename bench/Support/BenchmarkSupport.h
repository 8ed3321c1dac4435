#pragma once
// What the comparison benchmarks share: timing, running a standard tool, and
// the generated tree of folders, files and "*.App" bundles they walk.
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
#include <deque>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

extern char** environ;

namespace kqbench {

using Clock = std::chrono::steady_clock;

inline double seconds(const std::function<void()>& body) {
    const auto start = Clock::now();
    body();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// Median of `runs` timings.
inline double median(int runs, const std::function<void()>& body) {
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) times.push_back(seconds(body));
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

/// Runs a program found on PATH with its output discarded; returns its wait
/// status, and its own resource use in `usage` when given.
inline int runQuietly(const std::vector<std::string>& arguments, rusage* usage = nullptr) {
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

/// Where generated trees go: the given folder, else a memory file system (the
/// walk is what is measured, not a shared disk), else the temporary folder.
inline std::string parentFolder(const char* argument) {
    if (argument) return argument;
    if (access("/dev/shm", W_OK) == 0) return "/dev/shm";
    return std::filesystem::temp_directory_path().string();
}

/// Folders of mixed width and depth, one in ten of them an "*.App" bundle
/// with contents, until `target` entries exist; returns the number made.
inline std::size_t generateApplicationTree(const std::string& root, std::size_t target) {
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
    return made;
}

}  // namespace kqbench
