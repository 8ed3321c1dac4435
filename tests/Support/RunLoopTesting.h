#pragma once
// Scaffolding for tests that turn run loops: dates relative to now, bodies on
// a fresh thread (so each starts with a fresh run loop), and bounded turning.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <thread>

#include "KQFoundation/System/RunLoop.h"

namespace kqtest {

/// The wall-clock date `seconds` from now.
inline kq::Date in(double seconds) {
    return std::chrono::time_point_cast<kq::Date::duration>(std::chrono::system_clock::now()) +
           std::chrono::duration<double>(seconds);
}

template <class F>
void onFreshThread(F body) {
    std::thread(body).join();
}

/// Turns the current thread's run loop until `done()` or `seconds` passed.
inline bool runLoopUntil(const std::function<bool()>& done, double seconds = 5.0) {
    auto loop = kq::RunLoop::currentRunLoop();
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!done() && std::chrono::steady_clock::now() < end) {
        if (!loop->runOnce(in(0.05))) break;  // nothing left to wait for
    }
    return done();
}

/// Turns the current run loop for `seconds`, whatever happens.
inline void runLoopFor(double seconds) {
    runLoopUntil([] { return false; }, seconds);
}

}  // namespace kqtest

// A test whose body runs on a thread of its own, so it starts with a fresh run loop.
#define KQ_LOOP_TEST(suite, name)                                  \
    void suite##_##name##Body();                                   \
    TEST(suite, name) { kqtest::onFreshThread(suite##_##name##Body); } \
    void suite##_##name##Body()
