#include "Support/LocalHTTPServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <stdexcept>

namespace kqtest {
namespace {

std::string localURL(int port, std::string_view path) {
    return "http://127.0.0.1:" + std::to_string(port) + std::string(path);
}

// A socket bound to an ephemeral loopback port, and that port; -1 on failure.
int bindLoopback(int& port) {
    int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (fd >= 0 && (::bind(fd, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
                    ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0)) {
        ::close(fd);
        fd = -1;
    }
    port = ntohs(address.sin_port);
    return fd;
}

// Complete once the headers and as many body bytes as Content-Length announces are in.
bool isCompleteRequest(const std::string& request) {
    std::size_t headEnd = request.find("\r\n\r\n");
    if (headEnd == std::string::npos) return false;
    std::size_t length = 0;
    for (std::size_t line = request.find("\r\n"); line < headEnd; line = request.find("\r\n", line + 2))
        if (::strncasecmp(request.c_str() + line + 2, "Content-Length:", 15) == 0)
            length = std::strtoull(request.c_str() + line + 17, nullptr, 10);
    return request.size() - headEnd - 4 >= length;
}

ssize_t receive(int fd, char* buffer, std::size_t size) {
    ssize_t n;
    do n = ::recv(fd, buffer, size, 0);
    while (n < 0 && errno == EINTR);
    return n;
}

}  // namespace

std::string refusedLocalURL() {
    int port = 0;
    int fd = bindLoopback(port);
    if (fd >= 0) ::close(fd);
    return localURL(port, "/");
}

LocalHTTPServer::LocalHTTPServer(Options options) : options_(std::move(options)) {
    listenFd_ = bindLoopback(port_);
    if (listenFd_ < 0 || ::listen(listenFd_, 16) != 0) {
        if (listenFd_ >= 0) ::close(listenFd_);
        throw std::runtime_error("LocalHTTPServer: cannot listen on 127.0.0.1");
    }
    acceptor_ = std::thread([this] {
        // Ends when stop() shuts the listening socket down.
        for (;;) {
            int fd = ::accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC);
            if (fd < 0 && errno == EINTR) continue;
            if (fd < 0) break;
            std::lock_guard lock(mutex_);
            requests_.emplace_back();
            clients_.push_back(fd);
            workers_.emplace_back([this, fd, index = clients_.size() - 1] { serve(fd, index); });
        }
    });
}

std::string LocalHTTPServer::url(std::string_view path) const { return localURL(port_, path); }

std::vector<std::string> LocalHTTPServer::requests() const {
    std::lock_guard lock(mutex_);
    return requests_;
}

void LocalHTTPServer::stop() {
    if (!acceptor_.joinable()) return;
    ::shutdown(listenFd_, SHUT_RDWR);
    acceptor_.join();
    ::close(listenFd_);
    {
        std::lock_guard lock(mutex_);
        for (int fd : clients_)
            if (fd >= 0) ::shutdown(fd, SHUT_RDWR);  // wakes the workers still reading or writing
    }
    for (std::thread& worker : workers_) worker.join();
}

void LocalHTTPServer::serve(int fd, std::size_t index) {
    std::string request;
    char buffer[16384];
    ssize_t n = 0;
    while (!isCompleteRequest(request) && (n = receive(fd, buffer, sizeof buffer)) > 0) {
        request.append(buffer, static_cast<std::size_t>(n));
        std::lock_guard lock(mutex_);
        requests_[index] = request;
    }
    const bool complete = isCompleteRequest(request);
    if (complete && options_.behaviour == Behaviour::NeverAnswer) {
        while (receive(fd, buffer, sizeof buffer) > 0) {}  // drains until the peer or stop() closes
    } else if (complete) {
        const std::string& body = options_.body;
        bool truncate = options_.behaviour == Behaviour::CloseMidBody;
        std::string answer = "HTTP/1.1 " + std::to_string(options_.status) + " Status\r\nContent-Length: " +
                             std::to_string(truncate ? body.size() * 2 + 100 : body.size()) +
                             "\r\nConnection: close\r\n";
        for (const std::string& line : options_.headers) answer += line + "\r\n";
        answer += "\r\n" + body;
        for (std::string_view rest = answer; !rest.empty() && (n = ::send(fd, rest.data(), rest.size(), MSG_NOSIGNAL)) > 0;)
            rest.remove_prefix(static_cast<std::size_t>(n));
        ::shutdown(fd, SHUT_WR);
    }
    std::lock_guard lock(mutex_);
    ::close(fd);
    clients_[index] = -1;
}

}  // namespace kqtest
