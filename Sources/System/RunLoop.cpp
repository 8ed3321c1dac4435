#include "KQFoundation/System/RunLoop.h"

#include <fcntl.h>
#include <uv.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <deque>
#include <exception>
#include <map>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "KQFoundation/Foundation/Log.h"
#include "Foundation/LoggedCall.h"

namespace kq {

namespace {

double nowSeconds() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}
// A date that is not a number counts as now rather than never.
double secondsSince1970(Date date) {
    const double seconds = date.time_since_epoch().count();
    return std::isnan(seconds) ? nowSeconds() : seconds;
}
double saneDelay(double seconds) { return seconds > 0 ? seconds : 0; }
Date dateFromSeconds(double seconds) { return Date(std::chrono::duration<double>(seconds)); }

// Longest single wait; longer limits are reached in several turns.
constexpr double kMaxWaitMilliseconds = 24.0 * 3600 * 1000;

}  // namespace

// ---------------------------------------------------------------- Timer

Timer::Timer(Date fireDate, double interval, bool repeats, Block block)
    : fireSeconds_(secondsSince1970(fireDate)),
      interval_(repeats ? (interval > 0.0001 ? interval : 0.0001) : saneDelay(interval)),
      repeats_(repeats),
      block_(std::move(block)) {}

std::shared_ptr<Timer> Timer::create(Date fireDate, double interval, bool repeats, Block block) {
    return std::shared_ptr<Timer>(new Timer(fireDate, interval, repeats, std::move(block)));
}

std::shared_ptr<Timer> Timer::scheduledTimer(double seconds, bool repeats, Block block) {
    auto timer = create(dateFromSeconds(nowSeconds() + saneDelay(seconds)), seconds, repeats,
                        std::move(block));
    RunLoop::currentRunLoop()->addTimer(timer);
    return timer;
}

Date Timer::fireDate() const { return dateFromSeconds(fireSeconds_.load()); }
void Timer::setFireDate(Date date) { fireSeconds_.store(secondsSince1970(date)); }
void Timer::invalidate() { valid_.store(false); }

void Timer::fire() {
    if (!valid_.load() || !block_) return;
    auto block = block_;  // the block may drop the last other reference to itself
    detail::callLoggingExceptions([] { return "RunLoop: a timer"; }, [&] { block(*this); });
    if (!repeats_) invalidate();
}

// ---------------------------------------------------------------- RunLoop

struct RunLoop::Impl {
    struct Scheduled {
        std::shared_ptr<Timer> timer;
        bool delayed = false;  // a performAfterDelay request, cancellable by target
        const void* target = nullptr;
    };
    struct Source {
        uv_poll_t poll{};
        int fd = -1;
        int events = 0;
        std::function<void(int, bool, bool)> callback;
        Impl* owner = nullptr;
    };

    std::thread::id thread = std::this_thread::get_id();
    uv_loop_t loop{};
    uv_async_t wake{};
    uv_timer_t limit{};
    bool open = false;  // loop thread only; false before init and after teardown

    std::mutex mutex;  // guards accepting and performs
    bool accepting = false;
    std::deque<std::function<void()>> performs;

    std::vector<Scheduled> timers;
    std::map<int, Source*> sources;
    bool running = false;
    bool stopRequested = false;
    bool sourceFired = false;

    Impl() {
        if (uv_loop_init(&loop) != 0) {
            kq::log("RunLoop: cannot create an event loop");
            return;
        }
        if (uv_async_init(&loop, &wake, [](uv_async_t*) {}) != 0) {
            kq::log("RunLoop: cannot create an event loop");
            uv_loop_close(&loop);
            return;
        }
        uv_timer_init(&loop, &limit);
        // Neither handle counts as something to wait for: a loop whose only
        // handles are these has no input sources.
        uv_unref(reinterpret_cast<uv_handle_t*>(&wake));
        uv_unref(reinterpret_cast<uv_handle_t*>(&limit));
        open = true;
        accepting = true;
    }

    void teardown() {
        std::deque<std::function<void()>> dropped;
        {
            std::lock_guard lock(mutex);
            accepting = false;
            dropped.swap(performs);
        }
        dropped.clear();
        if (!open) return;
        open = false;
        auto scheduled = std::move(timers);
        timers.clear();
        for (auto& entry : scheduled) {
            entry.timer->invalidate();
            entry.timer->block_ = nullptr;
        }
        scheduled.clear();
        for (auto& [fd, source] : sources) closeSource(source);
        sources.clear();
        uv_close(reinterpret_cast<uv_handle_t*>(&wake), nullptr);
        uv_close(reinterpret_cast<uv_handle_t*>(&limit), nullptr);
        uv_run(&loop, UV_RUN_DEFAULT);  // lets the close callbacks run
        if (uv_loop_close(&loop) != 0) kq::log("RunLoop: the event loop did not close cleanly");
    }

