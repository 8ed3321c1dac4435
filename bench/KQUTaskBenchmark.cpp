// KQUTask against the bare system calls, in the same run:
// - start-to-completion latency of /bin/true, against posix_spawn + waitpid
//   (target: within 1.5 times);
// - 1 GB through /bin/cat into the output handler, against `cat FILE >
//   /dev/null` (target: >= 1 GB/s or within 1.3 times).
// The file is made under /dev/shm (when it exists) and removed afterwards.
#include <benchmark/benchmark.h>

#include <condition_variable>
#include <cstdio>
#include <fstream>
#include <mutex>
#include <random>

#include "KQFoundation/KQUTask.h"
#include "Support/BenchmarkSupport.h"

namespace {

constexpr std::size_t kCatBytes = std::size_t(1) << 30;

// Runs the task and waits for its completion block.
void runToCompletion(const std::shared_ptr<KQUTask>& task) {
    std::mutex mutex;
    std::condition_variable finished;
    bool done = false;
    task->setCompletionBlock([&] {
        std::lock_guard lock(mutex);
        done = true;
        finished.notify_all();
    });
    task->launch();
    std::unique_lock lock(mutex);
    finished.wait(lock, [&] { return done; });
}

// posix_spawn with optional stdout redirected to a file, then waitpid.
void spawnAndWait(const char* path, std::vector<std::string> arguments, const char* stdoutPath = nullptr) {
    arguments.insert(arguments.begin(), path);
    std::vector<char*> argv;
    for (auto& a : arguments) argv.push_back(a.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (stdoutPath) posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, stdoutPath, O_WRONLY, 0);
    pid_t pid = 0;
    if (posix_spawn(&pid, path, &actions, nullptr, argv.data(), environ) == 0) {
        int status = 0;
        waitpid(pid, &status, 0);
    }
    posix_spawn_file_actions_destroy(&actions);
}

struct CatFile {
    std::string path;
    CatFile() {
        const char* folder = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        path = std::string(folder) + "/kq-task-bench-" + std::to_string(getpid());
        std::vector<char> block(1 << 20);
        std::mt19937_64 random(3);
        for (auto& b : block) b = char(random());
        std::ofstream out(path, std::ios::binary);
        for (std::size_t written = 0; written < kCatBytes; written += block.size()) out.write(block.data(), block.size());
    }
    ~CatFile() { std::remove(path.c_str()); }
};

const CatFile& catFile() {
    static const CatFile file;
    return file;
}

void TaskTrue(benchmark::State& state) {
    for (auto _ : state) {
        auto task = KQUTask::create();
        task->setLaunchPath("/bin/true");
        runToCompletion(task);
    }
}

void SpawnTrue(benchmark::State& state) {
    for (auto _ : state) spawnAndWait("/bin/true", {});
}

void TaskCatThroughOutputHandler(benchmark::State& state) {
    const std::string& path = catFile().path;
    std::size_t received = 0;
    for (auto _ : state) {
        auto task = KQUTask::create();
        task->setLaunchPath("/bin/cat");
        task->setArguments(std::vector<std::string>{path});
        task->setOutputHandler([&](KQUTask&, const kq::Data& chunk) { received += chunk.size(); });
        runToCompletion(task);
    }
    if (received != kCatBytes * state.iterations()) state.SkipWithError("bytes went missing");
    state.SetBytesProcessed(std::int64_t(kCatBytes) * state.iterations());
}

void CatToDevNull(benchmark::State& state) {
    const std::string& path = catFile().path;
    for (auto _ : state) spawnAndWait("/bin/cat", {path}, "/dev/null");
    state.SetBytesProcessed(std::int64_t(kCatBytes) * state.iterations());
}

BENCHMARK(TaskTrue)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(SpawnTrue)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(TaskCatThroughOutputHandler)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(CatToDevNull)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

}  // namespace

BENCHMARK_MAIN();
