#include "KQFoundation/Foundation/Observable.h"

#include <algorithm>

namespace kq {

ObservationToken Observable::addObserver(std::string_view key, unsigned options, KeyValueObserver observer) {
    ObservationToken token;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        token = nextToken_++;
        registrations_.push_back({token, std::string(key), options, observer});
    }
    if (options & KeyValueObservingOptionInitial) {
        KeyValueChange change;
        if (options & KeyValueObservingOptionNew) change.newValue = valueForKey(key);
        observer(*this, std::string(key), change);
    }
    return token;
}

void Observable::removeObserver(ObservationToken token) {
    std::lock_guard<std::mutex> lock(mutex_);
    std::erase_if(registrations_, [token](const Registration& r) { return r.token == token; });
}

Value Observable::valueForKey(std::string_view) const { return Value(); }

bool Observable::automaticallyNotifiesObserversForKey(std::string_view) const { return true; }

std::vector<Observable::Registration> Observable::snapshot(std::string_view key) const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<Registration> matching;
    for (const Registration& r : registrations_)
        if (r.key == key) matching.push_back(r);
    return matching;
}

void Observable::willChangeValueForKey(std::string_view key) {
    // Observers are called without the lock held, so they may add or remove observers.
    const auto observers = snapshot(key);
    bool wantsOld = false;
    for (const Registration& r : observers) wantsOld |= (r.options & KeyValueObservingOptionOld) != 0;
    std::optional<Value> old;
    if (wantsOld) old = valueForKey(key);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        pending_.push_back({std::string(key), old});
    }
    for (const Registration& r : observers) {
        if (!(r.options & KeyValueObservingOptionPrior)) continue;
        KeyValueChange change;
        change.isPrior = true;
        if (r.options & KeyValueObservingOptionOld) change.oldValue = old;
        r.observer(*this, r.key, change);
    }
}

void Observable::didChangeValueForKey(std::string_view key) {
    std::optional<Value> old;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        // Pairs nest; the innermost open "will" for this key matches.
        auto it = std::find_if(pending_.rbegin(), pending_.rend(),
                               [key](const Pending& p) { return p.key == key; });
        if (it != pending_.rend()) {
            old = std::move(it->oldValue);
            pending_.erase(std::next(it).base());
        }
    }
    const auto observers = snapshot(key);
    if (observers.empty()) return;
    bool wantsNew = false;
    for (const Registration& r : observers) wantsNew |= (r.options & KeyValueObservingOptionNew) != 0;
    std::optional<Value> current;
    if (wantsNew) current = valueForKey(key);
    for (const Registration& r : observers) {
        KeyValueChange change;
        if (r.options & KeyValueObservingOptionNew) change.newValue = current;
        if (r.options & KeyValueObservingOptionOld) change.oldValue = old;
        r.observer(*this, r.key, change);
    }
}

}  // namespace kq
