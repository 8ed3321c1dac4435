#include "KQFoundation/KQUKeyValueObserver.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "KQFoundation/NSObject+KQUKeyValueObserving.h"

namespace {

class Model : public kq::Observable {
public:
    void setTitle(std::string title) { setValueForKey("title", title_, std::move(title)); }
    kq::Value valueForKey(std::string_view key) const override {
        return key == "title" ? kq::Value(title_) : kq::Value();
    }

private:
    std::string title_ = "old";
};

// Records "object:key=new (old)" per call.
struct Calls {
    std::vector<std::string> seen;
    KQUKeyValueObserver::Handler handler(std::string name) {
        return [this, name](KQUKeyValueObserver& observer, const kq::Observable&, const std::string& keyPath,
                            const kq::KeyValueChange& change) {
            EXPECT_EQ(observer.keyPath(), keyPath);
            std::string entry = name + ":" + keyPath + "=" + (change.newValue ? *change.newValue->asString() : "-");
            if (change.oldValue) entry += " (" + *change.oldValue->asString() + ")";
            seen.push_back(entry);
        };
    }
};

constexpr unsigned kNewAndOld = kq::KeyValueObservingOptionNew | kq::KeyValueObservingOptionOld;

TEST(KQUKeyValueObserver, CallsItsHandlerUntilInvalidatedOrDropped) {
    Model model;
    Calls calls;
    auto first = KQUKeyValueObserver::observerWithObject(&model, "title", kNewAndOld, calls.handler("a"));
    auto second = KQUKeyValueObserver::observerWithObject(&model, "title", 0, calls.handler("b"));
    ASSERT_TRUE(first && second);
    model.setTitle("new");
    // Reports are told apart by the marker's address, not its text.
    static const char sameText[] = "KQUKeyValueObserverContext";
    second->observeValueForKeyPath("title", model, {}, sameText);
    second->observeValueForKeyPath("title", model, {}, KQUKeyValueObserver::KQUKeyValueObserverContext);
    EXPECT_EQ(calls.seen, (std::vector<std::string>{"a:title=new (old)", "b:title=-", "b:title=-"}));

    first->invalidate();
    first->invalidate();
    EXPECT_EQ(first->observee(), nullptr);
    EXPECT_EQ(first->keyPath(), "");
    EXPECT_FALSE(first->handler());
    second.reset();
    model.setTitle("newer");
    EXPECT_EQ(calls.seen.size(), 3u);
}

TEST(KQUKeyValueObserver, MissingPartsGiveNoObserverAndNoRegistration) {
    Model model;
    Calls calls;
    EXPECT_EQ(KQUKeyValueObserver::observerWithObject(nullptr, "title", 0, calls.handler("a")), nullptr);
    EXPECT_EQ(KQUKeyValueObserver::observerWithObject(&model, "", 0, calls.handler("a")), nullptr);
    EXPECT_EQ(KQUKeyValueObserver::observerWithObject(&model, "title", 0, nullptr), nullptr);
    kq::Object owner;
    owner.startObservingObject(&model, "title", 0, nullptr);
    model.setTitle("new");
    EXPECT_TRUE(calls.seen.empty());
}

TEST(KQUKeyValueObserving, StopObservingAllObjectsSilencesEveryOwnedObserver) {
    Model first, second;
    Calls calls;
    kq::Object owner;
    owner.startObservingObject(&first, "title", kq::KeyValueObservingOptionNew, calls.handler("1"));
    owner.startObservingObject(&second, "title", kq::KeyValueObservingOptionNew, calls.handler("2"));
    first.setTitle("x");
    second.setTitle("y");
    owner.stopObservingAllObjects();
    first.setTitle("z");
    second.setTitle("z");
    {
        kq::Object later;  // its end drops what it owns
        later.startObservingObject(&first, "title", kq::KeyValueObservingOptionNew, calls.handler("3"));
        first.setTitle("w");
    }
    first.setTitle("v");
    EXPECT_EQ(calls.seen, (std::vector<std::string>{"1:title=x", "2:title=y", "3:title=w"}));
}

}  // namespace
