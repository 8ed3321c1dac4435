#include "KQFoundation/KQUScanner.h"

#include "KQFoundation/Foundation/Exceptions.h"

namespace {
constexpr std::string_view kProgressKey = "progress";
}  // namespace

void KQUScanner::scan() {
    setStopped(false);
    if (KQUScannerDelegate* d = delegate()) d->scannerWillStart(*this);

    // The delegate may have stopped us from inside scannerWillStart.
    if (!stopped()) {
        // Leave the scanner idle even when performScan throws.
        struct ActiveScope {
            KQUScanner& scanner;
            explicit ActiveScope(KQUScanner& s) : scanner(s) { scanner.setActive(true); }
            ~ActiveScope() { scanner.setActive(false); }
        } activeScope(*this);
        performScan();
    }

    if (KQUScannerDelegate* d = delegate()) d->scannerDidFinish(*this);
}

void KQUScanner::stop() { setStopped(true); }

kq::Dictionary& KQUScanner::userInfo() {
    if (!userInfo_) userInfo_ = std::make_unique<kq::Dictionary>();
    return *userInfo_;
}

bool KQUScanner::automaticallyNotifiesObserversForKey(std::string_view key) const {
    if (key == kProgressKey) return false;
    return kq::Observable::automaticallyNotifiesObserversForKey(key);
}

kq::Value KQUScanner::valueForKey(std::string_view key) const {
    if (key == kProgressKey) return kq::Value(progress());
    if (key == "active") return kq::Value(active());
    if (key == "stopped") return kq::Value(stopped());
    return kq::Observable::valueForKey(key);
}

void KQUScanner::performScan() {
    throw kq::InvalidArgumentException("-[KQUScanner performScan]: unrecognized selector sent to instance");
}

void KQUScanner::setProgress(double progress) {
    willChangeValueForKey(kProgressKey);
    progress_.store(progress, std::memory_order_relaxed);
    didChangeValueForKey(kProgressKey);
    reportProgress(this->progress());
}

void KQUScanner::reportProgress(double progress) {
    if (KQUScannerDelegate* d = delegate()) d->scannerDidReachProgress(*this, progress);
}
