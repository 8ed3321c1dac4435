#pragma once
// A URLConnection delegate that writes down what it hears, and a bounded way
// to turn the current run loop until it has heard enough.
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "KQFoundation/System/RunLoop.h"
#include "KQFoundation/System/URLConnection.h"

namespace kqtest {

struct ConnectionRecorder : kq::URLConnectionDelegate {
    std::vector<std::string> events;  // "response", "data", "finish", "error"
    std::optional<kq::URLResponse> response;
    std::optional<kq::URLError> error;
    std::string body;
    std::function<void(kq::URLConnection&)> onResponse;

    bool ended() const { return !events.empty() && (events.back() == "finish" || events.back() == "error"); }

    void connectionDidReceiveResponse(kq::URLConnection& connection, const kq::URLResponse& r) override {
        events.push_back("response");
        response = r;
        if (onResponse) onResponse(connection);
    }
    void connectionDidReceiveData(kq::URLConnection&, const kq::Data& data) override {
        if (events.empty() || events.back() != "data") events.push_back("data");
        body.append(data.begin(), data.end());
    }
    void connectionDidFinishLoading(kq::URLConnection&) override { events.push_back("finish"); }
    void connectionDidFailWithError(kq::URLConnection&, const kq::URLError& e) override {
        events.push_back("error");
        error = e;
    }
};

/// Turns the current thread's run loop until `done()` or `seconds` passed.
inline bool runLoopUntil(const std::function<bool()>& done, double seconds = 5.0) {
    auto loop = kq::RunLoop::currentRunLoop();
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!done() && std::chrono::steady_clock::now() < end) {
        const auto limit = std::chrono::time_point_cast<kq::Date::duration>(std::chrono::system_clock::now()) +
                           std::chrono::duration<double>(0.05);
        if (!loop->runOnce(limit)) break;  // nothing left to wait for
    }
    return done();
}

/// Turns the current run loop for `seconds`, whatever happens.
inline void runLoopFor(double seconds) {
    runLoopUntil([] { return false; }, seconds);
}

}  // namespace kqtest
