#pragma once
// Where kq::NSSystemClockDidChangeNotification (default centre) and
// kq::NSWorkspaceDidWakeNotification (the workspace's centre) come from.
//
// One watcher per process, started by the first caller and never stopped,
// posts both through the main run loop, so observers that live there (timers
// made on the main thread) hear them on their own loop. The Linux half
// watches the clock with a timerfd cancelled on every clock set, and sleep
// through logind's PrepareForSleep signal on the system bus, or, where there
// is no system bus, with a SuspendDetector checked every few seconds. A
// macOS half would forward the platform's own two notifications instead.
#include <optional>

namespace kq::detail {

/// Starts the watcher once; later calls return at once. The first call also
/// settles the main run loop (the caller's, when nobody has). A clock set
/// after the first call returns is reported.
void startSystemTimeEventSources();

/// Posts the notification on the main run loop; dropped when the loop's
/// thread has ended. Any thread.
void postSystemClockDidChange();
void postWorkspaceDidWake();

/// Tells that the machine slept from readings of two clocks: the boot-time
/// clock counts time spent suspended and the monotonic clock does not, so
/// their difference grows only across a suspend. Unlike the wall clock,
/// neither moves when the clock is set or the process is stopped.
class SuspendDetector {
public:
    explicit SuspendDetector(double thresholdSeconds = 1.0) : threshold_(thresholdSeconds) {}
    /// True when the difference grew by more than the threshold since the
    /// previous readings; the first readings only set the baseline.
    bool machineSleptSince(double bootTimeSeconds, double monotonicSeconds);

private:
    double threshold_;
    std::optional<double> lastDifference_;
};

}  // namespace kq::detail
