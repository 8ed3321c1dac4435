#include "KQFoundation/KQUTask.h"

#include <csignal>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>

#include "KQFoundation/Foundation/Log.h"
#include "KQFoundation/System/DispatchQueue.h"
#include "KQFoundation/System/RunLoop.h"
#include "Foundation/LoggedCall.h"
#include "System/ChildProcess.h"

namespace {

// Large reads keep the per-chunk cost small next to the bytes moved.
constexpr std::size_t kReadSize = 256 * 1024;
constexpr double kSliceSeconds = 1.0;
constexpr int kCannotLaunchStatus = 127;

}  // namespace

struct KQUTask::Impl {
    mutable std::mutex mutex;
    std::string launchPath;
    std::optional<std::vector<std::string>> arguments;
    std::optional<std::vector<std::pair<std::string, std::string>>> environment;
    std::optional<std::string> currentDirectoryPath;
    std::optional<kq::Data> inputData;
    DataHandler outputHandler;
    DataHandler errorHandler;
    CompletionBlock completionBlock;

    bool everLaunched = false;
    bool terminated = false;
    bool complete = false;
    std::int32_t terminationStatus = 0;
    std::int32_t processIdentifier = 0;
    // Shared with terminate(), which may signal while the run lets go of it.
    std::shared_ptr<kq::ChildProcess> child;

    static void run(const std::shared_ptr<KQUTask>& self);
};

namespace {

// One captured stream: its pipe, its handler, whether it reached end of file.
struct Stream {
    int fd = -1;
    KQUTask::DataHandler handler;
    const char* name = "";
    bool ended = false;

    void deliver(KQUTask& task, const kq::Data& chunk) {
        kq::detail::callLoggingExceptions([&] { return std::string("KQUTask: the ") + name; },
                                          [&] { handler(task, chunk); });
    }
    // Whatever is available now; an empty read stops the watching.
    void grabAvailable(KQUTask& task, kq::RunLoop& loop, kq::Data& buffer) {
        const std::ptrdiff_t n = kq::readPipe(fd, buffer, kReadSize, false);
        if (n > 0) {
            deliver(task, buffer);
        } else if (n != -1) {
            ended = true;
            loop.removeReadSource(fd);
        }
    }
    // Everything up to end of file, including bytes still buffered when the
    // child's end was noticed.
    void grabToEnd(KQUTask& task, kq::Data& buffer) {
        while (!ended) {
            if (kq::readPipe(fd, buffer, kReadSize, true) <= 0) break;
            deliver(task, buffer);
        }
        ended = true;
    }
};

}  // namespace

void KQUTask::Impl::run(const std::shared_ptr<KQUTask>& self) {
    Impl& d = *self->impl_;
    kq::ChildLaunch launch;
    std::shared_ptr<const kq::Data> input;
    Stream output{.handler = {}, .name = "output handler"};
    Stream errors{.handler = {}, .name = "error handler"};
    {
        std::lock_guard lock(d.mutex);
        launch.path = d.launchPath;
        if (d.arguments) launch.arguments = *d.arguments;
        launch.environment = d.environment;
        launch.workingDirectory = d.currentDirectoryPath;
        if (d.inputData) input = std::make_shared<const kq::Data>(*d.inputData);
        output.handler = d.outputHandler;
        errors.handler = d.errorHandler;
    }
    launch.pipeInput = input != nullptr;
    launch.pipeOutput = static_cast<bool>(output.handler);
    launch.pipeError = static_cast<bool>(errors.handler);

    auto finish = [&] {
        CompletionBlock completion;
        {
            std::lock_guard lock(d.mutex);
            d.child.reset();
            completion = d.completionBlock;
        }
        if (completion) kq::detail::callLoggingExceptions([] { return "KQUTask: the completion block"; }, completion);
    };

    std::string reason;
    std::shared_ptr<kq::ChildProcess> child = kq::ChildProcess::launch(launch, reason);
    if (!child) {
        kq::log("KQUTask: cannot launch %s: %s", launch.path, reason);
        {
            std::lock_guard lock(d.mutex);
            d.terminationStatus = kCannotLaunchStatus;
            d.complete = true;
        }
        finish();
        return;
    }
    {
        std::lock_guard lock(d.mutex);
        d.child = child;
        d.processIdentifier = child->pid();
        // terminate() came while the run was being prepared.
        if (d.terminated) child->sendSignal(SIGTERM);
    }

    std::optional<kq::PipeWriter> writer;
    if (input) writer.emplace(child->takeInput(), input);

    auto loop = kq::RunLoop::currentRunLoop();
    kq::Data buffer;
    buffer.reserve(kReadSize);
    output.fd = child->outputDescriptor();
    errors.fd = child->errorDescriptor();
    for (Stream* stream : {&output, &errors}) {
        if (stream->fd < 0) continue;
        loop->addReadSource(stream->fd, [&, stream](int) { stream->grabAvailable(*self, *loop, buffer); });
    }
    bool ended = false;
    const int exitFD = child->exitDescriptor();
    const bool watchingExit = exitFD >= 0 && loop->addReadSource(exitFD, [&](int fd) {
        ended = true;
        loop->removeReadSource(fd);
        loop->stop();
    });

    // Without a process descriptor the end is polled once per slice.
    while (!ended) {
        const bool hadSources = loop->runUntilDate(std::chrono::system_clock::now() +
                                                   std::chrono::duration_cast<std::chrono::system_clock::duration>(
                                                       std::chrono::duration<double>(kSliceSeconds)));
        if (!hadSources || (!watchingExit && child->hasExited())) ended = true;
    }
    for (const Stream* stream : {&output, &errors})
        if (stream->fd >= 0 && !stream->ended) loop->removeReadSource(stream->fd);
    if (watchingExit) loop->removeReadSource(exitFD);

    const std::int32_t status = child->wait();
    {
        std::lock_guard lock(d.mutex);
        d.terminationStatus = status;
        d.complete = true;
    }
    if (output.fd >= 0) output.grabToEnd(*self, buffer);
    if (errors.fd >= 0) errors.grabToEnd(*self, buffer);
    writer.reset();  // the child is gone: stop feeding whoever still holds its input
    child.reset();
    finish();
}

