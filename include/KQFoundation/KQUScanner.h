#pragma once
// KQUScanner: the run protocol every scanner shares. `scan` is synchronous
// and brackets the subclass's performScan with scannerWillStart and
// scannerDidFinish; `stop` only raises a flag that the subclass polls between
// units of work, so it may be called from any thread. Progress (0 ... 1) is
// observable under the key "progress" (the will/did pair is sent by hand on
// every set) and then forwarded to the delegate.
#include <atomic>
#include <memory>
#include <string_view>

#include "KQFoundation/Export.h"
#include "KQFoundation/KQUScannerDelegate.h"
#include "KQFoundation/Foundation/Observable.h"
#include "KQFoundation/Foundation/Value.h"

class KQ_EXPORT KQUScanner : public kq::Observable {
public:
    KQUScanner() = default;
    ~KQUScanner() override = default;

    /// Runs the scanner on the calling thread; returns when done or stopped.
    void scan();
    /// Asks a running scan to end at its next poll. Safe from any thread and
    /// from inside delegate callbacks.
    virtual void stop();

    /// Not owned; subclasses narrow it to their own protocol.
    KQUScannerDelegate* delegate() const { return delegate_; }
    virtual void setDelegate(KQUScannerDelegate* delegate) { delegate_ = delegate; }

    double progress() const { return progress_.load(std::memory_order_relaxed); }
    bool active() const { return active_.load(std::memory_order_relaxed); }
    void setActive(bool active) { active_.store(active, std::memory_order_relaxed); }
    bool stopped() const { return stopped_.load(std::memory_order_seq_cst); }
    void setStopped(bool stopped) { stopped_.store(stopped, std::memory_order_seq_cst); }

    /// Free-form tags of the scanner's owner; created empty on first use and
    /// the same object on every call, kept across scans.
    kq::Dictionary& userInfo();

    /// "progress" is notified by hand (see setProgress).
    bool automaticallyNotifiesObserversForKey(std::string_view key) const override;
    /// Answers "progress", "active" and "stopped".
    kq::Value valueForKey(std::string_view key) const override;

protected:
    // The operations meant for subclasses.

    /// The subclass's work. The base has none: calling scan on a bare scanner
    /// raises kq::InvalidArgumentException (an unrecognised selector).
    virtual void performScan();
    /// Stores the value (no clamping), notifies observers of "progress", then
    /// forwards the value to the delegate.
    void setProgress(double progress);
    /// Sends scannerDidReachProgress to the delegate.
    void reportProgress(double progress);

private:
    std::unique_ptr<kq::Dictionary> userInfo_;
    KQUScannerDelegate* delegate_ = nullptr;
    std::atomic<bool> active_{false};
    std::atomic<double> progress_{0.0};
    std::atomic<bool> stopped_{false};
};
