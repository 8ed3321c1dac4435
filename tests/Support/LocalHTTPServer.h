#pragma once
// Small HTTP servers on 127.0.0.1 for tests that need a real peer. Each one
// listens on an ephemeral port and runs on its own thread until stop() or
// destruction; it also stops by itself after `lifetime` seconds so a test that
// goes wrong never leaves it running. Every answer carries "Connection: close".
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace kqtest {

class LocalHTTPServer {
public:
    enum class Behaviour {
        Answer,        // reads the whole request, then answers with status and body
        NeverAnswer,   // accepts and reads, never writes anything
        CloseMidBody,  // sends the headers and part of a longer body, then closes
    };

    struct Options {
        Behaviour behaviour = Behaviour::Answer;
        int status = 200;
        std::string body = "hello";
        /// Extra header lines, each without its CR LF ("Location: /x").
        std::vector<std::string> headers{};
        double lifetime = 60.0;
    };

    LocalHTTPServer() : LocalHTTPServer(Options{}) {}
    explicit LocalHTTPServer(Options options);
    ~LocalHTTPServer() { stop(); }
    LocalHTTPServer(const LocalHTTPServer&) = delete;
    LocalHTTPServer& operator=(const LocalHTTPServer&) = delete;

    int port() const { return port_; }
    /// "http://127.0.0.1:PORT" + path
    std::string url(std::string_view path = "/") const;
    /// The bytes received on each connection so far, in the order accepted.
    std::vector<std::string> requests() const;
    /// Closes every connection and the listening socket; joins the thread.
    void stop();

private:
    void run();

    Options options_;
    int listenFd_ = -1;
    int wake_[2] = {-1, -1};
    int port_ = 0;
    std::thread thread_;
    mutable std::mutex mutex_;
    std::vector<std::string> requests_;
};

/// A URL on a port of 127.0.0.1 that was bound and closed again, so
/// connecting to it is refused.
std::string refusedLocalURL();

}  // namespace kqtest
