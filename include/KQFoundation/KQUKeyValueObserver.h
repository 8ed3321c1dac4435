#pragma once
// KQUKeyValueObserver: turns key-value observing of one key path of one
// kq::Observable into a block call. The observed object is not retained: it
// must outlive the registration (until invalidate() or the observer's end).
//
//   auto observer = KQUKeyValueObserver::observerWithObject(&model, "title", kq::KeyValueObservingOptionNew,
//       [](KQUKeyValueObserver&, const kq::Observable&, const std::string&, const kq::KeyValueChange& c) { ... });
//
// The handler runs on the thread that made the change.
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Observable.h"

class KQ_EXPORT KQUKeyValueObserver : public std::enable_shared_from_this<KQUKeyValueObserver> {
public:
    using Handler = std::function<void(KQUKeyValueObserver& observer, const kq::Observable& object,
                                       const std::string& keyPath, const kq::KeyValueChange& change)>;

    /// The marker every registration of this class carries; reports with any
    /// other context are not this class's. Its address, not its text, decides.
    static const char* const KQUKeyValueObserverContext;

    /// nullptr (and nothing registered) when the object, the key path or the
    /// handler is missing; otherwise registered for the key path with the
    /// options (kq::KeyValueObservingOptions bits).
    static std::shared_ptr<KQUKeyValueObserver> observerWithObject(kq::Observable* object, std::string_view keyPath,
                                                                   unsigned options, Handler handler);
    /// Unregisters, unless invalidate() already did.
    virtual ~KQUKeyValueObserver();
    KQUKeyValueObserver(const KQUKeyValueObserver&) = delete;
    KQUKeyValueObserver& operator=(const KQUKeyValueObserver&) = delete;

    kq::Observable* observee() const;
    std::string keyPath() const;
    Handler handler() const;

    /// Where change reports arrive. With this class's context it calls the
    /// handler (if any) with this observer, the object, the key path and the
    /// change; other reports are ignored here. A subclass that registers with
    /// its own context overrides this and passes on what is not its own.
    virtual void observeValueForKeyPath(const std::string& keyPath, const kq::Observable& object,
                                        const kq::KeyValueChange& change, const void* context);

    /// Unregisters and clears observee, key path and handler; later calls do nothing.
    void invalidate();

protected:
    KQUKeyValueObserver(kq::Observable* object, std::string_view keyPath, Handler handler);

private:
    void registerWith(unsigned options);
    void unregister();

    mutable std::mutex mutex_;
    kq::Observable* observee_;
    std::string keyPath_;
    Handler handler_;
    std::optional<kq::ObservationToken> token_;
};
