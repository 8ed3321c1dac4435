#include "System/SystemTimeEvents.h"

#include "KQFoundation/System/NotificationCenter.h"
#include "KQFoundation/System/RunLoop.h"
#include "KQFoundation/System/Workspace.h"

namespace kq::detail {

void postSystemClockDidChange() {
    RunLoop::mainRunLoop()->perform(
        [] { NotificationCenter::defaultCenter().postNotification(NSSystemClockDidChangeNotification); });
}

void postWorkspaceDidWake() {
    RunLoop::mainRunLoop()->perform([] {
        Workspace::sharedWorkspace().notificationCenter().postNotification(NSWorkspaceDidWakeNotification);
    });
}

bool SuspendDetector::machineSleptSince(double bootTimeSeconds, double monotonicSeconds) {
    const double difference = bootTimeSeconds - monotonicSeconds;
    const bool slept = lastDifference_ && difference - *lastDifference_ > threshold_;
    lastDifference_ = difference;
    return slept;
}

}  // namespace kq::detail
