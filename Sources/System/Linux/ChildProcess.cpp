#include "System/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

extern char** environ;

namespace kq {

namespace {

// Large pipes let a fast child and its reader move data in fewer turns.
constexpr int kOutputPipeSize = 1 << 20;

int openProcessDescriptor(pid_t pid) {
#ifdef SYS_pidfd_open
    return static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));  // close-on-exec by default
#else
    (void)pid;
    return -1;
#endif
}

bool signalThroughDescriptor(int fd, int signal) {
#ifdef SYS_pidfd_send_signal
    return ::syscall(SYS_pidfd_send_signal, fd, signal, nullptr, 0) == 0;
#else
    (void)fd;
    (void)signal;
    return false;
#endif
}

// With one of our own standard streams closed a new pipe can land on 0, 1 or
// 2, and the child's dup2 of one stream would then overwrite another.
int aboveStandardStreams(int fd) {
    if (fd > STDERR_FILENO) return fd;
    const int moved = ::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    ::close(fd);
    return moved;
}

struct Pipe {
    int read = -1, write = -1;
    bool open() {
        int fds[2];
        if (::pipe2(fds, O_CLOEXEC) != 0) return false;
        read = aboveStandardStreams(fds[0]);
        write = aboveStandardStreams(fds[1]);
        if (read >= 0 && write >= 0) return true;
        close();
        return false;
    }
    void close() {
        closeDescriptor(read);
        closeDescriptor(write);
        read = write = -1;
    }
};

void setNonBlocking(int fd) {
    const int flags = ::fcntl(fd, F_GETFL);
    if (flags >= 0) ::fcntl(fd, F_SETFL, flags | O_NONBLOCK);
}

std::vector<char*> pointersTo(std::vector<std::string>& strings) {
    std::vector<char*> pointers;
    pointers.reserve(strings.size() + 1);
    for (std::string& s : strings) pointers.push_back(s.data());
    pointers.push_back(nullptr);
    return pointers;
}

int statusFromWait(int raw) {
    if (WIFEXITED(raw)) return WEXITSTATUS(raw);
    if (WIFSIGNALED(raw)) return 128 + WTERMSIG(raw);
    return raw;
}

// posix_spawn reports a bad working directory like a missing program;
// checking first gives the caller a reason that names the right thing.
std::optional<std::string> workingDirectoryProblem(const std::string& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) return "working directory " + path + ": " + std::strerror(errno);
    if (!S_ISDIR(info.st_mode)) return "working directory " + path + ": " + std::strerror(ENOTDIR);
    return std::nullopt;
}

// The kernel takes C strings: a NUL would silently cut a value short, and a
// name with '=' or no name at all would set some other variable.
std::optional<std::string> unpassableText(const ChildLaunch& launch) {
    const auto hasNul = [](const std::string& s) { return s.find('\0') != std::string::npos; };
    if (hasNul(launch.path)) return "the program path contains a NUL byte";
    for (const std::string& argument : launch.arguments)
        if (hasNul(argument)) return "an argument contains a NUL byte";
    if (launch.workingDirectory && hasNul(*launch.workingDirectory))
        return "the working directory contains a NUL byte";
    if (launch.environment)
        for (const auto& [name, value] : *launch.environment) {
            if (name.empty() || name.find('=') != std::string::npos || hasNul(name))
                return "environment variable name '" + name.substr(0, name.find('\0')) + "' is not valid";
            if (hasNul(value)) return "the value of environment variable " + name + " contains a NUL byte";
        }
    return std::nullopt;
}

}  // namespace

void closeDescriptor(int fd) {
    if (fd >= 0) ::close(fd);
}

