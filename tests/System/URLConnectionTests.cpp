#include "KQFoundation/System/URLConnection.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <thread>

#include "Support/ConnectionRecorder.h"
#include "Support/LocalHTTPServer.h"
#include "Support/RunLoopTesting.h"

namespace {

using kq::URLError;
using kqtest::ConnectionRecorder;
using kqtest::LocalHTTPServer;

kq::URLRequest requestFor(const std::string& url, double timeout = 5.0) {
    return kq::URLRequest(*kq::URL::URLWithString(url), timeout);
}

// Runs one request to its end and returns what the delegate heard.
ConnectionRecorder fetch(kq::URLRequest request) {
    ConnectionRecorder recorder;
    auto connection = kq::URLConnection::start(std::move(request), &recorder);
    EXPECT_TRUE(kqtest::runLoopUntil([&] { return recorder.ended(); }, 10.0));
    return recorder;
}

std::optional<std::string> header(const kq::URLResponse& response, const std::string& name) {
    for (const auto& [field, value] : response.headerFields)
        if (field == name) return value;
    return std::nullopt;
}

// A plain answer and a redirected one, both at once on one loop.
KQ_LOOP_TEST(URLConnection, DeliversResponsesAndFollowsRedirects) {
    LocalHTTPServer server({.status = 404, .body = "not here", .headers = {"X-Probe: yes"}});
    LocalHTTPServer target({.body = "moved here"});
    LocalHTTPServer redirect({.status = 302, .body = "", .headers = {"Location: " + target.url("/new")}});
    ConnectionRecorder plain, moved;
    auto first = kq::URLConnection::start(requestFor(server.url("/missing?q=1")), &plain);
    auto second = kq::URLConnection::start(requestFor(redirect.url("/old")), &moved);
    EXPECT_TRUE(kqtest::runLoopUntil([&] { return plain.ended() && moved.ended(); }));
    for (const ConnectionRecorder* r : {&plain, &moved}) {
        EXPECT_EQ(r->events, (std::vector<std::string>{"response", "data", "finish"}));
        ASSERT_TRUE(r->response);
    }
    EXPECT_EQ(plain.response->statusCode, 404);
    EXPECT_EQ(plain.response->expectedContentLength, 8);
    EXPECT_EQ(header(*plain.response, "X-Probe"), "yes");
    EXPECT_EQ(plain.body, "not here");
    ASSERT_EQ(server.requests().size(), 1u);
    EXPECT_TRUE(server.requests()[0].starts_with("GET /missing?q=1 HTTP/1.1\r\n"));
    // Only the last response of a redirect is reported.
    EXPECT_EQ(moved.response->statusCode, 200);
    EXPECT_EQ(moved.response->url.absoluteString(), target.url("/new"));
    EXPECT_FALSE(header(*moved.response, "Location"));
    EXPECT_EQ(moved.body, "moved here");
}

KQ_LOOP_TEST(URLConnection, SendsMethodHeadersAndBodyAsGiven) {
    LocalHTTPServer server;
    kq::MutableURLRequest request(*kq::URL::URLWithString(server.url("/put")), 5.0);
    request.setHTTPMethod("PUT");
    request.setValue("text/plain", "Content-Type");
    request.setValue("999", "Content-Length");  // stale: the body's own length wins
    request.setValue("", "X-Empty");
    request.setHTTPBody(kq::Data{'a', '\0', 'b'});
    ConnectionRecorder recorder = fetch(request);
    EXPECT_EQ(recorder.events.back(), "finish");
    ASSERT_EQ(server.requests().size(), 1u);
    const std::string sent = server.requests()[0];
    EXPECT_TRUE(sent.starts_with("PUT /put HTTP/1.1\r\n")) << sent;
    EXPECT_NE(sent.find("\r\nContent-Type: text/plain\r\n"), std::string::npos) << sent;
    EXPECT_NE(sent.find("\r\nContent-Length: 3\r\n"), std::string::npos) << sent;
    EXPECT_NE(sent.find("\r\nX-Empty:"), std::string::npos) << sent;
    EXPECT_EQ(sent.find("Expect:"), std::string::npos) << sent;
    EXPECT_TRUE(sent.ends_with(std::string("\r\n\r\na\0b", 7))) << sent;
}

KQ_LOOP_TEST(URLConnection, FailuresMapToErrorCodes) {
    LocalHTTPServer silent({.behaviour = LocalHTTPServer::Behaviour::NeverAnswer});
    LocalHTTPServer cutShort({.behaviour = LocalHTTPServer::Behaviour::CloseMidBody, .body = "partial"});
    // The silent server gets a body first: traffic at the start must not
    // stretch the idle limit.
    kq::MutableURLRequest posted(*kq::URL::URLWithString(silent.url()), 1.0);
    posted.setHTTPMethod("POST");
    posted.setHTTPBody(kq::Data(3000, 'x'));
    struct Case {
        kq::URLRequest request;
        URLError::Code code;
        std::vector<std::string> events{"error"};
    } cases[] = {
        {requestFor(kqtest::refusedLocalURL()), URLError::Code::CannotConnectToHost},
        {posted, URLError::Code::TimedOut},
        {requestFor(silent.url(), 0.3), URLError::Code::TimedOut},
        {requestFor("http://kqfoundation-test.invalid/"), URLError::Code::CannotFindHost},
        // Closed mid-body: the failure follows the response and the data that came.
        {requestFor(cutShort.url()), URLError::Code::NetworkConnectionLost, {"response", "data", "error"}},
    };
    for (const Case& c : cases) {
        const auto started = std::chrono::steady_clock::now();
        ConnectionRecorder recorder = fetch(c.request);
        const std::string url = c.request.url()->absoluteString();
        EXPECT_EQ(recorder.events, c.events) << url;
        EXPECT_EQ(recorder.body, c.events.size() > 1 ? "partial" : "") << url;
        ASSERT_TRUE(recorder.error) << url;
        EXPECT_EQ(recorder.error->code, c.code) << url << ": " << recorder.error->description;
        EXPECT_FALSE(recorder.error->description.empty());
        EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(2500)) << url;
    }
}