std::shared_ptr<KQUTask> KQUTask::create() { return std::shared_ptr<KQUTask>(new KQUTask()); }

KQUTask::KQUTask() : impl_(std::make_unique<Impl>()) {}
KQUTask::~KQUTask() = default;

std::string KQUTask::launchPath() const {
    std::lock_guard lock(impl_->mutex);
    return impl_->launchPath;
}
void KQUTask::setLaunchPath(std::string path) {
    std::lock_guard lock(impl_->mutex);
    impl_->launchPath = std::move(path);
}
std::optional<std::vector<std::string>> KQUTask::arguments() const {
    std::lock_guard lock(impl_->mutex);
    return impl_->arguments;
}
void KQUTask::setArguments(std::optional<std::vector<std::string>> arguments) {
    std::lock_guard lock(impl_->mutex);
    impl_->arguments = std::move(arguments);
}
std::optional<std::vector<std::pair<std::string, std::string>>> KQUTask::environment() const {
    std::lock_guard lock(impl_->mutex);
    return impl_->environment;
}
void KQUTask::setEnvironment(std::optional<std::vector<std::pair<std::string, std::string>>> environment) {
    std::lock_guard lock(impl_->mutex);
    impl_->environment = std::move(environment);
}
std::optional<std::string> KQUTask::currentDirectoryPath() const {
    std::lock_guard lock(impl_->mutex);
    return impl_->currentDirectoryPath;
}
void KQUTask::setCurrentDirectoryPath(std::optional<std::string> path) {
    std::lock_guard lock(impl_->mutex);
    impl_->currentDirectoryPath = std::move(path);
}
std::optional<kq::Data> KQUTask::inputData() const {
    std::lock_guard lock(impl_->mutex);
    return impl_->inputData;
}
void KQUTask::setInputData(std::optional<kq::Data> data) {
    std::lock_guard lock(impl_->mutex);
    impl_->inputData = std::move(data);
}
void KQUTask::setOutputHandler(DataHandler handler) {
    std::lock_guard lock(impl_->mutex);
    impl_->outputHandler = std::move(handler);
}
void KQUTask::setErrorHandler(DataHandler handler) {
    std::lock_guard lock(impl_->mutex);
    impl_->errorHandler = std::move(handler);
}
void KQUTask::setCompletionBlock(CompletionBlock block) {
    std::lock_guard lock(impl_->mutex);
    impl_->completionBlock = std::move(block);
}

void KQUTask::launch() {
    {
        std::lock_guard lock(impl_->mutex);
        if (impl_->everLaunched) return;
        impl_->everLaunched = true;
    }
    // The run holds the task until its completion block has returned.
    auto self = shared_from_this();
    try {
        std::thread([self] { Impl::run(self); }).detach();
    } catch (const std::system_error&) {
        // No thread to spare: the shared pool still gets the run done.
        kq::DispatchQueue::globalQueue()->async([self] { Impl::run(self); });
    }
}

void KQUTask::terminate() {
    std::shared_ptr<kq::ChildProcess> child;
    {
        std::lock_guard lock(impl_->mutex);
        impl_->terminated = true;
        child = impl_->child;
    }
    if (child) child->sendSignal(SIGTERM);
}

bool KQUTask::everLaunched() const {
    std::lock_guard lock(impl_->mutex);
    return impl_->everLaunched;
}
bool KQUTask::terminated() const {
    std::lock_guard lock(impl_->mutex);
    return impl_->terminated;
}
bool KQUTask::complete() const {
    std::lock_guard lock(impl_->mutex);
    return impl_->complete;
}
std::int32_t KQUTask::terminationStatus() const {
    std::lock_guard lock(impl_->mutex);
    return impl_->terminationStatus;
}
std::int32_t KQUTask::processIdentifier() const {
    std::lock_guard lock(impl_->mutex);
    return impl_->processIdentifier;
}