std::unique_ptr<ChildProcess> ChildProcess::launch(const ChildLaunch& launch, std::string& error) {
    if (launch.path.empty() || launch.path.front() != '/') {
        error = std::strerror(ENOENT);
        return nullptr;
    }
    if (auto problem = unpassableText(launch)) {
        error = std::move(*problem);
        return nullptr;
    }
    if (launch.workingDirectory) {
        if (auto problem = workingDirectoryProblem(*launch.workingDirectory)) {
            error = std::move(*problem);
            return nullptr;
        }
    }
    Pipe input, output, errors;
    auto closeAll = [&] {
        input.close();
        output.close();
        errors.close();
    };
    if ((launch.pipeInput && !input.open()) || (launch.pipeOutput && !output.open()) ||
        (launch.pipeError && !errors.open())) {
        error = std::string("cannot create a pipe: ") + std::strerror(errno);
        closeAll();
        return nullptr;
    }

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    // dup2 clears close-on-exec on the child's copies only.
    if (launch.pipeInput) posix_spawn_file_actions_adddup2(&actions, input.read, STDIN_FILENO);
    if (launch.pipeOutput) posix_spawn_file_actions_adddup2(&actions, output.write, STDOUT_FILENO);
    if (launch.pipeError) posix_spawn_file_actions_adddup2(&actions, errors.write, STDERR_FILENO);
    if (launch.workingDirectory)
        posix_spawn_file_actions_addchdir_np(&actions, launch.workingDirectory->c_str());

    // The child starts with no blocked signals and a default SIGPIPE even
    // when this process ignores it.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none, defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    std::vector<std::string> argumentStrings;
    argumentStrings.reserve(launch.arguments.size() + 1);
    argumentStrings.push_back(launch.path);
    argumentStrings.insert(argumentStrings.end(), launch.arguments.begin(), launch.arguments.end());
    std::vector<char*> argv = pointersTo(argumentStrings);
    std::vector<std::string> environmentStrings;
    std::vector<char*> envp;
    if (launch.environment) {
        for (const auto& [name, value] : *launch.environment) environmentStrings.push_back(name + "=" + value);
        envp = pointersTo(environmentStrings);
    }

    pid_t pid = 0;
    const int spawnError = ::posix_spawn(&pid, launch.path.c_str(), &actions, &attributes, argv.data(),
                                         launch.environment ? envp.data() : environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (spawnError != 0) {
        error = std::strerror(spawnError);
        closeAll();
        return nullptr;
    }

    std::unique_ptr<ChildProcess> child(new ChildProcess);
    child->pid_ = pid;
    child->exitFD_ = openProcessDescriptor(pid);
    closeDescriptor(input.read);
    closeDescriptor(output.write);
    closeDescriptor(errors.write);
    child->input_ = input.write;
    child->output_ = output.read;
    child->error_ = errors.read;
    for (int fd : {child->output_, child->error_}) {
        if (fd < 0) continue;
        ::fcntl(fd, F_SETPIPE_SZ, kOutputPipeSize);  // a smaller pipe still works
        setNonBlocking(fd);
    }
    return child;
}

ChildProcess::~ChildProcess() {
    for (int fd : {input_, output_, error_, exitFD_}) closeDescriptor(fd);
}

int ChildProcess::takeInput() { return std::exchange(input_, -1); }

bool ChildProcess::hasExited() {
    {
        std::lock_guard lock(mutex_);
        if (status_) return true;
    }
    siginfo_t info{};
    if (::waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) != 0)
        return errno == ECHILD;
    return info.si_pid != 0;
}

int ChildProcess::wait() {
    {
        std::lock_guard lock(mutex_);
        if (status_) return *status_;
    }
    // Wait without reaping, so that sendSignal stays safe until the reaping
    // below, which it cannot overlap.
    siginfo_t info{};
    while (::waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
    }
    std::lock_guard lock(mutex_);
    if (status_) return *status_;
    int raw = 0;
    pid_t reaped;
    while ((reaped = ::waitpid(pid_, &raw, 0)) < 0 && errno == EINTR) {
    }
    // Someone else reaped it (SIGCHLD ignored): the status is lost.
    status_ = reaped == pid_ ? statusFromWait(raw) : 0;
    if (reaped == pid_ && WIFSIGNALED(raw)) signal_ = WTERMSIG(raw);
    return *status_;
}

void ChildProcess::sendSignal(int signal) {
    std::lock_guard lock(mutex_);
    if (status_ || pid_ <= 0) return;
    if (exitFD_ >= 0 && signalThroughDescriptor(exitFD_, signal)) return;
    ::kill(pid_, signal);
}

std::ptrdiff_t readPipe(int fd, Data& into, std::size_t limit, bool wait) {
    into.resize(limit);
    for (;;) {
        const ssize_t n = ::read(fd, into.data(), limit);
        if (n >= 0) {
            into.resize(static_cast<std::size_t>(n));
            return n;
        }
        if (errno == EINTR) continue;
        if (errno != EAGAIN || !wait) {
            into.clear();
            return errno == EAGAIN ? -1 : -2;
        }
        pollfd ready{fd, POLLIN, 0};
        ::poll(&ready, 1, -1);
    }
}

// ---------------------------------------------------------------- PipeWriter

PipeWriter::PipeWriter(int fd, std::shared_ptr<const Data> data) {
    wakeFD_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    setNonBlocking(fd);
    try {
        thread_ = std::thread([this, fd, data = std::move(data)] { run(fd, data); });
    } catch (const std::system_error&) {
        closeDescriptor(fd);  // the child sees end of file at once
    }
}

PipeWriter::~PipeWriter() {
    cancel();
    if (thread_.joinable()) thread_.join();
    closeDescriptor(wakeFD_);
}

void PipeWriter::cancel() {
    if (wakeFD_ >= 0) {
        const std::uint64_t one = 1;
        [[maybe_unused]] ssize_t ignored = ::write(wakeFD_, &one, sizeof one);
    }
}

void PipeWriter::run(int fd, std::shared_ptr<const Data> data) {
    // A write to a pipe without readers raises SIGPIPE in the writing thread;
    // blocked here, it stays pending and is taken back below.
    sigset_t pipeSignal;
    sigemptyset(&pipeSignal);
    sigaddset(&pipeSignal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipeSignal, nullptr);

    std::size_t written = 0;
    while (data && written < data->size()) {
        const ssize_t n = ::write(fd, data->data() + written, data->size() - written);
        if (n > 0) {
            written += static_cast<std::size_t>(n);
            continue;
        }
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && errno == EAGAIN) {
            pollfd ready[2] = {{fd, POLLOUT, 0}, {wakeFD_, POLLIN, 0}};
            if (::poll(ready, wakeFD_ >= 0 ? 2 : 1, -1) < 0 && errno != EINTR) break;
            if (ready[1].revents & POLLIN) break;
            continue;
        }
        if (n < 0 && errno == EPIPE) {
            const timespec now{0, 0};
            ::sigtimedwait(&pipeSignal, nullptr, &now);
        }
        break;
    }
    closeDescriptor(fd);
}

}  // namespace kq
