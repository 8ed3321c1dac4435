#include "KQFoundation/KQUTask.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <thread>

#include "KQFoundation/Foundation/Log.h"
#include "Support/TemporaryDirectory.h"

namespace {

using namespace std::chrono_literals;
constexpr auto kBound = 30s;

// Everything a run hands back, in arrival order.
struct Recorder {
    std::mutex mutex;
    std::condition_variable changed;
    std::string output, error;
    std::size_t outputBytes = 0, errorBytes = 0;
    std::string events;  // 'o', 'e', 'c' per chunk or completion
    std::vector<std::int32_t> statusSeenWhenComplete;
    int completions = 0;
    bool emptyChunk = false;
    bool keepBytes = true;
    std::set<std::thread::id> threads;

    explicit Recorder(KQUTask& task, bool captureOutput = true) {
        auto handler = [this](char kind) {
            return [this, kind](KQUTask& t, const kq::Data& chunk) {
                std::lock_guard lock(mutex);
                threads.insert(std::this_thread::get_id());
                emptyChunk |= chunk.empty();
                if (events.empty() || events.back() != kind) events += kind;
                (kind == 'o' ? outputBytes : errorBytes) += chunk.size();
                if (keepBytes) (kind == 'o' ? output : error).append(chunk.begin(), chunk.end());
                if (t.complete()) statusSeenWhenComplete.push_back(t.terminationStatus());
            };
        };
        if (captureOutput) task.setOutputHandler(handler('o'));
        task.setErrorHandler(handler('e'));
        task.setCompletionBlock([this] {
            std::lock_guard lock(mutex);
            threads.insert(std::this_thread::get_id());
            events += 'c';
            ++completions;
            changed.notify_all();
        });
    }
    bool waitForCompletion() {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, kBound, [this] { return completions > 0; });
    }
    bool launchAndWait(KQUTask& task) {
        task.launch();
        return waitForCompletion();
    }
};

std::shared_ptr<KQUTask> makeTask(std::string path, std::vector<std::string> arguments = {}) {
    auto task = KQUTask::create();
    task->setLaunchPath(std::move(path));
    task->setArguments(std::move(arguments));
    return task;
}

std::shared_ptr<KQUTask> shell(const std::string& script, std::vector<std::string> more = {}) {
    std::vector<std::string> arguments{"-c", script};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return makeTask("/bin/sh", std::move(arguments));
}

