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

#include "KQFoundation/System/FileManager.h"
#include "Support/BenchmarkSupport.h"

namespace {

bool endsWithAppIgnoringCase(const std::string& path) {
    if (path.size() < 4) return false;
    const char* tail = path.c_str() + path.size() - 4;
    return tail[0] == '.' && (tail[1] | 0x20) == 'a' && (tail[2] | 0x20) == 'p' && (tail[3] | 0x20) == 'p';
}

}  // namespace

int main(int argc, char** argv) {
    const std::size_t target = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 200000;
    const std::string parent = kqbench::parentFolder(argc > 2 ? argv[2] : nullptr);
    std::string root = parent + "/kq-walker-XXXXXX";
    if (!mkdtemp(root.data())) {
        std::perror("mkdtemp");
        return 1;
    }

    double generation = kqbench::seconds([&] { kqbench::generateApplicationTree(root, target); });
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
    kqbench::runQuietly({"find", root});

    constexpr int kRuns = 3;
    double ours = kqbench::median(kRuns, walk);
    double theirs = kqbench::median(kRuns, [&] { kqbench::runQuietly({"find", root}); });
    double oursApps = kqbench::median(kRuns, walkApps);
    double theirsApps = kqbench::median(kRuns, [&] { kqbench::runQuietly({"find", root, "-iname", "*.app"}); });

    std::printf("tree: %zu entries in %s (generated in %.2f s), %zu *.app folders\n", entries, parent.c_str(),
                generation, apps);
    std::printf("walk all       enumerator %.3f s   find %.3f s   ratio %.2f\n", ours, theirs, ours / theirs);
    std::printf("walk *.app     enumerator %.3f s   find -iname %.3f s   ratio %.2f\n", oursApps, theirsApps,
                oursApps / theirsApps);

    double removal = kqbench::seconds([&] { kqbench::runQuietly({"rm", "-rf", root}); });
    std::printf("removed the tree in %.2f s\n", removal);
    return 0;
}
