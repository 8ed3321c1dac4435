#pragma once
// kq::NotificationCenter: observers of named notifications from a sender.
//
// An observer is registered for a name (empty = any name) and a sender
// (nullptr = any sender; senders are compared by address) with a block.
// postNotification calls the matching blocks on the posting thread, in the
// order they were added, outside the centre's lock: a block may post, add or
// remove observers. An observer added during a delivery first hears the next
// notification; one removed during a delivery is not called again, even by
// that delivery. A block that another thread is running when its observer is
// removed still finishes. An exception from a block goes to the poster and
// ends that delivery.
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Value.h"

namespace kq {

/// Posted on defaultCenter(), on the main run loop, after the system clock
/// was set (by the user, the network time service, or on waking): wall-clock
/// dates kept by timers may have moved relative to now.
extern KQ_EXPORT const char* const NSSystemClockDidChangeNotification;  // "NSSystemClockDidChangeNotification"

struct KQ_EXPORT Notification {
    std::string name;
    const void* object = nullptr;  // the sender
    Dictionary userInfo;
};

// Names an observer registration; a default token names none.
struct KQ_EXPORT NotificationObserverToken {
    std::uint64_t identifier = 0;
    explicit operator bool() const { return identifier != 0; }
    friend bool operator==(const NotificationObserverToken&, const NotificationObserverToken&) = default;
};

class KQ_EXPORT NotificationCenter {
public:
    using Block = std::function<void(const Notification&)>;

    NotificationCenter();
    ~NotificationCenter();
    NotificationCenter(const NotificationCenter&) = delete;
    NotificationCenter& operator=(const NotificationCenter&) = delete;

    // The process-wide centre, created on first use and never destroyed.
    static NotificationCenter& defaultCenter();

    NotificationObserverToken addObserver(std::string_view name, const void* sender, Block block);
    // The same, registered on behalf of `observer`, so that
    // removeObserver(observer) can remove all of its registrations at once.
    NotificationObserverToken addObserver(const void* observer, std::string_view name, const void* sender,
                                          Block block);
    void removeObserver(NotificationObserverToken token);
    void removeObserver(const void* observer);

    void postNotification(std::string_view name, const void* sender = nullptr, Dictionary userInfo = {});
    void postNotification(const Notification& notification);

private:
    struct Registration;

    std::mutex mutex_;
    std::vector<std::shared_ptr<Registration>> registrations_;
    std::uint64_t lastIdentifier_ = 0;
};

}  // namespace kq
