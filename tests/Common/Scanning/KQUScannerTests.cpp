#include "KQFoundation/KQUScanner.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "KQFoundation/Foundation/Exceptions.h"

namespace {

/// A scanner whose work is a test's lambda.
class ScriptedScanner : public KQUScanner {
public:
    std::function<void(ScriptedScanner&)> work = [](ScriptedScanner&) {};
    using KQUScanner::setProgress;

protected:
    void performScan() override { work(*this); }
};

class EventLog : public KQUScannerDelegate {
public:
    std::vector<std::string> events;
    std::function<void(KQUScanner&)> onWillStart = [](KQUScanner&) {};

    void scannerWillStart(KQUScanner& scanner) override {
        events.push_back("willStart");
        onWillStart(scanner);
    }
    void scannerDidReachProgress(KQUScanner&, double progress) override {
        events.push_back("progress " + std::to_string(progress));
    }
    void scannerDidFinish(KQUScanner&) override { events.push_back("didFinish"); }
};

TEST(KQUScannerTests, ScanBracketsTheWorkWithStartAndFinish) {
    ScriptedScanner scanner;
    EventLog log;
    bool activeDuringWork = false;
    scanner.work = [&](ScriptedScanner& s) {
        activeDuringWork = s.active();
        log.events.push_back("work");
        s.setProgress(1.0);
    };
    scanner.scan();  // without a delegate too
    scanner.setDelegate(&log);
    scanner.scan();
    EXPECT_EQ(std::make_pair(activeDuringWork, scanner.active()), std::make_pair(true, false));
    EXPECT_EQ(log.events, (std::vector<std::string>{"work", "willStart", "work", "progress 1.000000", "didFinish"}));

    KQUScanner bare;  // has no work of its own
    EXPECT_THROW(bare.scan(), kq::InvalidArgumentException);
    EXPECT_FALSE(bare.active());
}

TEST(KQUScannerTests, StopInsideWillStartSkipsTheWorkButStillFinishes) {
    ScriptedScanner scanner;
    EventLog log;
    log.onWillStart = [](KQUScanner& s) { s.stop(); };
    scanner.setDelegate(&log);
    bool worked = false;
    scanner.work = [&](ScriptedScanner&) { worked = true; };
    scanner.scan();
    EXPECT_FALSE(worked);
    EXPECT_EQ(log.events, (std::vector<std::string>{"willStart", "didFinish"}));
    // The flag stays up after a stopped scan, and the next scan clears it.
    EXPECT_TRUE(scanner.stopped());
    log.onWillStart = [](KQUScanner&) {};
    scanner.scan();
    EXPECT_EQ(std::make_pair(worked, scanner.stopped()), std::make_pair(true, false));
}

TEST(KQUScannerTests, EverySetOfProgressNotifiesObserversThenTheDelegate) {
    ScriptedScanner scanner;
    EventLog log;
    scanner.setDelegate(&log);
    scanner.addObserver("progress", kq::KeyValueObservingOptionPrior | kq::KeyValueObservingOptionNew,
                        [&](const kq::Observable&, const std::string&, const kq::KeyValueChange& change) {
                            log.events.push_back(change.isPrior ? "will"
                                                                : "did " + std::to_string(change.newValue->doubleValue()));
                        });
    scanner.setProgress(0.25);
    scanner.setProgress(0.25);
    EXPECT_EQ(log.events, (std::vector<std::string>{"will", "did 0.250000", "progress 0.250000", "will",
                                                    "did 0.250000", "progress 0.250000"}));
}

}  // namespace