template <class Predicate>
bool eventually(Predicate predicate) {
    const auto deadline = std::chrono::steady_clock::now() + kBound;
    while (!predicate()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

std::set<int> openDescriptors(bool withoutCloseOnExecOnly = false) {
    std::set<int> fds;
    DIR* dir = opendir("/proc/self/fd");
    if (!dir) return fds;
    const int own = dirfd(dir);
    while (dirent* entry = readdir(dir)) {
        if (entry->d_name[0] == '.') continue;
        const int fd = std::stoi(entry->d_name);
        if (fd == own) continue;
        if (withoutCloseOnExecOnly && (fcntl(fd, F_GETFD) & FD_CLOEXEC)) continue;
        fds.insert(fd);
    }
    closedir(dir);
    return fds;
}

TEST(KQUTask, DeliversEverythingInOrderAndFinalChunksAfterTheStatus) {
    kqtest::TemporaryDirectory folder;
    const std::string outFifo = folder / "out", errFifo = folder / "err";
    ASSERT_EQ(mkfifo(outFifo.c_str(), 0600), 0);
    ASSERT_EQ(mkfifo(errFifo.c_str(), 0600), 0);
    // The shell exits at once; its background readers keep both pipes open,
    // so what the test writes into the fifos arrives only in the final reads.
    auto task = shell("printf early; cat \"$0\" & cat \"$1\" >&2 & exit 3", {outFifo, errFifo});
    Recorder recorder(*task);
    task->launch();
    ASSERT_TRUE(eventually([&] { return task->complete(); }));
    EXPECT_EQ(task->terminationStatus(), 3);
    // Standard error's bytes are written first, yet standard output's final chunks come first.
    for (const auto& [path, bytes] : {std::pair{errFifo, "late error"}, std::pair{outFifo, "late"}}) {
        std::ofstream(path) << bytes;
    }
    ASSERT_TRUE(recorder.waitForCompletion());
    std::lock_guard lock(recorder.mutex);
    EXPECT_EQ(recorder.output, "earlylate");
    EXPECT_EQ(recorder.error, "late error");
    EXPECT_EQ(recorder.events.substr(recorder.events.size() - 3), "oec");
    EXPECT_EQ(recorder.completions, 1);
    EXPECT_FALSE(recorder.emptyChunk);
    EXPECT_EQ(recorder.threads.size(), 1u);  // handlers and completion on the run's thread
    ASSERT_FALSE(recorder.statusSeenWhenComplete.empty());
    for (std::int32_t status : recorder.statusSeenWhenComplete) EXPECT_EQ(status, 3);
}

TEST(KQUTask, GivenEnvironmentReplacesOurs) {
    auto task = shell("printf '%s|%s' \"$GREETING\" \"${HOME-unset}\"; exit 5");
    task->setEnvironment(std::vector<std::pair<std::string, std::string>>{{"GREETING", "hello world"}});
    Recorder recorder(*task);
    ASSERT_TRUE(recorder.launchAndWait(*task));
    EXPECT_EQ(recorder.output, "hello world|unset");
    EXPECT_EQ(task->terminationStatus(), 5);
    EXPECT_GT(task->processIdentifier(), 0);
}

TEST(KQUTask, LaunchingTwiceStartsOneChild) {
    kqtest::TemporaryDirectory folder;
    auto task = shell("echo x >> \"$0\"", {folder / "runs"});
    Recorder recorder(*task);
    std::thread other([&] { task->launch(); });
    task->launch();
    other.join();
    ASSERT_TRUE(recorder.waitForCompletion());
    task->launch();
    EXPECT_EQ(kqtest::readText(folder / "runs"), "x\n");
    EXPECT_EQ(recorder.completions, 1);
}

TEST(KQUTask, TerminatesBeforeAndDuringTheRun) {
    auto early = makeTask("/bin/sleep", {"30"});
    Recorder earlyRecorder(*early);
    early->terminate();
    early->launch();

    auto running = makeTask("/bin/sleep", {"30"});
    Recorder runningRecorder(*running);
    running->launch();
    ASSERT_TRUE(eventually([&] { return running->processIdentifier() != 0; }));
    running->terminate();

    ASSERT_TRUE(earlyRecorder.waitForCompletion());
    ASSERT_TRUE(runningRecorder.waitForCompletion());
    EXPECT_TRUE(early->terminated());
    EXPECT_EQ(early->terminationStatus(), 128 + SIGTERM);
    EXPECT_EQ(running->terminationStatus(), 128 + SIGTERM);
    running->terminate();  // after the end: nothing to signal, nothing breaks
}

TEST(KQUTask, ChildThatCannotStartReports127) {
    kqtest::TemporaryDirectory folder;
    using Environment = std::vector<std::pair<std::string, std::string>>;
    struct Case {
        std::string path;
        std::vector<std::string> arguments;
        std::optional<Environment> environment;
    };
    // A bare name is not looked up on the search path; text the kernel would
    // cut at a NUL or misread as another variable is refused, not passed on.
    const std::string nul("a\0b", 3);
    for (const Case& c : std::initializer_list<Case>{
             {folder.writeFile("script", "#!/bin/sh\n"), {}, {}},
             {"sh", {}, {}},
             {"/bin/true" + nul, {}, {}},
             {"/bin/echo", {"x", nul}, {}},
             {"/bin/true", {}, Environment{{"A", nul}}},
             {"/bin/true", {}, Environment{{"PATH=/tmp:", "x"}}},
             {"/bin/true", {}, Environment{{"", "x"}}},
         }) {
        const std::string& path = c.path;
        kq::LogCapture log;
        auto task = makeTask(path, c.arguments);
        task->setEnvironment(c.environment);
        Recorder recorder(*task);
        ASSERT_TRUE(recorder.launchAndWait(*task));
        EXPECT_EQ(task->terminationStatus(), 127);
        EXPECT_EQ(recorder.events, "c");
        ASSERT_EQ(log.lines().size(), 1u);
        EXPECT_EQ(log.lines()[0].rfind("KQUTask: cannot launch " + path + ": ", 0), 0u) << log.lines()[0];
    }
}

TEST(KQUTask, StreamWithoutHandlerIsInherited) {
    char ours[PATH_MAX] = {};
    ASSERT_GT(readlink("/proc/self/fd/1", ours, sizeof ours - 1), 0);
    auto task = shell("target=$(readlink /proc/$$/fd/1); echo \"$target\" >&2");
    Recorder recorder(*task, /*captureOutput=*/false);
    ASSERT_TRUE(recorder.launchAndWait(*task));
    EXPECT_EQ(recorder.error, std::string(ours) + "\n");
    EXPECT_EQ(recorder.outputBytes, 0u);
}

TEST(KQUTask, ChildFillingBothOutputsWithoutReadingInputDoesNotDeadlock) {
    constexpr std::size_t kBytes = 100'000'000;
    auto task = shell("head -c $0 /dev/zero >&2 & head -c $0 /dev/zero; wait", {std::to_string(kBytes)});
    task->setInputData(kq::Data(4 << 20, 'x'));
    Recorder recorder(*task);
    recorder.keepBytes = false;
    ASSERT_TRUE(recorder.launchAndWait(*task));
    EXPECT_EQ(recorder.outputBytes, kBytes);
    EXPECT_EQ(recorder.errorBytes, kBytes);
    EXPECT_EQ(task->terminationStatus(), 0);
}

TEST(KQUTask, LeaksNoDescriptorsIntoChildrenOrThisProcess) {
    {
        // The event-loop library opens a few descriptors once per process.
        auto warmUp = makeTask("/bin/true");
        ASSERT_TRUE(Recorder(*warmUp).launchAndWait(*warmUp));
    }
    const auto before = openDescriptors();
    // A run holding its pipes open while a second child lists what it got.
    auto holder = shell("cat >/dev/null; exec sleep 30");
    holder->setInputData(kq::Data(1 << 20, 'y'));
    Recorder holderRecorder(*holder);
    holderRecorder.keepBytes = false;
    holder->launch();
    ASSERT_TRUE(eventually([&] { return holder->processIdentifier() != 0; }));
    const auto inheritable = openDescriptors(/*withoutCloseOnExecOnly=*/true);
    auto lister = shell("ls /proc/$$/fd");
    lister->setInputData(kq::Data{'z'});
    Recorder listerRecorder(*lister);
    ASSERT_TRUE(listerRecorder.launchAndWait(*lister));
    holder->terminate();
    ASSERT_TRUE(holderRecorder.waitForCompletion());
    std::istringstream listed(listerRecorder.output);
    for (int fd; listed >> fd;)
        EXPECT_TRUE(fd <= 2 || inheritable.count(fd)) << "descriptor " << fd << " leaked into a child";
    // The runs' threads let go of their event loops as they exit.
    // (Earlier tests' threads may still be closing theirs: only new ones count.)
    EXPECT_TRUE(eventually([&] {
        const auto now = openDescriptors();
        return std::includes(before.begin(), before.end(), now.begin(), now.end());
    }));
}

TEST(KQUTask, ReleasedTaskStillCompletes) {
    auto task = shell("printf done");
    std::weak_ptr<KQUTask> weak = task;
    Recorder recorder(*task);
    task->launch();
    task.reset();
    ASSERT_TRUE(recorder.waitForCompletion());
    EXPECT_EQ(recorder.output, "done");
    EXPECT_TRUE(eventually([&] { return weak.expired(); }));
}

}  // namespace