    static void closeSource(Source* source) {
        uv_poll_stop(&source->poll);
        uv_close(reinterpret_cast<uv_handle_t*>(&source->poll),
                 [](uv_handle_t* handle) { delete static_cast<Source*>(handle->data); });
    }

    bool hasPerforms() {
        std::lock_guard lock(mutex);
        return !performs.empty();
    }

    void purgeTimers() {
        std::erase_if(timers, [](Scheduled& entry) {
            if (entry.timer->isValid()) return false;
            entry.timer->block_ = nullptr;  // releases what the block holds
            return true;
        });
    }

    bool hasWork() { return !timers.empty() || !sources.empty() || hasPerforms(); }

    // The event library aborts the process when it meets a watched descriptor
    // that was closed before its source was removed; such a source can never
    // fire again, so it is dropped instead.
    void dropClosedSources() {
        for (auto it = sources.begin(); it != sources.end();) {
            if (it->second->events != 0 && ::fcntl(it->first, F_GETFD) < 0 && errno == EBADF) {
                kq::log("RunLoop: descriptor %d was closed while it was watched", it->first);
                closeSource(it->second);
                it = sources.erase(it);
            } else {
                ++it;
            }
        }
    }

    bool runPerforms() {
        std::deque<std::function<void()>> batch;
        {
            std::lock_guard lock(mutex);
            batch.swap(performs);
        }
        // Blocks sent while these run wait for the next turn.
        for (auto& block : batch) detail::callLoggingExceptions([] { return "RunLoop: a performed block"; }, block);
        return !batch.empty();
    }

    bool fireDueTimers() {
        const double now = nowSeconds();
        std::vector<std::shared_ptr<Timer>> due;
        for (auto& entry : timers)
            if (entry.timer->isValid() && entry.timer->fireSeconds_.load() <= now) due.push_back(entry.timer);
        std::stable_sort(due.begin(), due.end(), [](const auto& a, const auto& b) {
            return a->fireSeconds_.load() < b->fireSeconds_.load();
        });
        bool fired = false;
        for (auto& timer : due) {
            // An earlier block may have invalidated or moved this one.
            const double scheduledFor = timer->fireSeconds_.load();
            if (!timer->isValid() || scheduledFor > now) continue;
            fired = true;
            timer->fire();
            if (!timer->repeats_ || !timer->isValid() || timer->fireSeconds_.load() != scheduledFor) continue;
            // Missed firings are skipped: the next one is the first step after now.
            const double after = nowSeconds();
            double next = scheduledFor + timer->interval_;
            if (next <= after) next = scheduledFor + timer->interval_ * (std::floor((after - scheduledFor) / timer->interval_) + 1);
            timer->fireSeconds_.store(next);
        }
        return fired;
    }

    // How long the next wait may last, in milliseconds.
    std::uint64_t waitMilliseconds(double until) {
        const double now = nowSeconds();
        if (hasPerforms()) return 0;
        for (auto& entry : timers)
            if (entry.timer->isValid()) until = std::min(until, entry.timer->fireSeconds_.load());
        const double ms = std::ceil((until - now) * 1000.0);
        if (!(ms > 0)) return 0;
        return static_cast<std::uint64_t>(std::min(ms, kMaxWaitMilliseconds));
    }
};

// One run loop per thread, torn down when the thread exits.
struct RunLoopThreadSlot {
    std::shared_ptr<RunLoop> loop;
    ~RunLoopThreadSlot() {
        if (loop) loop->impl_->teardown();
    }
};

namespace {
thread_local RunLoopThreadSlot threadSlot;
std::mutex mainMutex;
std::shared_ptr<RunLoop> mainLoop;
}  // namespace

RunLoop::RunLoop() : impl_(std::make_unique<Impl>()) {}

RunLoop::~RunLoop() { impl_->teardown(); }

std::shared_ptr<RunLoop> RunLoop::currentRunLoop() {
    if (!threadSlot.loop) threadSlot.loop = std::shared_ptr<RunLoop>(new RunLoop());
    return threadSlot.loop;
}

std::shared_ptr<RunLoop> RunLoop::mainRunLoop() {
    std::lock_guard lock(mainMutex);
    if (!mainLoop) mainLoop = currentRunLoop();
    return mainLoop;
}

void RunLoop::setMainRunLoop(std::shared_ptr<RunLoop> loop) {
    std::lock_guard lock(mainMutex);
    mainLoop = std::move(loop);
}

bool RunLoop::isCurrent() const { return impl_->thread == std::this_thread::get_id(); }

