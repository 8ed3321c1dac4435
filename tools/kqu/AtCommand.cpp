// kqu at DATE -- PROGRAM [ARGUMENTS...]: waits until DATE by the calendar,
// through clock changes and sleep, then runs PROGRAM and exits with its status.
#include <pthread.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <optional>

#include "Command.h"
#include "DateArgument.h"
#include "KQFoundation/KQUSystemTimeHandler.h"
#include "KQFoundation/KQUTask.h"
#include "KQFoundation/System/RunLoop.h"
#include "ProgramPath.h"

namespace {

// The shell's status for a program that cannot be found.
constexpr int kExitProgramNotFound = 127;

struct AtOptions {
    std::string date;
    std::vector<std::string> command;
};

int runAt(const AtOptions& options) {
    const auto date = kqu::parseDateArgument(options.date);
    if (!date)
        throw kqu::CommandFailure{kqu::kExitInputFailure,
                                  "'" + options.date +
                                      "' is not a date and time in ISO 8601, such as 2026-05-01T09:30, "
                                      "2026-05-01T09:30:15Z or 2026-05-01T09:30+02:00"};
    // Checked before waiting, rather than failing hours later.
    const auto program = kqu::findProgram(options.command.front());
    if (!program) throw kqu::CommandFailure{kExitProgramNotFound, options.command.front() + ": program not found"};

    // Taken through a descriptor rather than by default handlers, so that
    // killing kqu does not leave a started program running on its own. Every
    // thread started from here on inherits the mask; the child starts with
    // none blocked.
    sigset_t forwarded;
    sigemptyset(&forwarded);
    for (int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&forwarded, signal);
    pthread_sigmask(SIG_BLOCK, &forwarded, nullptr);
    const int signals = signalfd(-1, &forwarded, SFD_CLOEXEC | SFD_NONBLOCK);

    kq::RunLoop::setMainRunLoop(kq::RunLoop::currentRunLoop());
    const auto loop = kq::RunLoop::mainRunLoop();
    // The loop must wait for the child's end even when it has no timer left.
    auto keepAlive = kq::Timer::create(kq::Date(std::chrono::system_clock::now()) + std::chrono::hours(1), 3600,
                                       true, [](kq::Timer&) {});
    loop->addTimer(keepAlive);

    std::optional<int> status;
    std::shared_ptr<KQUTask> running;
    if (signals >= 0)
        loop->addReadSource(signals, [&](int fd) {
            signalfd_siginfo info{};
            if (::read(fd, &info, sizeof info) != sizeof info) return;
            if (running) {
                // A terminal's own signal reaches the program's process group anyway.
                if (info.ssi_code != SI_KERNEL) running->terminate();
            } else {
                status = 128 + static_cast<int>(info.ssi_signo);  // as if it had ended kqu
                loop->stop();
            }
        });
    const std::vector<std::string> arguments(options.command.begin() + 1, options.command.end());
    auto handler = KQUSystemTimeHandler::systemTimeHandlerWithFireDate(*date, [&] {
        std::fflush(stdout);
        auto task = KQUTask::create();
        running = task;
        task->setLaunchPath(*program);
        task->setArguments(arguments);
        // No output handlers: the child writes to kqu's own stdout and stderr
        // as it goes, in its own order, and sees a terminal where kqu has one.
        task->setCompletionBlock([loop, &status, weakTask = std::weak_ptr<KQUTask>(task)] {
            const auto finished = weakTask.lock();
            const int result = finished ? finished->terminationStatus() : kqu::kExitInputFailure;
            loop->perform([loop, &status, result] {
                status = result;
                loop->stop();
            });
        });
        task->launch();
    });
    while (!status) loop->runUntilDate(kq::Date(std::chrono::system_clock::now()) + std::chrono::hours(1));
    keepAlive->invalidate();
    if (signals >= 0) {
        loop->removeReadSource(signals);
        ::close(signals);
    }
    return *status;
}

const kqu::CommandRegistration registration{{
    "at",
    "Run a program at a date and time, through clock changes and sleep",
    [](CLI::App& app) -> std::function<int()> {
        auto options = std::make_shared<AtOptions>();
        app.add_option("DATE", options->date,
                       "ISO 8601 date and time (2026-05-01T09:30, seconds optional); local time unless it ends "
                       "in Z or an offset such as +02:00; a past date runs at once")
            ->required();
        app.add_option("PROGRAM", options->command, "The program and its arguments, after --")->required();
        app.footer("Exit status: the program's own (127 when it cannot be found), 2 for a bad DATE.\n"
                   "SIGINT, SIGTERM or SIGHUP sent to kqu terminates the program once it runs.");
        return [options] { return runAt(*options); };
    },
}};

}  // namespace
