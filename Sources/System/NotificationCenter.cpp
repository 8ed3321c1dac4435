#include "KQFoundation/System/NotificationCenter.h"

#include <algorithm>
#include <atomic>

namespace kq {

const char* const NSSystemClockDidChangeNotification = "NSSystemClockDidChangeNotification";

struct NotificationCenter::Registration {
    std::uint64_t identifier;
    const void* observer;
    std::string name;
    const void* sender;
    Block block;
    // Cleared on removal, so a delivery working on an earlier snapshot skips it.
    std::atomic<bool> active{true};

    bool matches(const Notification& notification) const {
        return (name.empty() || name == notification.name) && (sender == nullptr || sender == notification.object);
    }
};

NotificationCenter::NotificationCenter() = default;
NotificationCenter::~NotificationCenter() = default;

NotificationCenter& NotificationCenter::defaultCenter() {
    // Never destroyed: observers may still post from other threads during exit.
    static NotificationCenter* center = new NotificationCenter;
    return *center;
}

NotificationObserverToken NotificationCenter::addObserver(std::string_view name, const void* sender, Block block) {
    return addObserver(nullptr, name, sender, std::move(block));
}

NotificationObserverToken NotificationCenter::addObserver(const void* observer, std::string_view name,
                                                          const void* sender, Block block) {
    if (!block) return {};
    std::lock_guard lock(mutex_);
    auto registration = std::make_shared<Registration>();
    registration->identifier = ++lastIdentifier_;
    registration->observer = observer;
    registration->name = std::string(name);
    registration->sender = sender;
    registration->block = std::move(block);
    registrations_.push_back(registration);
    return NotificationObserverToken{registration->identifier};
}

void NotificationCenter::removeObserver(NotificationObserverToken token) {
    if (!token) return;
    std::lock_guard lock(mutex_);
    std::erase_if(registrations_, [&](const std::shared_ptr<Registration>& registration) {
        if (registration->identifier != token.identifier) return false;
        registration->active = false;
        return true;
    });
}

void NotificationCenter::removeObserver(const void* observer) {
    if (observer == nullptr) return;
    std::lock_guard lock(mutex_);
    std::erase_if(registrations_, [&](const std::shared_ptr<Registration>& registration) {
        if (registration->observer != observer) return false;
        registration->active = false;
        return true;
    });
}

void NotificationCenter::postNotification(std::string_view name, const void* sender, Dictionary userInfo) {
    postNotification(Notification{std::string(name), sender, std::move(userInfo)});
}

void NotificationCenter::postNotification(const Notification& notification) {
    std::vector<std::shared_ptr<Registration>> receivers;
    {
        std::lock_guard lock(mutex_);
        for (const auto& registration : registrations_) {
            if (registration->matches(notification)) receivers.push_back(registration);
        }
    }
    for (const auto& registration : receivers) {
        if (registration->active) registration->block(notification);
    }
}

}  // namespace kq
