#pragma once
// kq::Observable: key-value observing. Observers register per key with the
// options New, Old, Initial and Prior; a change is a will/did pair. Setters
// that go through setValueForKey notify automatically unless the subclass
// turns automatic notification off for that key and sends the pair itself.
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Value.h"

namespace kq {

enum KeyValueObservingOptions : unsigned {
    KeyValueObservingOptionNew = 0x01,
    KeyValueObservingOptionOld = 0x02,
    KeyValueObservingOptionInitial = 0x04,
    KeyValueObservingOptionPrior = 0x08,
};

struct KQ_EXPORT KeyValueChange {
    /// Present when the New option was given (and not in the prior notice).
    std::optional<Value> newValue;
    /// Present when the Old option was given.
    std::optional<Value> oldValue;
    /// True for the notice sent before the change (Prior option).
    bool isPrior = false;
};

class Observable;
using KeyValueObserver = std::function<void(const Observable& object, const std::string& key,
                                            const KeyValueChange& change)>;
using ObservationToken = std::uint64_t;

class KQ_EXPORT Observable {
public:
    Observable() = default;
    Observable(const Observable&) = delete;
    Observable& operator=(const Observable&) = delete;
    virtual ~Observable() = default;

    ObservationToken addObserver(std::string_view key, unsigned options, KeyValueObserver observer);
    void removeObserver(ObservationToken token);

    /// The current value for a key, for the Old/New parts of a change; the
    /// default knows no keys and returns null.
    virtual Value valueForKey(std::string_view key) const;
    /// Whether setValueForKey sends the will/did pair itself (default: yes).
    virtual bool automaticallyNotifiesObserversForKey(std::string_view key) const;

    void willChangeValueForKey(std::string_view key);
    void didChangeValueForKey(std::string_view key);

protected:
    /// Assigns the field, notifying observers when the key notifies automatically.
    template <class T, class U>
    void setValueForKey(std::string_view key, T& field, U&& value) {
        const bool notify = automaticallyNotifiesObserversForKey(key);
        if (notify) willChangeValueForKey(key);
        field = std::forward<U>(value);
        if (notify) didChangeValueForKey(key);
    }

private:
    struct Registration {
        ObservationToken token;
        std::string key;
        unsigned options;
        KeyValueObserver observer;
    };
    struct Pending {
        std::string key;
        std::optional<Value> oldValue;
    };
    std::vector<Registration> snapshot(std::string_view key) const;

    mutable std::mutex mutex_;
    std::vector<Registration> registrations_;
    std::vector<Pending> pending_;
    ObservationToken nextToken_ = 1;
};

}  // namespace kq