KQ_LOOP_TEST(URLConnection, RejectsURLsItCannotSpeakOnTheNextTurn) {
    std::vector<kq::URLRequest> requests{requestFor("http:///no-host"), requestFor("ftp://127.0.0.1/file"),
                                         requestFor("file:///etc/hostname"), kq::URLRequest()};
    // Line breaks or NULs would let a field or method smuggle in header lines.
    const std::pair<std::string, std::string> smuggled[] = {
        {"X-A", "1\r\nX-Injected: 1"}, {"X-A\r\nX-Injected", "1"}, {"X-A", std::string("1\0", 2)},
        {"", "1"},                      {"X A", "1"},               {"GET / HTTP/1.1\r\nX:", ""}};
    for (const auto& [name, value] : smuggled) {
        kq::MutableURLRequest request(*kq::URL::URLWithString(kqtest::refusedLocalURL()), 5.0);
        if (value.empty())
            request.setHTTPMethod(name);
        else
            request.setValue(value, name);
        requests.push_back(request);
    }
    for (const auto& request : requests) {
        ConnectionRecorder recorder;
        auto connection = kq::URLConnection::start(request, &recorder);
        ASSERT_TRUE(connection);
        EXPECT_TRUE(recorder.events.empty()) << "failed inside start()";
        EXPECT_TRUE(kqtest::runLoopUntil([&] { return recorder.ended(); }));
        EXPECT_EQ(recorder.events, std::vector<std::string>{"error"});
        ASSERT_TRUE(recorder.error);
        EXPECT_EQ(recorder.error->code, URLError::Code::BadURL);
    }
    // Cancelled before the loop turned: not even the error arrives.
    ConnectionRecorder recorder;
    kq::URLConnection::start(kq::URLRequest(), &recorder)->cancel();
    kqtest::runLoopFor(0.1);
    EXPECT_TRUE(recorder.events.empty());
}

KQ_LOOP_TEST(URLConnection, CancelOrReleaseInsideACallbackEndsDelivery) {
    LocalHTTPServer server({.body = std::string(200000, 'x')});
    ConnectionRecorder cancelled, released;
    auto first = kq::URLConnection::start(requestFor(server.url()), &cancelled);
    auto second = kq::URLConnection::start(requestFor(server.url()), &released);
    cancelled.onResponse = [](kq::URLConnection& connection) {
        connection.cancel();
        connection.cancel();
    };
    released.onResponse = [&](kq::URLConnection& connection) {
        connection.cancel();
        second.reset();
    };
    EXPECT_TRUE(kqtest::runLoopUntil([&] { return !cancelled.events.empty() && !released.events.empty(); }));
    kqtest::runLoopFor(0.3);
    EXPECT_EQ(cancelled.events, std::vector<std::string>{"response"});
    EXPECT_EQ(released.events, std::vector<std::string>{"response"});
    EXPECT_FALSE(second);
}

TEST(URLConnection, LeavesNoDescriptorsOpen) {
    const auto openDescriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                             std::filesystem::directory_iterator());
    };
    // Process-wide state that is set up once (libuv's, the resolver's) is no leak.
    kqtest::onFreshThread([] { fetch(requestFor("http://kqfoundation-test.invalid/")); });
    const auto before = openDescriptors();
    {
        LocalHTTPServer server;
        kqtest::onFreshThread([&] {
            fetch(requestFor(server.url()));
            fetch(requestFor(kqtest::refusedLocalURL()));
            fetch(requestFor("http://kqfoundation-test.invalid/"));
            // Still running when its thread ends.
            ConnectionRecorder recorder;
            kq::URLConnection::start(requestFor(server.url()), &recorder);
        });
    }
    EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
