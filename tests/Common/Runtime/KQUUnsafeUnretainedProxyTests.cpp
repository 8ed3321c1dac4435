#include <gtest/gtest.h>

#include <memory>

#include "KQFoundation/KQUUnsafeUnretainedProxy.h"

namespace {

struct Counter {
    int count = 0;
    int increment() { return ++count; }
};

TEST(KQUUnsafeUnretainedProxyTests, ForwardsToAnObjectItDoesNotOwn) {
    EXPECT_EQ(KQUUnsafeUnretainedProxy<Counter>::unsafeUnretainedProxyWithObject(nullptr), nullptr);

    auto owned = std::make_unique<Counter>();
    auto proxy = KQUUnsafeUnretainedProxy<Counter>::unsafeUnretainedProxyWithObject(owned.get());
    ASSERT_TRUE(proxy);
    EXPECT_EQ((*proxy)->increment(), 1);
    EXPECT_EQ((**proxy).increment(), 2);
    EXPECT_EQ(owned->count, 2);

    Counter other;
    (*proxy)->increment();
    proxy->setObject(&other);
    EXPECT_EQ(proxy->object(), &other);
    (*proxy)->increment();
    EXPECT_EQ(owned->count, 3);
    EXPECT_EQ(other.count, 1);

    // Dropping the proxy leaves the object alone (a double delete would show under ASan).
    proxy.reset();
    EXPECT_EQ(owned->increment(), 4);
}

TEST(KQUUnsafeUnretainedProxyTests, ClearedProxyFailsCleanly) {
    Counter counter;
    auto proxy = KQUUnsafeUnretainedProxy<Counter>::unsafeUnretainedProxyWithObject(&counter);
    proxy->setObject(nullptr);
    EXPECT_EQ(proxy->object(), nullptr);
    EXPECT_THROW((*proxy)->increment(), kq::InternalInconsistencyException);
}

}  // namespace
