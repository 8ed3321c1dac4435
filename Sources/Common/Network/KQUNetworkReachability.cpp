#include "KQFoundation/KQUNetworkReachability.h"

#include "KQFoundation/System/NotificationCenter.h"
#include "KQFoundation/System/RunLoop.h"
#include "KQFoundation/System/URLRequest.h"
#include "System/RouteReachability.h"

using kq::RouteReachability;

const char* const kKQUNetworkReachabilityDidChangeNotification = "kKQUNetworkReachabilityDidChangeNotification";

std::shared_ptr<KQUNetworkReachability> KQUNetworkReachability::create(const kq::URL& url, ChangeHandler handler) {
    return create(url, kDefaultRequestTimeoutInterval, std::move(handler));
}

std::shared_ptr<KQUNetworkReachability> KQUNetworkReachability::create(const kq::URL& url,
                                                                       double requestTimeoutInterval,
                                                                       ChangeHandler handler) {
    return create(url, requestTimeoutInterval, std::move(handler), RouteReachability::createWithName(url.host()));
}

std::shared_ptr<KQUNetworkReachability> KQUNetworkReachability::create(
    const kq::URL& url, double requestTimeoutInterval, ChangeHandler handler,
    std::shared_ptr<RouteReachability> routeSource) {
    if (!routeSource) return nullptr;
    return std::shared_ptr<KQUNetworkReachability>(
        new KQUNetworkReachability(url, requestTimeoutInterval, std::move(handler), std::move(routeSource)));
}

KQUNetworkReachability::KQUNetworkReachability(kq::URL url, double timeout, ChangeHandler handler,
                                               std::shared_ptr<RouteReachability> route)
    : url_(std::move(url)), timeout_(timeout), handler_(std::move(handler)), route_(std::move(route)) {
    // The first reading is the starting point, not a change: nobody is told.
    if (const auto flags = route_->flags()) {
        status_ = callbackStatus_ = reachabilityNetworkStatusForFlags(*flags);
        reachable_ = status_ == KQUNetworkStatusReachable;
    }
}

KQUNetworkReachability::~KQUNetworkReachability() {
    // The source may outlive us (it was handed in); it must not call back.
    if (callbackRunLoop_) route_->unscheduleFromRunLoop(*callbackRunLoop_);
    route_->setCallback(nullptr);
    if (connection_) connection_->cancel();
}

std::uint64_t KQUNetworkReachability::reachabilityNetworkStatusForFlags(std::uint32_t flags) {
    if (!(flags & RouteReachability::kReachable)) return KQUNetworkStatusNotReachable;
    if (!(flags & RouteReachability::kConnectionRequired)) return KQUNetworkStatusReachable;
    const bool automatic = flags & (RouteReachability::kConnectionOnTraffic | RouteReachability::kConnectionOnDemand);
    const bool needsUser = flags & RouteReachability::kInterventionRequired;
    return automatic && !needsUser ? KQUNetworkStatusReachable : KQUNetworkStatusNotReachable;
}

void KQUNetworkReachability::setNetworkStatus(std::uint64_t status) {
    if (status == status_) return;
    status_ = status;
    // An observer or the handler may drop the last reference to us.
    const auto keepAlive = weak_from_this().lock();
    kq::NotificationCenter::defaultCenter().postNotification(kKQUNetworkReachabilityDidChangeNotification, this);
    if (handler_) {
        const auto handler = handler_;  // the handler may replace itself
        handler(*this);
    }
}

void KQUNetworkReachability::setConnection(std::shared_ptr<kq::URLConnection> connection) {
    if (connection == connection_) return;
    auto previous = std::move(connection_);
    connection_ = std::move(connection);
    if (previous) previous->cancel();
}

bool KQUNetworkReachability::startNotifier() {
    // Not owning: the destructor clears the callback and unschedules.
    if (!route_->setCallback([this](std::uint32_t flags) { routeDidChange(flags); })) return false;
    callbackRunLoop_ = kq::RunLoop::currentRunLoop();
    if (!route_->scheduleWithRunLoop(*callbackRunLoop_)) return false;
    startReachabilityConnection();
    return true;
}

bool KQUNetworkReachability::stopNotifier() {
    if (!route_ || !callbackRunLoop_) return false;
    if (!route_->unscheduleFromRunLoop(*callbackRunLoop_)) return false;
    cancelReachabilityConnection();
    return true;
}

void KQUNetworkReachability::startReachabilityConnection() {
    const auto keepAlive = weak_from_this().lock();
    setNetworkStatus(KQUNetworkStatusChecking);
    kq::MutableURLRequest request(url_, timeout_);
    request.setCachePolicy(kq::URLRequest::ReloadIgnoringLocalCacheData);
    setConnection(kq::URLConnection::start(std::move(request), this));
}

void KQUNetworkReachability::cancelReachabilityConnection() {
    setConnection(nullptr);
    kq::RunLoop::currentRunLoop()->cancelPerformRequests(this);
}

void KQUNetworkReachability::updateNetworkStatus() {
    if (!reachable_)
        setNetworkStatus(KQUNetworkStatusNotReachable);
    else
        setNetworkStatus(callbackStatus_ != KQUNetworkStatusNotReachable ? callbackStatus_
                                                                         : KQUNetworkStatusReachableByRequest);
}

void KQUNetworkReachability::connectionDidReceiveResponse(kq::URLConnection&, const kq::URLResponse&) {
    const auto keepAlive = weak_from_this().lock();
    reachable_ = true;
    updateNetworkStatus();
    // The answer is all we wanted; the body is never read.
    cancelReachabilityConnection();
}

void KQUNetworkReachability::connectionDidFailWithError(kq::URLConnection&, const kq::URLError&) {
    const auto keepAlive = weak_from_this().lock();
    reachable_ = false;
    updateNetworkStatus();
    cancelReachabilityConnection();
    // The pending retry holds us, as the caller may have let go already.
    if (keepAlive)
        kq::RunLoop::currentRunLoop()->performAfterDelay(
            this, [self = keepAlive] { self->startReachabilityConnection(); }, retryInterval_);
}

void KQUNetworkReachability::routeDidChange(std::uint32_t flags) {
    const auto keepAlive = weak_from_this().lock();
    callbackStatus_ = reachabilityNetworkStatusForFlags(flags);
    startReachabilityConnection();
}
