#include "KQFoundation/KQUSystemTimeHandler.h"

#include <utility>

#include "KQFoundation/System/RunLoop.h"
#include "KQFoundation/System/Workspace.h"
#include "System/SystemTimeEvents.h"

std::shared_ptr<KQUSystemTimeHandler> KQUSystemTimeHandler::systemTimeHandlerWithFireDate(
    std::optional<kq::Date> fireDate, Completion completion) {
    return create(fireDate, std::move(completion));
}

std::shared_ptr<KQUSystemTimeHandler> KQUSystemTimeHandler::create(std::optional<kq::Date> fireDate,
                                                                   Completion completion) {
    if (!fireDate) return nullptr;
    std::shared_ptr<KQUSystemTimeHandler> handler(new KQUSystemTimeHandler(*fireDate, std::move(completion)));
    kq::detail::startSystemTimeEventSources();
    handler->scheduleTimer(true);
    // Weak: the centres must not keep a handler alive, only its timer does.
    auto reset = [weak = std::weak_ptr(handler)](const kq::Notification& notification) {
        if (auto self = weak.lock()) self->resetTimer(notification);
    };
    kq::NotificationCenter::defaultCenter().addObserver(handler.get(), kq::NSSystemClockDidChangeNotification,
                                                        nullptr, reset);
    kq::Workspace::sharedWorkspace().notificationCenter().addObserver(
        handler.get(), kq::NSWorkspaceDidWakeNotification, nullptr, reset);
    return handler;
}

KQUSystemTimeHandler::KQUSystemTimeHandler(kq::Date fireDate, Completion completion)
    : fireDate_(fireDate), completion_(std::move(completion)) {}

KQUSystemTimeHandler::~KQUSystemTimeHandler() {
    kq::NotificationCenter::defaultCenter().removeObserver(this);
    kq::Workspace::sharedWorkspace().notificationCenter().removeObserver(this);
    if (timer_) timer_->invalidate();
}

kq::Date KQUSystemTimeHandler::fireDate() const {
    std::lock_guard lock(mutex_);
    return fireDate_;
}

void KQUSystemTimeHandler::setFireDate(kq::Date date) {
    std::lock_guard lock(mutex_);
    fireDate_ = date;
}

KQUSystemTimeHandler::Completion KQUSystemTimeHandler::completion() const {
    std::lock_guard lock(mutex_);
    return completion_;
}

void KQUSystemTimeHandler::setCompletion(Completion completion) {
    Completion previous;  // released outside the lock: it may hold the last reference to us
    std::lock_guard lock(mutex_);
    previous = std::exchange(completion_, std::move(completion));
}

std::shared_ptr<kq::Timer> KQUSystemTimeHandler::timer() const {
    std::lock_guard lock(mutex_);
    return timer_;
}

void KQUSystemTimeHandler::setTimer(std::shared_ptr<kq::Timer> timer) {
    std::shared_ptr<kq::Timer> previous;
    {
        std::lock_guard lock(mutex_);
        if (timer == timer_) return;
        previous = std::exchange(timer_, std::move(timer));
    }
    if (previous) previous->invalidate();
}

std::shared_ptr<kq::Timer> KQUSystemTimeHandler::makeTimer() {
    // The timer holds its target, which keeps an armed handler alive.
    return kq::Timer::create(fireDate(), 0, false,
                             [self = shared_from_this()](kq::Timer& timer) { self->timerFireMethod(timer); });
}

void KQUSystemTimeHandler::scheduleTimer(bool initial) {
    auto timer = makeTimer();
    std::shared_ptr<kq::Timer> previous;
    {
        // Checked and replaced in one step, so a reset racing invalidate on
        // another thread cannot arm a finished handler again.
        std::lock_guard lock(mutex_);
        if (initial)
            armed_ = true;
        else if (!armed_)
            return;
        previous = std::exchange(timer_, timer);
    }
    if (previous) previous->invalidate();
    kq::RunLoop::currentRunLoop()->addTimer(std::move(timer));
}

void KQUSystemTimeHandler::resetTimer(const kq::Notification&) { scheduleTimer(false); }

void KQUSystemTimeHandler::timerFireMethod(kq::Timer&) {
    const auto keepAlive = weak_from_this().lock();
    Completion block;
    {
        std::lock_guard lock(mutex_);
        // A replaced timer that was already running on another loop.
        if (!armed_) return;
        block = completion_;
    }
    invalidate();
    if (block) block();
}

void KQUSystemTimeHandler::invalidate() {
    kq::NotificationCenter::defaultCenter().removeObserver(this);
    kq::Workspace::sharedWorkspace().notificationCenter().removeObserver(this);
    std::shared_ptr<kq::Timer> timer;
    Completion block;
    {
        std::lock_guard lock(mutex_);
        armed_ = false;
        timer = std::move(timer_);
        timer_ = nullptr;
        block = std::move(completion_);
        completion_ = nullptr;
    }
    if (timer) timer->invalidate();
}
