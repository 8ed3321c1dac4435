// Times kq::FileManager::sizeOfItemAtPath against `du -sb --apparent-size`
// (the same logical sum, plus the folders' own sizes, which du counts and we
// do not) on the same generated tree, in the same run, and checks that both
// sums agree. Target: ratio <= 1.2.
//
//   SizeBenchmark [ENTRIES [PARENT_FOLDER]]    (default 200000 entries under /dev/shm or $TMPDIR)
#include <fcntl.h>
#include <sys/stat.h>
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

#include "KQFoundation/NSFileManager+KQFoundation.h"
#include "Support/BenchmarkSupport.h"

namespace {

struct Tree {
    std::size_t entries = 0;
    std::uint64_t folderBytes = 0;  // what du adds for the folders themselves
};

/// Files of assorted logical sizes (sparse, so making them is cheap), folders
/// and symbolic links, until `target` entries exist below `root`.
Tree generateTree(const std::string& root, std::size_t target) {
    std::mt19937 random(20240601);
    std::deque<std::pair<std::string, int>> pending{{root, 0}};
    Tree tree;
    while (tree.entries < target && !pending.empty()) {
        auto [folder, depth] = pending.front();
        pending.pop_front();
        const int files = 3 + static_cast<int>(random() % 12);
        const int folders = depth < 12 ? 1 + static_cast<int>(random() % 4) : 0;
        for (int i = 0; i < files && tree.entries < target; ++i, ++tree.entries) {
            const std::string path = folder + "/file" + std::to_string(i);
            if (i == 5) {
                symlink("file0", path.c_str());
                continue;
            }
            const int fd = open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
            if (fd < 0) continue;
            if (ftruncate(fd, static_cast<off_t>(random() % 100000)) != 0) std::perror("ftruncate");
            close(fd);
        }
        for (int i = 0; i < folders && tree.entries < target; ++i, ++tree.entries) {
            const std::string path = folder + "/folder" + std::to_string(i);
            mkdir(path.c_str(), 0755);
            pending.emplace_back(path, depth + 1);
        }
    }
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root))
        if (entry.is_directory() && !entry.is_symlink()) {
            struct stat info {};
            if (lstat(entry.path().c_str(), &info) == 0) tree.folderBytes += static_cast<std::uint64_t>(info.st_size);
        }
    struct stat info {};
    if (lstat(root.c_str(), &info) == 0) tree.folderBytes += static_cast<std::uint64_t>(info.st_size);
    return tree;
}

/// du's byte count for the tree.
std::uint64_t du(const std::string& root) {
    const std::string command = "du -sb --apparent-size '" + root + "'";
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) {
        std::perror("du");
        std::exit(1);
    }
    unsigned long long bytes = 0;
    if (std::fscanf(pipe, "%llu", &bytes) != 1) bytes = 0;
    pclose(pipe);
    return bytes;
}

}  // namespace

int main(int argc, char** argv) {
    const std::size_t target = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 200000;
    const std::string parent = kqbench::parentFolder(argc > 2 ? argv[2] : nullptr);
    std::string root = parent + "/kq-size-XXXXXX";
    if (!mkdtemp(root.data())) {
        std::perror("mkdtemp");
        return 1;
    }

    Tree tree;
    const double generation = kqbench::seconds([&] { tree = generateTree(root, target); });
    const kq::FileManager& fileManager = kq::FileManager::defaultManager();
    std::uint64_t ours = 0, theirs = 0;
    // Warm the caches for both sides before timing.
    ours = fileManager.sizeOfItemAtPath(root);
    theirs = du(root);

    constexpr int kRuns = 5;
    const double oursTime = kqbench::median(kRuns, [&] { ours = fileManager.sizeOfItemAtPath(root); });
    const double theirsTime = kqbench::median(kRuns, [&] { theirs = du(root); });

    std::printf("tree: %zu entries in %s (generated in %.2f s)\n", tree.entries, parent.c_str(), generation);
    std::printf("sizeOfItemAtPath %.3f s   du -sb --apparent-size %.3f s   ratio %.2f (target <= 1.20)\n", oursTime,
                theirsTime, oursTime / theirsTime);
    const bool agree = ours + tree.folderBytes == theirs;
    std::printf("sums: ours %llu + folders %llu %s du %llu\n", static_cast<unsigned long long>(ours),
                static_cast<unsigned long long>(tree.folderBytes), agree ? "==" : "!=",
                static_cast<unsigned long long>(theirs));

    std::filesystem::remove_all(root);
    return agree ? 0 : 1;
}
