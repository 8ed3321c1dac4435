#pragma once
// kq::RunLoop: one event loop per thread, created the first time the thread
// asks for it and torn down when the thread exits. It waits for timers,
// readable or writable file descriptors and blocks sent from other threads, and calls
// their handlers on its own thread.
//
// Only perform() and Timer::invalidate() may be called from other threads;
// everything else belongs to the loop's thread (addTimer forwards itself
// there). The loop is not reentrant: running it from one of its own handlers
// returns false at once.
#include <functional>
#include <memory>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Value.h"
#include "KQFoundation/System/Timer.h"

namespace kq {

class KQ_EXPORT RunLoop {
public:
    /// The calling thread's run loop.
    static std::shared_ptr<RunLoop> currentRunLoop();
    /// The main run loop: the one set with setMainRunLoop, else the run loop
    /// of the first thread that asks for it. Once that thread has exited, the
    /// loop refuses blocks (perform returns false).
    static std::shared_ptr<RunLoop> mainRunLoop();
    static void setMainRunLoop(std::shared_ptr<RunLoop> loop);

    ~RunLoop();
    RunLoop(const RunLoop&) = delete;
    RunLoop& operator=(const RunLoop&) = delete;

    /// Waits until something was handled (a timer fired, a source was
    /// readable, sent blocks ran) or `limit` passed. Returns false at once,
    /// without waiting, when the loop has no timers, sources or blocks.
    bool runOnce(Date limit);
    /// Turns the loop until `limit`, until stop(), or until it has nothing
    /// left to wait for. Returns false when it had nothing from the start.
    bool runUntilDate(Date limit);
    /// Makes the current runUntilDate return after its current turn.
    void stop();

    /// Queues the block to run on the loop's thread; blocks run in the order
    /// they were sent. Any thread. False (the block dropped) once the loop's
    /// thread has exited.
    bool perform(std::function<void()> block);

    /// Schedules the timer here; a timer belongs to one loop only.
    void addTimer(std::shared_ptr<Timer> timer);

    /// Calls `callback(fd)` each time fd is readable (pipes, sockets). One
    /// source per fd: adding again replaces the callback. False when fd
    /// cannot be watched (a regular file, a closed descriptor).
    bool addReadSource(int fd, std::function<void(int fd)> callback);
    /// Stops watching fd (do so before closing it); the descriptor stays open.
    void removeReadSource(int fd);

    /// Calls `callback(fd, readable, writable)` each time fd is ready for what
    /// was asked (`read`, `write`, or both; asking for neither pauses the
    /// source). Shares the one source per fd with addReadSource: adding again
    /// replaces what is watched and the callback. An error on the descriptor
    /// reports it ready for everything asked, so the next read or write sees
    /// the error. False when fd cannot be watched.
    bool addSource(int fd, bool read, bool write, std::function<void(int fd, bool readable, bool writable)> callback);
    /// Stops watching fd, whichever call added it (same as removeReadSource).
    void removeSource(int fd);

    /// Runs `block` after `seconds` unless cancelled with the same target.
    void performAfterDelay(const void* target, std::function<void()> block, double seconds);
    /// Cancels every delayed block queued for `target`.
    void cancelPerformRequests(const void* target);

    /// True on the loop's own thread.
    bool isCurrent() const;

private:
    RunLoop();
    struct Impl;
    std::unique_ptr<Impl> impl_;
    friend struct RunLoopThreadSlot;
};

}  // namespace kq
