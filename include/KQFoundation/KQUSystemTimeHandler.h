#pragma once
// KQUSystemTimeHandler: calls a block once, at a calendar date and time.
//
// A run-loop timer alone drifts from the calendar when the system clock is
// set or the machine sleeps. The handler therefore replaces its timer with a
// fresh one for the same date whenever kq::NSSystemClockDidChangeNotification
// (default centre) or kq::NSWorkspaceDidWakeNotification (the workspace's
// centre) arrives, from any sender; a date that has passed by then fires at
// once. It fires at most once.
//
// States: armed (after create) -> fired or invalidated, both final. An armed
// handler keeps itself alive through its timer (the run loop holds the timer,
// the timer holds the handler) until it fires or is invalidated, so callers
// need not keep it.
//
// Threads: the first timer goes on the creating thread's run loop, a
// replacement on the loop of the thread that delivers the notification. The
// system's own notifications are delivered on the main run loop, so handlers
// created and used on the main thread keep everything on one loop. The
// properties are guarded by a lock; the block is called outside it.
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Value.h"
#include "KQFoundation/System/NotificationCenter.h"
#include "KQFoundation/System/Timer.h"

class KQ_EXPORT KQUSystemTimeHandler : public std::enable_shared_from_this<KQUSystemTimeHandler> {
public:
    using Completion = std::function<void()>;

    /// An armed handler whose timer is on the current thread's run loop, or
    /// nullptr without a date. The block may be empty.
    static std::shared_ptr<KQUSystemTimeHandler> systemTimeHandlerWithFireDate(std::optional<kq::Date> fireDate,
                                                                               Completion completion);
    /// The same; without arguments it has no date and gives nullptr.
    static std::shared_ptr<KQUSystemTimeHandler> create(std::optional<kq::Date> fireDate = std::nullopt,
                                                        Completion completion = {});

    /// Stops observing and invalidates the timer.
    ~KQUSystemTimeHandler();
    KQUSystemTimeHandler(const KQUSystemTimeHandler&) = delete;
    KQUSystemTimeHandler& operator=(const KQUSystemTimeHandler&) = delete;

    kq::Date fireDate() const;
    /// Takes effect with the next reset; the current timer keeps its date.
    void setFireDate(kq::Date date);
    Completion completion() const;
    void setCompletion(Completion completion);
    /// The current one-shot timer; nullptr once fired or invalidated.
    std::shared_ptr<kq::Timer> timer() const;
    /// Keeps `timer`; a different one replaces the current timer, which is
    /// invalidated first.
    void setTimer(std::shared_ptr<kq::Timer> timer);

    /// Replaces the timer with a new one for fireDate() on the current
    /// thread's run loop. Does nothing once fired or invalidated (a delivery
    /// already under way on another thread may still arrive then).
    void resetTimer(const kq::Notification& notification);
    /// The timer's action: copies the block, invalidates, then calls the copy,
    /// so a block that drops the last reference to the handler is safe.
    void timerFireMethod(kq::Timer& timer);
    /// Stops observing, drops timer and block: the handler never fires after this.
    void invalidate();

private:
    KQUSystemTimeHandler(kq::Date fireDate, Completion completion);
    std::shared_ptr<kq::Timer> makeTimer();
    void scheduleTimer(bool initial);

    mutable std::mutex mutex_;
    kq::Date fireDate_;
    Completion completion_;
    std::shared_ptr<kq::Timer> timer_;
    bool armed_ = false;
};
