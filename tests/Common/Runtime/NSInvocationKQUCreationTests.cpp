#include "KQFoundation/NSInvocation+KQUCreation.h"

#include <gtest/gtest.h>

#include <string>

#include "KQFoundation/Foundation/Exceptions.h"

namespace {

class Target : public kq::Object {
public:
    Target() {
        registerSelector("take:and:and:", [this](const kq::ObjectArguments& arguments) { received = arguments; });
        registerSelector("ping", [] {});
    }
    kq::ObjectArguments received;
};

std::string text(const std::any& value) {
    return value.has_value() ? std::any_cast<std::string>(value) : "nil";
}

TEST(InvocationCreation, MissingTargetSelectorOrMethodGivesNull) {
    Target target;
    for (auto [object, selector] : {std::pair<kq::Object*, const char*>{nullptr, "ping"}, {&target, ""},
                                    {&target, "pong"}, {&target, "ping:"}}) {
        SCOPED_TRACE(selector);
        EXPECT_EQ(kq::Invocation::invocationWithTarget(object, selector), nullptr);
        EXPECT_EQ(kq::Invocation::invocationWithTarget(object, selector, kq::ObjectArguments{std::string("a")}),
                  nullptr);
        EXPECT_EQ(kq::Invocation::invocationWithTarget(object, selector, std::any(std::string("a"))), nullptr);
    }
}

TEST(InvocationCreation, ListFormSetsArgumentsUpToFirstNilAndRetainsThem) {
    Target target;
    auto invocation = kq::Invocation::invocationWithTarget(
        &target, "take:and:and:", kq::ObjectArguments{std::string("A"), std::string("B"), {}, std::string("C")});
    ASSERT_NE(invocation, nullptr);
    EXPECT_EQ(invocation->target(), &target);
    EXPECT_EQ(invocation->selector(), "take:and:and:");
    EXPECT_TRUE(invocation->argumentsRetained());
    EXPECT_EQ(text(invocation->argument(2)), "A");
    EXPECT_EQ(text(invocation->argument(3)), "B");
    EXPECT_EQ(text(invocation->argument(4)), "nil");
    invocation->invoke();
    ASSERT_EQ(target.received.size(), 3u);
    EXPECT_EQ(text(target.received[1]), "B");

    auto single = kq::Invocation::invocationWithTarget(&target, "take:and:and:", std::any(std::string("S")));
    ASSERT_NE(single, nullptr);
    EXPECT_TRUE(single->argumentsRetained());
    EXPECT_EQ(text(single->argument(2)), "S");

    for (const kq::ObjectArguments& none : {kq::ObjectArguments{}, kq::ObjectArguments{{}, std::string("B")}}) {
        auto bare = kq::Invocation::invocationWithTarget(&target, "take:and:and:", none);
        ASSERT_NE(bare, nullptr);
        EXPECT_FALSE(bare->argumentsRetained());
        EXPECT_FALSE(bare->argument(3).has_value());
    }
}

TEST(InvocationCreation, MoreArgumentsThanTheMethodTakesRaise) {
    Target target;
    EXPECT_THROW(kq::Invocation::invocationWithTarget(&target, "ping", std::any(1)), kq::InvalidArgumentException);
}

}  // namespace
