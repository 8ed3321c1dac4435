#include "System/ProcessRunner.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "KQFoundation/Foundation/Exceptions.h"

extern char** environ;

namespace kq {

namespace {

// Closes what it holds when it goes out of scope.
struct FileDescriptor {
    int fd = -1;
    ~FileDescriptor() { reset(); }
    void reset() {
        if (fd >= 0) ::close(fd);
        fd = -1;
    }
};

std::vector<std::string> childEnvironment(const ProcessOptions& options) {
    std::vector<std::string> entries;
    for (char** e = environ; e && *e; ++e) {
        std::string_view entry(*e);
        bool replaced = false;
        for (const auto& [name, value] : options.environment)
            if (entry.size() > name.size() && entry.substr(0, name.size()) == name && entry[name.size()] == '=')
                replaced = true;
        if (!replaced) entries.emplace_back(entry);
    }
    for (const auto& [name, value] : options.environment) entries.push_back(name + "=" + value);
    return entries;
}

std::vector<char*> pointersTo(std::vector<std::string>& strings) {
    std::vector<char*> pointers;
    pointers.reserve(strings.size() + 1);
    for (std::string& s : strings) pointers.push_back(s.data());
    pointers.push_back(nullptr);
    return pointers;
}

int waitForExit(pid_t pid, ProcessResult& result) {
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) return errno;
    }
    if (WIFEXITED(status)) result.exitStatus = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) result.terminationSignal = WTERMSIG(status);
    return 0;
}

}  // namespace

ProcessResult ProcessRunner::run(const std::string& launchPath, const std::vector<std::string>& arguments,
                                 const ProcessOptions& options) {
    if (launchPath.empty() || ::access(launchPath.c_str(), X_OK) != 0)
        throw InvalidArgumentException("launch path not accessible: " + launchPath);

    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0)
        throw InternalInconsistencyException(std::string("cannot create a pipe: ") + std::strerror(errno));
    FileDescriptor readEnd{fds[0]};
    FileDescriptor writeEnd{fds[1]};

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    // dup2 clears close-on-exec on the child's standard output only.
    posix_spawn_file_actions_adddup2(&actions, writeEnd.fd, STDOUT_FILENO);

    std::vector<std::string> argumentStrings;
    argumentStrings.reserve(arguments.size() + 1);
    argumentStrings.push_back(launchPath);
    argumentStrings.insert(argumentStrings.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv = pointersTo(argumentStrings);
    std::vector<std::string> environmentStrings = childEnvironment(options);
    std::vector<char*> envp = pointersTo(environmentStrings);

    pid_t pid = 0;
    const int spawnError = ::posix_spawn(&pid, launchPath.c_str(), &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (spawnError != 0)
        throw InvalidArgumentException("cannot launch " + launchPath + ": " + std::strerror(spawnError));
    writeEnd.reset();  // so the read below ends when the child closes its copy

    ProcessResult result;
    std::uint8_t buffer[65536];
    int readError = 0;
    for (;;) {
        const ssize_t n = ::read(readEnd.fd, buffer, sizeof buffer);
        if (n > 0) {
            result.standardOutput.insert(result.standardOutput.end(), buffer, buffer + n);
        } else if (n == 0) {
            break;
        } else if (errno != EINTR) {
            readError = errno;
            break;
        }
    }
    readEnd.reset();
    waitForExit(pid, result);
    if (readError != 0)
        throw InternalInconsistencyException(std::string("cannot read the output of ") + launchPath + ": " +
                                             std::strerror(readError));
    return result;
}

std::optional<std::string> ProcessRunner::findInPath(const std::string& name) {
    if (name.empty() || name.find('/') != std::string::npos) return std::nullopt;
    const char* path = std::getenv("PATH");
    std::string_view folders = path ? path : "/usr/local/bin:/usr/bin:/bin";
    while (!folders.empty()) {
        const std::size_t colon = folders.find(':');
        std::string_view folder = folders.substr(0, colon);
        folders = colon == std::string_view::npos ? std::string_view() : folders.substr(colon + 1);
        if (folder.empty()) continue;
        std::string candidate = std::string(folder) + "/" + name;
        if (::access(candidate.c_str(), X_OK) == 0) return candidate;
    }
    return std::nullopt;
}

}  // namespace kq
