#pragma once
// KQUTask: runs one external program asynchronously, at most once.
//
// Fill in the program, arguments, environment, working directory, bytes for
// standard input and the three blocks, then launch(). The child is started
// and supervised on a thread of its own that runs a run loop in 1-second
// slices until the child has ended; the output and error handlers run there,
// in arrival order, with non-empty chunks only. Then, in this order:
// terminationStatus is set, the last standard-output chunks are delivered,
// then the last standard-error chunks, then the completion block is called,
// exactly once per run, on that same thread.
//
// A program that cannot be started (missing, not executable, a working
// directory that does not exist) is reported as a child that exited with
// status 127: a log line "KQUTask: cannot launch <path>: <reason>", no
// chunks, terminationStatus 127, and the completion block is still called.
// A child ended by a signal reports 128 + the signal number.
//
// Each run supervises its child on a thread of its own rather than on the
// global dispatch queue: a run blocks its thread for the child's whole life,
// and a few long children would otherwise starve every other user of that
// small pool. Standard input is written by a second thread of the run, so a
// child that fills its output before reading its input cannot deadlock.
//
// The handlers are taken when the run starts; setting them after launch()
// changes nothing for that run. The completion block is read at the end.
//
// The running instance keeps itself alive until its completion block has
// returned. launch() and terminate() may be called from any thread; the
// properties are guarded by one lock.
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Value.h"

class KQ_EXPORT KQUTask : public std::enable_shared_from_this<KQUTask> {
public:
    using DataHandler = std::function<void(KQUTask& task, const kq::Data& chunk)>;
    using CompletionBlock = std::function<void()>;

    static std::shared_ptr<KQUTask> create();
    ~KQUTask();
    KQUTask(const KQUTask&) = delete;
    KQUTask& operator=(const KQUTask&) = delete;

    std::string launchPath() const;
    void setLaunchPath(std::string path);
    /// nullopt: no arguments set.
    std::optional<std::vector<std::string>> arguments() const;
    void setArguments(std::optional<std::vector<std::string>> arguments);
    /// nullopt: the parent's environment is inherited.
    std::optional<std::vector<std::pair<std::string, std::string>>> environment() const;
    void setEnvironment(std::optional<std::vector<std::pair<std::string, std::string>>> environment);
    /// nullopt: the working directory is inherited.
    std::optional<std::string> currentDirectoryPath() const;
    void setCurrentDirectoryPath(std::optional<std::string> path);
    /// nullopt: standard input is inherited.
    std::optional<kq::Data> inputData() const;
    void setInputData(std::optional<kq::Data> data);

    /// Empty: the stream is inherited, not captured.
    void setOutputHandler(DataHandler handler);
    void setErrorHandler(DataHandler handler);
    void setCompletionBlock(CompletionBlock block);

    /// Starts the run on a thread of its own; later calls do nothing.
    void launch();
    /// Ends the child (SIGTERM); before the child exists, ends it right after
    /// its start.
    void terminate();

    bool everLaunched() const;
    bool terminated() const;
    bool complete() const;
    /// Valid once complete() and in the completion block.
    std::int32_t terminationStatus() const;
    /// The child's process id; 0 before it has started.
    std::int32_t processIdentifier() const;

private:
    KQUTask();
    struct Impl;
    std::unique_ptr<Impl> impl_;
};
