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
    EXPECT_EQ((*proxy)->increment() + (**proxy).increment(), 3);
    Counter other;
    proxy->setObject(&other);
    (*proxy)->increment();
    EXPECT_EQ(std::make_pair(owned->count, other.count), std::make_pair(2, 1));

    // Dropping the proxy leaves the object alone (a double delete would show under ASan).
    proxy.reset();
    EXPECT_EQ(owned->increment(), 3);
}

TEST(KQUUnsafeUnretainedProxyTests, ClearedProxyFailsCleanly) {
    Counter counter;
    auto proxy = KQUUnsafeUnretainedProxy<Counter>::unsafeUnretainedProxyWithObject(&counter);
    proxy->setObject(nullptr);
    EXPECT_THROW((*proxy)->increment(), kq::InternalInconsistencyException);
}

}  // namespace
