// kqu run [--stdin FILE] [--cwd DIR] [--env K=V]... -- PROGRAM ARGS...: runs a
// program through KQUTask, streams its output and error as they arrive and
// exits with its status (127 when it cannot be started).
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ByteInput.h"
#include "Command.h"
#include "KQFoundation/KQUTask.h"
#include "ProgramPath.h"

extern char** environ;

namespace {

struct RunOptions {
    std::optional<std::string> stdinFile;
    std::optional<std::string> cwd;
    std::vector<std::string> env;
    std::vector<std::string> command;
};

// A reader that went away loses the rest; the child's status still decides.
void writeChunk(int fd, const kq::Data& chunk) { kqu::writeAllToDescriptor(fd, chunk.data(), chunk.size()); }

// The inherited environment with the --env settings on top.
std::vector<std::pair<std::string, std::string>> childEnvironment(const std::vector<std::string>& settings) {
    std::vector<std::pair<std::string, std::string>> environment;
    auto set = [&](std::string name, std::string value) {
        for (auto& entry : environment)
            if (entry.first == name) {
                entry.second = std::move(value);
                return;
            }
        environment.emplace_back(std::move(name), std::move(value));
    };
    for (char** e = environ; e && *e; ++e) {
        const std::string entry(*e);
        const std::size_t equals = entry.find('=');
        if (equals != std::string::npos) set(entry.substr(0, equals), entry.substr(equals + 1));
    }
    for (const std::string& setting : settings) {
        const std::size_t equals = setting.find('=');
        if (equals == std::string::npos || equals == 0)
            throw kqu::CommandFailure{kqu::kExitUsage, "--env wants NAME=VALUE, not '" + setting + "'"};
        set(setting.substr(0, equals), setting.substr(equals + 1));
    }
    return environment;
}

// A program that cannot be found is still handed to KQUTask, whose log line
// and status 127 report it.
std::string programPath(const std::string& program) {
    if (auto found = kqu::findProgram(program)) return *found;
    return program.find('/') == std::string::npos ? program : std::filesystem::absolute(program).lexically_normal().string();
}

int runProgram(const RunOptions& options) {
    auto task = KQUTask::create();
    task->setLaunchPath(programPath(options.command.front()));
    task->setArguments(std::vector<std::string>(options.command.begin() + 1, options.command.end()));
    if (!options.env.empty()) task->setEnvironment(childEnvironment(options.env));
    if (options.cwd) {
        if (options.cwd->empty()) throw kqu::CommandFailure{kqu::kExitUsage, "--cwd wants a folder, not ''"};
        task->setCurrentDirectoryPath(std::filesystem::absolute(*options.cwd).string());
    }
    if (options.stdinFile) task->setInputData(kqu::readInput(*options.stdinFile));
    task->setOutputHandler([](KQUTask&, const kq::Data& chunk) { writeChunk(STDOUT_FILENO, chunk); });
    task->setErrorHandler([](KQUTask&, const kq::Data& chunk) { writeChunk(STDERR_FILENO, chunk); });

    std::atomic<bool> done = false;
    const pthread_t waiter = pthread_self();
    task->setCompletionBlock([&] {
        done = true;
        pthread_kill(waiter, SIGCHLD);  // ends the wait below at once
    });
    // Taken here rather than by default handlers, so that killing kqu does not
    // leave the program running on its own. The run's thread inherits the
    // mask; the child starts with none blocked.
    sigset_t forwarded;
    sigemptyset(&forwarded);
    for (int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&forwarded, signal);
    sigset_t waited = forwarded;
    sigaddset(&waited, SIGCHLD);
    sigset_t previous;
    pthread_sigmask(SIG_BLOCK, &waited, &previous);
    task->launch();
    const timespec slice{1, 0};
    while (!done) {
        siginfo_t info{};
        const int signal = sigtimedwait(&waited, &info, &slice);
        // A terminal's own signal reaches the program's process group anyway.
        if (signal > 0 && sigismember(&forwarded, signal) && info.si_code != SI_KERNEL) task->terminate();
    }
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    return task->terminationStatus();
}

const kqu::CommandRegistration registration{{
    "run",
    "Run a program, stream its output and error, and exit with its status",
    [](CLI::App& app) -> std::function<int()> {
        auto options = std::make_shared<RunOptions>();
        app.add_option("--stdin", options->stdinFile, "Feed this file to the program's standard input");
        app.add_option("--cwd", options->cwd, "Run the program in this folder");
        app.add_option("--env", options->env, "Set NAME=VALUE in the program's environment (repeatable)")
            ->allow_extra_args(false);
        app.add_option("PROGRAM", options->command, "The program (looked up in $PATH without a slash) and its "
                                                    "arguments, after --")
            ->required();
        app.footer("Without --stdin the program reads kqu's own standard input. The exit status is the\n"
                   "program's, 128 + N when signal N ended it, and 127 when it cannot be started.\n"
                   "SIGINT, SIGTERM or SIGHUP sent to kqu terminates the program.");
        return [options] { return runProgram(*options); };
    },
}};

}  // namespace
