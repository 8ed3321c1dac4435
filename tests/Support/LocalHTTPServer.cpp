#include "Support/LocalHTTPServer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <stdexcept>

namespace kqtest {
namespace {

std::string localURL(int port, std::string_view path) {
    return "http://127.0.0.1:" + std::to_string(port) + std::string(path);
}

// A socket bound to an ephemeral loopback port, and that port; -1 on failure.
int bindLoopback(int flags, int& port) {
    int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | flags, 0);
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

bool sendAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t n = ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (n < 0 && (errno == EINTR || errno == EAGAIN)) {
            pollfd p{fd, POLLOUT, 0};
            if (::poll(&p, 1, 2000) <= 0) return false;
            continue;
        }
        if (n <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

}  // namespace

std::string refusedLocalURL() {
    int port = 0;
    int fd = bindLoopback(0, port);
    if (fd >= 0) ::close(fd);
    return localURL(port, "/");
}

LocalHTTPServer::LocalHTTPServer(Options options) : options_(std::move(options)) {
    listenFd_ = bindLoopback(SOCK_NONBLOCK, port_);
    if (listenFd_ < 0 || ::listen(listenFd_, 16) != 0 || ::pipe2(wake_, O_CLOEXEC | O_NONBLOCK) != 0) {
        if (listenFd_ >= 0) ::close(listenFd_);
        throw std::runtime_error("LocalHTTPServer: cannot listen on 127.0.0.1");
    }
    thread_ = std::thread([this] { run(); });
}

std::string LocalHTTPServer::url(std::string_view path) const { return localURL(port_, path); }

std::vector<std::string> LocalHTTPServer::requests() const {
    std::lock_guard lock(mutex_);
    return requests_;
}

void LocalHTTPServer::stop() {
    if (thread_.joinable()) {
        [[maybe_unused]] ssize_t n = ::write(wake_[1], "", 1);
        thread_.join();
    }
    for (int* fd : {&listenFd_, &wake_[0], &wake_[1]}) {
        if (*fd >= 0) ::close(*fd);
        *fd = -1;
    }
}

void LocalHTTPServer::run() {
    struct Client {
        int fd;
        std::size_t index;  // into requests_
        bool complete;
    };
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(options_.lifetime);
    std::vector<Client> clients;
    for (;;) {
        std::vector<pollfd> fds{{wake_[0], POLLIN, 0}, {listenFd_, POLLIN, 0}};
        for (const Client& client : clients) fds.push_back({client.fd, POLLIN, 0});
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) break;
        int ready = ::poll(fds.data(), fds.size(), static_cast<int>(std::min<long long>(left.count(), 1000)));
        if (ready < 0 && errno != EINTR) break;
        if (ready <= 0) continue;
        if (fds[0].revents) break;
        if (fds[1].revents & POLLIN) {
            int fd = ::accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
            if (fd >= 0 && clients.size() >= 64) {
                ::close(fd);
            } else if (fd >= 0) {
                std::lock_guard lock(mutex_);
                requests_.emplace_back();
                clients.push_back({fd, requests_.size() - 1, false});
            }
        }
        for (std::size_t i = 2; i < fds.size(); ++i) {
            Client& client = clients[i - 2];
            if (!fds[i].revents) continue;
            char buffer[16384];
            ssize_t n = ::recv(client.fd, buffer, sizeof buffer, 0);
            if (n < 0 && (errno == EINTR || errno == EAGAIN)) continue;
            bool answer = false;
            if (n > 0 && !client.complete) {  // a silent server just drains what follows
                std::lock_guard lock(mutex_);
                std::string& stored = requests_[client.index];
                stored.append(buffer, static_cast<std::size_t>(n));
                answer = client.complete = isCompleteRequest(stored);
            }
            if (answer && options_.behaviour == Behaviour::NeverAnswer) continue;
            if (answer) {
                const std::string& body = options_.body;
                bool truncate = options_.behaviour == Behaviour::CloseMidBody;
                std::string head = "HTTP/1.1 " + std::to_string(options_.status) + " Status\r\nContent-Length: " +
                                   std::to_string(truncate ? body.size() * 2 + 100 : body.size()) +
                                   "\r\nConnection: close\r\n";
                for (const std::string& line : options_.headers) head += line + "\r\n";
                if (sendAll(client.fd, head + "\r\n") && !body.empty()) sendAll(client.fd, body);
                ::shutdown(client.fd, SHUT_WR);
            } else if (n > 0) {
                continue;
            }
            ::close(client.fd);
            client.fd = -1;
        }
        std::erase_if(clients, [](const Client& c) { return c.fd < 0; });
    }
    for (Client& client : clients) ::close(client.fd);
}

}  // namespace kqtest
