#pragma once
// kq::ChildProcess: a child started without a shell, with optional pipes for
// its standard streams. Every descriptor the parent keeps is close-on-exec,
// so one child's pipes never leak into another child.
//
// The child can be watched without blocking: exitDescriptor() becomes
// readable when it ends (a process descriptor; -1 where the kernel has none,
// then poll hasExited()). wait() reaps it once; signals sent after that are
// dropped, so a recycled process id is never hit.
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "KQFoundation/Foundation/Value.h"

namespace kq {

struct ChildLaunch {
    std::string path;  // absolute
    std::vector<std::string> arguments;
    /// The child's whole environment; nullopt inherits ours.
    std::optional<std::vector<std::pair<std::string, std::string>>> environment;
    std::optional<std::string> workingDirectory;
    bool pipeInput = false;
    bool pipeOutput = false;
    bool pipeError = false;
};

class ChildProcess {
public:
    /// The started child, or nullptr with the reason in `error`.
    static std::unique_ptr<ChildProcess> launch(const ChildLaunch& launch, std::string& error);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t pid() const { return pid_; }
    /// Parent ends of the pipes, -1 when not piped. The read ends are
    /// non-blocking. takeInput() hands the write end over to the caller.
    int outputDescriptor() const { return output_; }
    int errorDescriptor() const { return error_; }
    int takeInput();
    int exitDescriptor() const { return exitFD_; }

    /// True once the child has ended (not reaped yet). Never blocks.
    bool hasExited();
    /// Reaps the child (blocking until it ends) and returns its status: the
    /// exit code, or 128 + the signal that ended it. Later calls return the
    /// same status.
    int wait();
    /// The signal that ended the child, 0 when it exited; valid after wait().
    int terminationSignal() const { return signal_; }
    /// Sends `signal` unless the child has been reaped.
    void sendSignal(int signal);

private:
    ChildProcess() = default;
    std::mutex mutex_;  // orders sendSignal against the reaping
    pid_t pid_ = 0;
    int input_ = -1, output_ = -1, error_ = -1, exitFD_ = -1;
    std::optional<int> status_;
    int signal_ = 0;
};

/// Reads once, at most `limit` bytes, into `into` (resized to what was read).
/// Returns the count, 0 at end of file, -1 when nothing is available yet and
/// -2 on an error. `wait` blocks until data, end of file or an error.
std::ptrdiff_t readPipe(int fd, Data& into, std::size_t limit, bool wait);
void closeDescriptor(int fd);

/// Writes `data` to a pipe's write end on a thread of its own, then closes
/// the descriptor. A reader that goes away ends the writing quietly (no
/// SIGPIPE); cancel() ends it early. The destructor cancels and joins.
class PipeWriter {
public:
    PipeWriter(int fd, std::shared_ptr<const Data> data);
    ~PipeWriter();
    PipeWriter(const PipeWriter&) = delete;
    PipeWriter& operator=(const PipeWriter&) = delete;
    void cancel();

private:
    void run(int fd, std::shared_ptr<const Data> data);
    int wakeFD_ = -1;
    std::thread thread_;
};

}  // namespace kq
