#include <gtest/gtest.h>

#include <any>
#include <string>
#include <vector>

#include "KQFoundation/Foundation/Exceptions.h"
#include "KQFoundation/Foundation/Invocation.h"
#include "KQFoundation/Foundation/Object.h"

namespace {

// Records what each method received.
class Recorder : public kq::Object {
public:
    Recorder() {
        registerSelector("reload", [this] { calls.push_back("reload"); });
        registerSelector("didFinish:", [this](const kq::ObjectArguments& arguments) {
            calls.push_back("didFinish:");
            received = arguments;
        });
        registerSelector("join:with:", [](const kq::ObjectArguments& arguments) {
            auto text = [](const std::any& a) { return a.has_value() ? std::any_cast<std::string>(a) : "nil"; };
            return text(arguments[0]) + "+" + text(arguments[1]);
        });
        registerSelector("learn", [this] { registerSelector("learnt", [] { return 7; }); });
    }
    std::vector<std::string> calls;
    kq::ObjectArguments received;
};

TEST(Object, SignaturesCountColonsAndPerformSelectorPadsWithNilAndRejectsExtras) {
    Recorder recorder;
    struct Case {
        const char* selector;
        std::optional<std::size_t> arguments;
    } cases[] = {{"reload", 0}, {"didFinish:", 1}, {"join:with:", 2}, {"missing:", std::nullopt}, {"", std::nullopt},
                 {"reload:", std::nullopt}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.selector);
        EXPECT_EQ(recorder.respondsToSelector(c.selector), c.arguments.has_value());
        auto signature = recorder.methodSignature(c.selector);
        ASSERT_EQ(signature.has_value(), c.arguments.has_value());
        if (signature) {
            EXPECT_EQ(signature->numberOfObjectArguments, *c.arguments);
            EXPECT_EQ(signature->numberOfArguments(), *c.arguments + 2);
        }
    }
    EXPECT_FALSE(recorder.performSelector("missing:", std::string("x")).has_value());

    EXPECT_EQ(std::any_cast<std::string>(recorder.performSelector("join:with:", std::string("a"), std::string("b")).value()), "a+b");
    EXPECT_EQ(std::any_cast<std::string>(*recorder.performSelector("join:with:", std::string("a"))), "a+nil");
    EXPECT_THROW(recorder.performSelector("reload", 1), kq::InvalidArgumentException);
    EXPECT_TRUE(recorder.calls.empty());

    EXPECT_FALSE(recorder.performSelector("reload").value().has_value());  // sent, returns nothing
    // A method may register others while it runs: sends happen outside the lock.
    recorder.performSelector("learn");
    EXPECT_EQ(std::any_cast<int>(*recorder.performSelector("learnt")), 7);
}

TEST(Invocation, ArgumentIndexesStartAtTwoAndInvokeSendsThem) {
    Recorder recorder;
    kq::Invocation invocation(*recorder.methodSignature("join:with:"));
    for (std::size_t bad : {0u, 1u, 4u}) EXPECT_THROW(invocation.setArgument(1, bad), kq::InvalidArgumentException);
    invocation.setArgument(std::string("x"), 3);
    EXPECT_FALSE(invocation.argument(2).has_value());
    invocation.invoke();  // no target: nothing happens
    EXPECT_FALSE(invocation.returnValue().has_value());

    invocation.setTarget(&recorder);
    invocation.setSelector("join:with:");
    invocation.invoke();
    EXPECT_EQ(std::any_cast<std::string>(invocation.returnValue()), "nil+x");

    invocation.setSelector("missing:with:");
    EXPECT_THROW(invocation.invoke(), kq::InvalidArgumentException);
}

}  // namespace
