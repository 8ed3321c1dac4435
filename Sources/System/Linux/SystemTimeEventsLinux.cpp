// The Linux watcher behind the clock-changed and did-wake notifications: one
// detached thread polling a timerfd and, when there is one, the system bus.
// A thread of its own rather than sources on the main run loop: a loop that
// watches descriptors never runs out of work, so the main loop would no longer
// return when its own timers and blocks are done, and sd-bus connections are
// not meant to be shared between threads anyway.
#include <poll.h>
#include <sys/timerfd.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cerrno>
#include <algorithm>
#include <cstdint>
#include <ctime>
#include <mutex>
#include <thread>

#include "KQFoundation/Foundation/Log.h"
#include "KQFoundation/System/RunLoop.h"
#include "System/SystemTimeEvents.h"

namespace kq::detail {
namespace {

// How often the suspend detector looks at the clocks when there is no bus.
constexpr int kSuspendCheckMilliseconds = 3000;

double clockSeconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

class Watcher {
public:
    // Runs on the starting thread, so that a clock set right after the start is seen.
    void openClock() {
        clockFd_ = timerfd_create(CLOCK_REALTIME, TFD_CLOEXEC | TFD_NONBLOCK);
        if (clockFd_ < 0 || !armClock()) {
            kq::log("System time events: cannot watch the system clock (errno %d)", errno);
            if (clockFd_ >= 0) close(clockFd_);
            clockFd_ = -1;
        }
    }

    [[noreturn]] void run() {
        openBus();
        for (;;) {
            if (bus_ != nullptr) processBus();
            pollfd fds[2] = {{clockFd_, POLLIN, 0}, {-1, 0, 0}};
            int timeout = kSuspendCheckMilliseconds;
            if (bus_ != nullptr) {
                fds[1] = {sd_bus_get_fd(bus_), static_cast<short>(sd_bus_get_events(bus_)), 0};
                timeout = busTimeoutMilliseconds();
            }
            const int ready = poll(fds, 2, timeout);
            if (ready < 0 && errno != EINTR) {
                // Should not happen; keep the thread from spinning if it does.
                std::this_thread::sleep_for(std::chrono::seconds(1));
                continue;
            }
            if (fds[0].revents != 0) readClock();
            if (bus_ == nullptr && detector_.machineSleptSince(clockSeconds(CLOCK_BOOTTIME), clockSeconds(CLOCK_MONOTONIC)))
                postWorkspaceDidWake();
        }
    }

private:
    // A far expiry that is never meant to come; the point is the cancellation
    // TFD_TIMER_CANCEL_ON_SET brings whenever the clock is set.
    bool armClock() {
        itimerspec farAhead{};
        farAhead.it_value.tv_sec = static_cast<time_t>(clockSeconds(CLOCK_REALTIME)) + 365 * 86400;
        return timerfd_settime(clockFd_, TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &farAhead, nullptr) == 0;
    }

    void readClock() {
        std::uint64_t expirations = 0;
        const ssize_t got = read(clockFd_, &expirations, sizeof expirations);
        if (got < 0 && errno == ECANCELED) {
            armClock();
            postSystemClockDidChange();
        } else if (got == static_cast<ssize_t>(sizeof expirations)) {
            armClock();  // the far expiry came after all
        }
    }

    void openBus() {
        if (sd_bus_open_system(&bus_) < 0) {
            bus_ = nullptr;
            startDetector();
            return;
        }
        const int added = sd_bus_match_signal_async(
            bus_, nullptr, "org.freedesktop.login1", "/org/freedesktop/login1", "org.freedesktop.login1.Manager",
            "PrepareForSleep", &Watcher::onPrepareForSleep, &Watcher::onMatchInstalled, this);
        if (added < 0) dropBus();
    }

    // PrepareForSleep(false) is sent once the machine is up again.
    static int onPrepareForSleep(sd_bus_message* message, void*, sd_bus_error*) {
        int goingToSleep = 1;
        if (sd_bus_message_read(message, "b", &goingToSleep) >= 0 && !goingToSleep) postWorkspaceDidWake();
        return 0;
    }

    // A bus that refuses the match (no logind, a strict policy) cannot tell of wake-ups.
    static int onMatchInstalled(sd_bus_message* reply, void* watcher, sd_bus_error*) {
        if (sd_bus_message_is_method_error(reply, nullptr)) static_cast<Watcher*>(watcher)->busFailed_ = true;
        return 0;
    }

    void processBus() {
        int processed = 0;
        while ((processed = sd_bus_process(bus_, nullptr)) > 0) {
        }
        if (processed < 0 || busFailed_) dropBus();
    }

    int busTimeoutMilliseconds() {
        std::uint64_t until = 0;
        if (sd_bus_get_timeout(bus_, &until) < 0 || until == UINT64_MAX) return -1;
        const double left = static_cast<double>(until) / 1e6 - clockSeconds(CLOCK_MONOTONIC);
        return left <= 0 ? 0 : static_cast<int>(std::min(left * 1000, 3600e3)) + 1;
    }

    void dropBus() {
        sd_bus_flush_close_unref(bus_);
        bus_ = nullptr;
        startDetector();
    }

    void startDetector() { detector_.machineSleptSince(clockSeconds(CLOCK_BOOTTIME), clockSeconds(CLOCK_MONOTONIC)); }

    int clockFd_ = -1;
    sd_bus* bus_ = nullptr;
    bool busFailed_ = false;
    SuspendDetector detector_;
};

}  // namespace

void startSystemTimeEventSources() {
    static std::once_flag once;
    std::call_once(once, [] {
        // Settled here, on the arming thread, not on the watcher's.
        RunLoop::mainRunLoop();
        auto* watcher = new Watcher;  // lives as long as the process
        watcher->openClock();
        std::thread([watcher] { watcher->run(); }).detach();
    });
}

}  // namespace kq::detail
