#include "KQFoundation/KQUKeyValueObserver.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "KQFoundation/NSObject+KQUKeyValueObserving.h"

namespace {

class Model : public kq::Observable {
public:
    void setTitle(std::string title) { setValueForKey("title", title_, std::move(title)); }
    void setCount(long long count) { setValueForKey("count", count_, count); }
    kq::Value valueForKey(std::string_view key) const override {
        if (key == "title") return kq::Value(title_);
        if (key == "count") return kq::Value(count_);
        return kq::Value();
    }

private:
    std::string title_ = "old";
    long long count_ = 0;
};

std::string text(const kq::Value& value) {
    return value.asString() ? *value.asString() : std::to_string(value.integerValue());
}

struct Calls {
    std::vector<std::string> seen;  // "key=new (old)"
    KQUKeyValueObserver::Handler handler(const kq::Observable* expectedObject = nullptr) {
        return [this, expectedObject](KQUKeyValueObserver& observer, const kq::Observable& object,
                                      const std::string& keyPath, const kq::KeyValueChange& change) {
            EXPECT_EQ(observer.keyPath(), keyPath);
            if (expectedObject) {
                EXPECT_EQ(&object, expectedObject);
            }
            std::string entry = keyPath + "=" + (change.newValue ? text(*change.newValue) : "-");
            if (change.oldValue) entry += " (" + text(*change.oldValue) + ")";
            seen.push_back(entry);
        };
    }
};

TEST(KQUKeyValueObserver, CallsTheHandlerWithObserverObjectKeyPathAndChange) {
    Model model;
    Calls calls;
    auto observer = KQUKeyValueObserver::observerWithObject(
        &model, "title", kq::KeyValueObservingOptionNew | kq::KeyValueObservingOptionOld, calls.handler(&model));
    ASSERT_NE(observer, nullptr);
    EXPECT_EQ(observer->observee(), &model);
    model.setTitle("new");
    model.setCount(3);  // another key
    EXPECT_EQ(calls.seen, (std::vector<std::string>{"title=new (old)"}));

    observer->invalidate();
    observer->invalidate();
    EXPECT_EQ(observer->observee(), nullptr);
    EXPECT_EQ(observer->keyPath(), "");
    EXPECT_FALSE(observer->handler());
    model.setTitle("newer");
    EXPECT_EQ(calls.seen.size(), 1u);
}

TEST(KQUKeyValueObserver, OnlyItsOwnContextMarkerReachesTheHandler) {
    Model model;
    Calls calls;
    auto observer = KQUKeyValueObserver::observerWithObject(&model, "title", 0, calls.handler());
    ASSERT_NE(observer, nullptr);
    static const char sameText[] = "KQUKeyValueObserverContext";
    for (const void* foreign : {static_cast<const void*>(sameText), static_cast<const void*>(nullptr)}) {
        observer->observeValueForKeyPath("title", model, {}, foreign);
    }
    EXPECT_TRUE(calls.seen.empty());
    observer->observeValueForKeyPath("title", model, {}, KQUKeyValueObserver::KQUKeyValueObserverContext);
    EXPECT_EQ(calls.seen, (std::vector<std::string>{"title=-"}));
}

TEST(KQUKeyValueObserver, MissingPartsGiveNoObserverAndNoRegistration) {
    Model model;
    Calls calls;
    EXPECT_EQ(KQUKeyValueObserver::observerWithObject(nullptr, "title", 0, calls.handler()), nullptr);
    EXPECT_EQ(KQUKeyValueObserver::observerWithObject(&model, "", 0, calls.handler()), nullptr);
    EXPECT_EQ(KQUKeyValueObserver::observerWithObject(&model, "title", 0, nullptr), nullptr);

    kq::Object owner;
    owner.startObservingObject(&model, "title", kq::KeyValueObservingOptionNew, nullptr);
    owner.startObservingObject(nullptr, "title", kq::KeyValueObservingOptionNew, calls.handler());
    model.setTitle("new");
    EXPECT_TRUE(calls.seen.empty());
}

TEST(KQUKeyValueObserver, DroppingTheObserverUnregistersIt) {
    Model model;
    Calls calls;
    auto observer = KQUKeyValueObserver::observerWithObject(&model, "count", kq::KeyValueObservingOptionNew,
                                                            calls.handler());
    model.setCount(1);
    observer.reset();
    model.setCount(2);
    EXPECT_EQ(calls.seen, (std::vector<std::string>{"count=1"}));
}

TEST(KQUKeyValueObserving, StopObservingAllObjectsSilencesEveryOwnedObserver) {
    Model first, second;
    Calls calls;
    kq::Object owner;
    owner.startObservingObject(&first, "title", kq::KeyValueObservingOptionNew, calls.handler(&first));
    owner.startObservingObject(&second, "count", kq::KeyValueObservingOptionNew, calls.handler(&second));
    first.setTitle("a");
    second.setCount(7);
    EXPECT_EQ(calls.seen, (std::vector<std::string>{"title=a", "count=7"}));

    owner.stopObservingAllObjects();
    first.setTitle("b");
    second.setCount(8);
    EXPECT_EQ(calls.seen.size(), 2u);

    // The list starts over: a new observer works and the owner's end drops it.
    {
        kq::Object later;
        later.startObservingObject(&first, "title", kq::KeyValueObservingOptionNew, calls.handler());
        first.setTitle("c");
    }
    first.setTitle("d");
    EXPECT_EQ(calls.seen.back(), "title=c");
    EXPECT_EQ(calls.seen.size(), 3u);
}

}  // namespace
