#pragma once
// KQUNetworkReachability: watches whether the server of one URL can be
// reached, from two signals: the route-level reachability of the URL's host
// (could packets leave towards it?) and a real request to the URL (does the
// server answer?).
//
// startNotifier() schedules the route source on the calling thread's run loop
// and starts a probe: the status becomes Checking (1), then Reachable (3) or
// ReachableByRequest (2, the routes said no or have not spoken yet) when any
// response arrives (the body is never read; any HTTP status counts), or
// NotReachable (0) when the request fails, after which a new probe starts
// every retryInterval() seconds (10.0) until one succeeds. Each route change
// stores the status its flags give in callbackNetworkStatus and starts a new
// probe, replacing one under way. Every change of networkStatus posts
// kKQUNetworkReachabilityDidChangeNotification on
// kq::NotificationCenter::defaultCenter() with the object as sender and no
// user info, then calls the change handler; setting the same status again does
// neither.
//
// The object belongs to the thread whose run loop ran startNotifier: route
// callbacks, probe outcomes, retries, the notification and the handler all
// happen there, without locks. A pending retry keeps the object alive until it
// fires or stopNotifier() cancels it.
#include <cstdint>
#include <functional>
#include <memory>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/URL.h"
#include "KQFoundation/System/URLConnection.h"

namespace kq {
class RouteReachability;
class RunLoop;
}  // namespace kq

/// Values of KQUNetworkReachability::networkStatus.
enum KQUNetworkStatus : std::uint64_t {
    /// The route flags say no, or the last probe failed.
    KQUNetworkStatusNotReachable = 0,
    /// A probe request is under way.
    KQUNetworkStatusChecking = 1,
    /// The last probe got a response while the routes said no (or had not spoken).
    KQUNetworkStatusReachableByRequest = 2,
    /// Reachable by the route flags, and the last probe got a response.
    KQUNetworkStatusReachable = 3,
};

/// "kKQUNetworkReachabilityDidChangeNotification"
extern KQ_EXPORT const char* const kKQUNetworkReachabilityDidChangeNotification;

class KQ_EXPORT KQUNetworkReachability : public std::enable_shared_from_this<KQUNetworkReachability>,
                                         public kq::URLConnectionDelegate {
public:
    using ChangeHandler = std::function<void(KQUNetworkReachability& reachability)>;

    static constexpr double kDefaultRequestTimeoutInterval = 10.0;
    static constexpr double kDefaultRetryInterval = 10.0;

    /// Watches `url` (its host's routes, requests to the URL itself) with
    /// probes that time out after `requestTimeoutInterval` seconds. Reads the
    /// route flags once: networkStatus and callbackNetworkStatus start as what
    /// they give (0 when they cannot be read), without a notification.
    /// nullptr when the URL's host gives no route source (no host at all).
    static std::shared_ptr<KQUNetworkReachability> create(const kq::URL& url, ChangeHandler handler);
    static std::shared_ptr<KQUNetworkReachability> create(const kq::URL& url, double requestTimeoutInterval,
                                                          ChangeHandler handler);
    /// The same over a given route source instead of the platform's (nullptr
    /// gives nullptr).
    static std::shared_ptr<KQUNetworkReachability> create(const kq::URL& url, double requestTimeoutInterval,
                                                          ChangeHandler handler,
                                                          std::shared_ptr<kq::RouteReachability> routeSource);

    ~KQUNetworkReachability() override;
    KQUNetworkReachability(const KQUNetworkReachability&) = delete;
    KQUNetworkReachability& operator=(const KQUNetworkReachability&) = delete;

    /// 0 without the reachable bit (0x2); 3 with it unless a connection is
    /// required (0x4) and would not be made automatically (neither on traffic
    /// 0x8 nor on demand 0x20) or needs the user (0x10).
    static std::uint64_t reachabilityNetworkStatusForFlags(std::uint32_t flags);

    const kq::URL& reachabilityURL() const { return url_; }
    double requestTimeoutInterval() const { return timeout_; }
    const ChangeHandler& reachabilityChangeHandler() const { return handler_; }
    void setReachabilityChangeHandler(ChangeHandler handler) { handler_ = std::move(handler); }

    std::uint64_t networkStatus() const { return status_; }
    /// Stores a new status, then notifies and calls the handler; an unchanged
    /// status does nothing.
    void setNetworkStatus(std::uint64_t status);
    /// The status the last route flags gave (0 or 3).
    std::uint64_t callbackNetworkStatus() const { return callbackStatus_; }
    void setCallbackNetworkStatus(std::uint64_t status) { callbackStatus_ = status; }
    /// Whether the last probe got a response.
    bool isReachable() const { return reachable_; }
    void setReachable(bool reachable) { reachable_ = reachable; }

    kq::RouteReachability* networkReachabilityRef() const { return route_.get(); }
    /// The loop route callbacks are delivered on, once startNotifier has run.
    const std::shared_ptr<kq::RunLoop>& callbackRunLoop() const { return callbackRunLoop_; }
    void setCallbackRunLoop(std::shared_ptr<kq::RunLoop> loop) { callbackRunLoop_ = std::move(loop); }
    /// The probe under way, or nullptr.
    const std::shared_ptr<kq::URLConnection>& connection() const { return connection_; }
    /// Cancels the current probe when a different one replaces it.
    void setConnection(std::shared_ptr<kq::URLConnection> connection);

    /// Seconds between a failed probe and the next one, 10.0 unless changed
    /// (tests shorten it).
    double retryInterval() const { return retryInterval_; }
    void setRetryInterval(double seconds) { retryInterval_ = seconds; }

    /// Starts watching route changes on the calling thread's run loop and
    /// starts a probe. False when the route source refuses the callback or
    /// the loop.
    bool startNotifier();
    /// Stops watching and cancels the probe and any pending retry. False when
    /// startNotifier has not run (or the source cannot be unscheduled).
    bool stopNotifier();

    /// Checking; a new probe (ignoring local cache data, timing out after
    /// requestTimeoutInterval) replaces the current one.
    void startReachabilityConnection();
    /// Cancels the probe and any pending retry.
    void cancelReachabilityConnection();
    /// networkStatus from the last probe and route flags: 0 when the probe
    /// failed, else callbackNetworkStatus, or 2 when that is 0.
    void updateNetworkStatus();

    void connectionDidReceiveResponse(kq::URLConnection& connection, const kq::URLResponse& response) override;
    void connectionDidFailWithError(kq::URLConnection& connection, const kq::URLError& error) override;

private:
    KQUNetworkReachability(kq::URL url, double timeout, ChangeHandler handler,
                           std::shared_ptr<kq::RouteReachability> route);
    void routeDidChange(std::uint32_t flags);

    kq::URL url_;
    double timeout_;
    ChangeHandler handler_;
    std::shared_ptr<kq::RouteReachability> route_;
    std::shared_ptr<kq::RunLoop> callbackRunLoop_;
    std::shared_ptr<kq::URLConnection> connection_;
    std::uint64_t status_ = KQUNetworkStatusNotReachable;
    std::uint64_t callbackStatus_ = KQUNetworkStatusNotReachable;
    bool reachable_ = false;
    double retryInterval_ = kDefaultRetryInterval;
};
