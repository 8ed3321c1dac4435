#pragma once
// A URLConnection delegate that writes down what it hears.
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "KQFoundation/System/URLConnection.h"
#include "Support/RunLoopTesting.h"

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

}  // namespace kqtest
