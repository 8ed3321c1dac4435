#pragma once
// kq::RouteReachability: whether packets could leave this machine towards one
// host, as route-level flags, and a callback when the routing picture changes.
// It says nothing about whether the host answers; KQUNetworkReachability adds
// a real request for that.
//
// flags() resolves the host each time it is asked (an address literal needs no
// resolver), so a name that stops resolving reads as "no route". The callback
// runs on the run loop the source is scheduled on, with freshly read flags,
// after any change of links, addresses or routes the kernel announces; a burst
// of announcements arriving together gives one call.
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

namespace kq {

class RunLoop;

class RouteReachability {
public:
    // The platform's route flag bits; the Linux backend sets kReachable only.
    static constexpr std::uint32_t kReachable = 0x2;
    static constexpr std::uint32_t kConnectionRequired = 0x4;
    static constexpr std::uint32_t kConnectionOnTraffic = 0x8;
    static constexpr std::uint32_t kInterventionRequired = 0x10;
    static constexpr std::uint32_t kConnectionOnDemand = 0x20;

    using Callback = std::function<void(std::uint32_t flags)>;

    /// The platform's source for a host name or address literal (an IPv6
    /// literal may keep its brackets); nullptr when the name is empty or
    /// could never be a host name (control characters, spaces, too long).
    static std::shared_ptr<RouteReachability> createWithName(std::string_view host);

    virtual ~RouteReachability() = default;

    /// The current flags; nullopt when they cannot be read at all (as opposed
    /// to 0: read, and no route).
    virtual std::optional<std::uint32_t> flags() = 0;
    /// Replaces the change callback; an empty one stops the calls.
    virtual bool setCallback(Callback callback) = 0;
    /// Starts watching for changes on `loop`, which must be the calling
    /// thread's loop; scheduling again on the same loop is harmless.
    virtual bool scheduleWithRunLoop(RunLoop& loop) = 0;
    /// Stops watching; false when not scheduled on that loop.
    virtual bool unscheduleFromRunLoop(RunLoop& loop) = 0;
};

}  // namespace kq
