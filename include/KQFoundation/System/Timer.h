#pragma once
// kq::Timer: a block that a run loop calls at a wall-clock date, once or
// repeatedly. The loop turns the fire date into a wait each time it is
// entered, so a change of the system clock takes effect at the loop's next
// turn (a wait already under way is not shortened; whoever notices the
// change wakes the loop with RunLoop::perform).
#include <atomic>
#include <functional>
#include <memory>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Value.h"

namespace kq {

class KQ_EXPORT Timer {
public:
    using Block = std::function<void(Timer&)>;

    /// A timer that is not scheduled yet (see RunLoop::addTimer). A repeating
    /// timer's interval is at least 0.1 ms.
    static std::shared_ptr<Timer> create(Date fireDate, double interval, bool repeats, Block block);
    /// A timer scheduled on the current thread's run loop, first firing
    /// `seconds` from now.
    static std::shared_ptr<Timer> scheduledTimer(double seconds, bool repeats, Block block);

    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    Date fireDate() const;
    /// Moves the next firing; a date in the past fires on the loop's next turn.
    /// Any thread; a loop already waiting sees it once woken (RunLoop::perform).
    void setFireDate(Date date);
    double timeInterval() const { return interval_; }
    bool repeats() const { return repeats_; }

    /// True until invalidated, or until a one-shot timer has fired.
    bool isValid() const { return valid_.load(); }
    /// Stops the timer for good; safe from any thread and from its own block.
    void invalidate();
    /// Runs the block now, on the loop's thread; a one-shot timer then becomes
    /// invalid, a repeating one keeps its schedule.
    void fire();

private:
    Timer(Date fireDate, double interval, bool repeats, Block block);
    friend class RunLoop;

    std::atomic<double> fireSeconds_;  // seconds since 1970, wall clock
    const double interval_;
    const bool repeats_;
    std::atomic<bool> valid_{true};
    std::atomic<bool> scheduled_{false};
    Block block_;
};

}  // namespace kq
