#include <gtest/gtest.h>

#include "KQFoundation/Foundation/Exceptions.h"
#include "KQFoundation/Foundation/Log.h"
#include "KQFoundation/Foundation/Observable.h"

TEST(Log, FormatsObjectsAndPrintfConversions) {
    kq::LogCapture capture;
    kq::log("Exception catched: %@", kq::InvalidArgumentException("bad key path"));
    kq::log("%d items in %@ (%.1f%%), %u left, %s", 3, kq::Value(kq::Array{kq::Value(1)}), 12.34, 7u, "done");
    kq::log("missing %@");
    EXPECT_EQ(capture.lines(), (std::vector<std::string>{"Exception catched: bad key path",
                                                         "3 items in (\n    1\n) (12.3%), 7 left, done", "missing (null)"}));
}

namespace {

class Counter : public kq::Observable {
public:
    void setCount(int value) { setValueForKey("count", count_, value); }
    void setSilently(int value) { setValueForKey("manual", manual_, value); }
    kq::Value valueForKey(std::string_view key) const override {
        return key == "count" ? kq::Value(count_) : kq::Value(manual_);
    }
    bool automaticallyNotifiesObserversForKey(std::string_view key) const override { return key != "manual"; }

private:
    int count_ = 0;
    int manual_ = 0;
};

}  // namespace

TEST(Observable, DeliversChangesInOrderAndManualKeysOnlyByHand) {
    Counter counter;
    std::vector<std::string> seen;
    auto token = counter.addObserver(
        "count",
        kq::KeyValueObservingOptionNew | kq::KeyValueObservingOptionOld | kq::KeyValueObservingOptionPrior |
            kq::KeyValueObservingOptionInitial,
        [&](const kq::Observable&, const std::string& key, const kq::KeyValueChange& change) {
            std::string entry = key + (change.isPrior ? " prior" : "");
            if (change.oldValue) entry += " old=" + kq::describe(*change.oldValue);
            if (change.newValue) entry += " new=" + kq::describe(*change.newValue);
            seen.push_back(entry);
        });
    counter.setCount(5);
    counter.removeObserver(token);
    counter.setCount(6);
    EXPECT_EQ(seen, (std::vector<std::string>{"count new=0", "count prior old=0", "count old=0 new=5"}));

    // Keys without automatic notification notify only by hand.
    int calls = 0;
    counter.addObserver("manual", 0, [&](const kq::Observable&, const std::string&, const kq::KeyValueChange&) {
        ++calls;
    });
    counter.setSilently(1);
    EXPECT_EQ(calls, 0);
    counter.willChangeValueForKey("manual");
    counter.didChangeValueForKey("manual");
    EXPECT_EQ(calls, 1);
}
