#include "KQFoundation/KQUKeyValueObserver.h"

const char* const KQUKeyValueObserver::KQUKeyValueObserverContext = "KQUKeyValueObserverContext";

std::shared_ptr<KQUKeyValueObserver> KQUKeyValueObserver::observerWithObject(kq::Observable* object,
                                                                             std::string_view keyPath,
                                                                             unsigned options, Handler handler) {
    if (!object || keyPath.empty() || !handler) return nullptr;
    std::shared_ptr<KQUKeyValueObserver> observer(new KQUKeyValueObserver(object, keyPath, std::move(handler)));
    observer->registerWith(options);
    return observer;
}

KQUKeyValueObserver::KQUKeyValueObserver(kq::Observable* object, std::string_view keyPath, Handler handler)
    : observee_(object), keyPath_(keyPath), handler_(std::move(handler)) {}

KQUKeyValueObserver::~KQUKeyValueObserver() { unregister(); }

void KQUKeyValueObserver::registerWith(unsigned options) {
    // Weak: a report racing with the observer's end finds nobody to call.
    auto token = observee_->addObserver(
        keyPath_, options,
        [weak = weak_from_this()](const kq::Observable& object, const std::string& key,
                                  const kq::KeyValueChange& change) {
            if (auto self = weak.lock()) self->observeValueForKeyPath(key, object, change, KQUKeyValueObserverContext);
        });
    std::lock_guard lock(mutex_);
    token_ = token;
}

void KQUKeyValueObserver::unregister() {
    kq::Observable* observee = nullptr;
    std::optional<kq::ObservationToken> token;
    {
        std::lock_guard lock(mutex_);
        observee = observee_;
        token = token_;
        token_.reset();
    }
    if (observee && token) observee->removeObserver(*token);
}

kq::Observable* KQUKeyValueObserver::observee() const {
    std::lock_guard lock(mutex_);
    return observee_;
}

std::string KQUKeyValueObserver::keyPath() const {
    std::lock_guard lock(mutex_);
    return keyPath_;
}

KQUKeyValueObserver::Handler KQUKeyValueObserver::handler() const {
    std::lock_guard lock(mutex_);
    return handler_;
}

void KQUKeyValueObserver::observeValueForKeyPath(const std::string& keyPath, const kq::Observable& object,
                                                 const kq::KeyValueChange& change, const void* context) {
    if (context != KQUKeyValueObserverContext) return;
    // A copy, so invalidate() on another thread cannot pull it away mid-call.
    Handler handler = this->handler();
    if (handler) handler(*this, object, keyPath, change);
}

void KQUKeyValueObserver::invalidate() {
    unregister();
    std::lock_guard lock(mutex_);
    observee_ = nullptr;
    keyPath_.clear();
    handler_ = nullptr;
}