bool RunLoop::runOnce(Date limit) {
    Impl& d = *impl_;
    if (!isCurrent() || d.running || !d.open) return false;
    d.purgeTimers();
    if (!d.hasWork()) return false;
    d.running = true;
    const double until = secondsSince1970(limit);
    bool handled = false;
    while (!handled) {
        const std::uint64_t wait = d.waitMilliseconds(until);
        d.sourceFired = false;
        d.dropClosedSources();
        uv_update_time(&d.loop);
        uv_timer_start(&d.limit, [](uv_timer_t*) {}, wait, 0);
        uv_ref(reinterpret_cast<uv_handle_t*>(&d.limit));  // keeps uv_run waiting for it
        uv_run(&d.loop, wait == 0 ? UV_RUN_NOWAIT : UV_RUN_ONCE);
        uv_timer_stop(&d.limit);
        uv_unref(reinterpret_cast<uv_handle_t*>(&d.limit));
        handled = d.sourceFired;
        handled = d.runPerforms() || handled;
        handled = d.fireDueTimers() || handled;
        if (!d.open || nowSeconds() >= until) break;
        d.purgeTimers();
        if (!d.hasWork()) break;
    }
    d.running = false;
    return true;
}

bool RunLoop::runUntilDate(Date limit) {
    Impl& d = *impl_;
    if (!isCurrent() || d.running) return false;
    d.stopRequested = false;
    const double until = secondsSince1970(limit);
    bool ran = false;
    // At least one turn, so a limit already passed still handles what is ready.
    do {
        if (!runOnce(limit)) break;
        ran = true;
    } while (!d.stopRequested && nowSeconds() < until);
    d.stopRequested = false;
    return ran;
}

void RunLoop::stop() { impl_->stopRequested = true; }

bool RunLoop::perform(std::function<void()> block) {
    Impl& d = *impl_;
    std::lock_guard lock(d.mutex);
    if (!d.accepting) return false;
    d.performs.push_back(std::move(block));
    // Under the lock: teardown cannot close the handle in between.
    uv_async_send(&d.wake);
    return true;
}

void RunLoop::addTimer(std::shared_ptr<Timer> timer) {
    if (!timer || timer->scheduled_.exchange(true)) return;
    if (!isCurrent()) {
        perform([this, timer] { impl_->timers.push_back({timer}); });
        return;
    }
    if (impl_->open) impl_->timers.push_back({std::move(timer)});
}

bool RunLoop::addReadSource(int fd, std::function<void(int fd)> callback) {
    if (!callback) return false;
    return addSource(fd, true, false, [callback = std::move(callback)](int fd, bool, bool) { callback(fd); });
}

void RunLoop::removeReadSource(int fd) { removeSource(fd); }

bool RunLoop::addSource(int fd, bool read, bool write, std::function<void(int, bool, bool)> callback) {
    Impl& d = *impl_;
    if (!isCurrent() || !d.open || fd < 0 || !callback) return false;
    const int events = (read ? UV_READABLE : 0) | (write ? UV_WRITABLE : 0);
    Impl::Source* source = nullptr;
    if (auto it = d.sources.find(fd); it != d.sources.end()) {
        source = it->second;
    } else {
        source = new Impl::Source;
        source->fd = fd;
        source->owner = &d;
        if (uv_poll_init(&d.loop, &source->poll, fd) != 0) {
            delete source;
            return false;
        }
        source->poll.data = source;
        d.sources.emplace(fd, source);
    }
    source->callback = std::move(callback);
    source->events = events;
    if (events == 0) {
        // Paused: the handle stays, but the loop does not wait for it.
        uv_poll_stop(&source->poll);
        return true;
    }
    uv_poll_start(&source->poll, events, [](uv_poll_t* handle, int status, int ready) {
        auto* source = static_cast<Impl::Source*>(handle->data);
        source->owner->sourceFired = true;
        if (status < 0) ready = source->events;
        // A copy: the callback may replace or remove its own source.
        auto callback = source->callback;
        const int fd = source->fd;
        // A handler that throws must not unwind through libuv's C frames.
        detail::callLoggingExceptions([] { return "RunLoop: a source"; },
                                      [&] { callback(fd, (ready & UV_READABLE) != 0, (ready & UV_WRITABLE) != 0); });
    });
    return true;
}

void RunLoop::removeSource(int fd) {
    Impl& d = *impl_;
    if (!isCurrent() || !d.open) return;
    auto it = d.sources.find(fd);
    if (it == d.sources.end()) return;
    Impl::closeSource(it->second);
    d.sources.erase(it);
}

void RunLoop::performAfterDelay(const void* target, std::function<void()> block, double seconds) {
    auto timer = Timer::create(dateFromSeconds(nowSeconds() + saneDelay(seconds)), 0, false,
                               [block = std::move(block)](Timer&) { block(); });
    timer->scheduled_ = true;
    if (!isCurrent()) {
        perform([this, timer, target] { impl_->timers.push_back({timer, true, target}); });
        return;
    }
    if (impl_->open) impl_->timers.push_back({std::move(timer), true, target});
}

void RunLoop::cancelPerformRequests(const void* target) {
    if (!isCurrent()) {
        perform([this, target] { cancelPerformRequests(target); });
        return;
    }
    for (auto& entry : impl_->timers)
        if (entry.delayed && entry.target == target) entry.timer->invalidate();
}

}  // namespace kq
