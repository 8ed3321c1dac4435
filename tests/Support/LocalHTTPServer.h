#pragma once
// Small HTTP servers on 127.0.0.1 for tests that need a real peer. Each one
// listens on an ephemeral port and serves every connection on a thread of its
// own until stop() or destruction. Every answer carries "Connection: close".
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
    void serve(int fd, std::size_t index);

    Options options_;
    int listenFd_ = -1;
    int port_ = 0;
    std::thread acceptor_;
    mutable std::mutex mutex_;
    std::vector<std::string> requests_;
    std::vector<int> clients_;  // per connection, -1 once closed
    std::vector<std::thread> workers_;
};

/// A URL on a port of 127.0.0.1 that was bound and closed again, so
/// connecting to it is refused.
std::string refusedLocalURL();

}  // namespace kqtest
