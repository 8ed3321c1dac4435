#include "Support/LocalHTTPServer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <stdexcept>

namespace kqtest {
namespace {

constexpr std::size_t kMaxClients = 64;
constexpr std::size_t kMaxRequestBytes = 16 * 1024 * 1024;

std::string lower(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return std::tolower(c); });
    return out;
}

// The value of the first header `name` (lower case) in the header block, or "".
std::string headerValue(std::string_view head, std::string_view name) {
    std::string lowered = lower(head);
    std::size_t pos = 0;
    while ((pos = lowered.find("\r\n", pos)) != std::string::npos) {
        pos += 2;
        if (lowered.compare(pos, name.size(), name) == 0 && pos + name.size() < lowered.size() &&
            lowered[pos + name.size()] == ':') {
            std::size_t start = pos + name.size() + 1;
            std::size_t end = lowered.find("\r\n", start);
            std::string value(head.substr(start, end == std::string::npos ? std::string::npos : end - start));
            value.erase(0, value.find_first_not_of(" \t"));
            value.erase(value.find_last_not_of(" \t") + 1);
            return value;
        }
    }
    return {};
}

bool sendAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t n = ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            pollfd p{fd, POLLOUT, 0};
            if (::poll(&p, 1, 2000) <= 0) return false;
            continue;
        }
        if (n <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

const char* reasonPhrase(int status) {
    switch (status) {
        case 200: return "OK";
        case 201: return "Created";
        case 204: return "No Content";
        case 301: return "Moved Permanently";
        case 302: return "Found";
        case 404: return "Not Found";
        case 500: return "Internal Server Error";
        case 503: return "Service Unavailable";
        default: return "Status";
    }
}

}  // namespace

bool isCompleteHTTPRequest(std::string_view request) {
    std::size_t headEnd = request.find("\r\n\r\n");
    if (headEnd == std::string_view::npos) return false;
    std::string_view head = request.substr(0, headEnd + 2);
    std::string_view body = request.substr(headEnd + 4);
    if (lower(headerValue(head, "transfer-encoding")).find("chunked") != std::string::npos)
        return body.size() >= 5 && body.substr(body.size() - 5) == "0\r\n\r\n";
    std::string length = headerValue(head, "content-length");
    if (length.empty()) return true;
    return body.size() >= std::strtoull(length.c_str(), nullptr, 10);
}

std::string localURL(int port, std::string_view path) {
    return "http://127.0.0.1:" + std::to_string(port) + std::string(path);
}

int refusedLocalPort() {
    int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    int port = 0;
    if (fd >= 0 && ::bind(fd, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) == 0)
        port = ntohs(address.sin_port);
    if (fd >= 0) ::close(fd);
    return port;
}

LocalHTTPServer::LocalHTTPServer(Options options) : options_(std::move(options)) {
    listenFd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    int pipeFds[2];
    if (listenFd_ < 0 || ::bind(listenFd_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        ::listen(listenFd_, 16) != 0 ||
        ::getsockname(listenFd_, reinterpret_cast<sockaddr*>(&address), &size) != 0 ||
        ::pipe2(pipeFds, O_CLOEXEC | O_NONBLOCK) != 0) {
        if (listenFd_ >= 0) ::close(listenFd_);
        throw std::runtime_error("LocalHTTPServer: cannot listen on 127.0.0.1");
    }
    port_ = ntohs(address.sin_port);
    wakeRead_ = pipeFds[0];
    wakeWrite_ = pipeFds[1];
    thread_ = std::thread([this] { run(); });
}

LocalHTTPServer::~LocalHTTPServer() { stop(); }

std::string LocalHTTPServer::url(std::string_view path) const { return localURL(port_, path); }

std::vector<std::string> LocalHTTPServer::requests() const {
    std::lock_guard lock(mutex_);
    return requests_;
}

std::size_t LocalHTTPServer::connectionCount() const {
    std::lock_guard lock(mutex_);
    return requests_.size();
}

bool LocalHTTPServer::waitForRequests(std::size_t count, double seconds) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::duration<double>(seconds), [&] { return completed_ >= count; });
}

void LocalHTTPServer::stop() {
    if (thread_.joinable()) {
        char byte = 0;
        [[maybe_unused]] ssize_t n = ::write(wakeWrite_, &byte, 1);
        thread_.join();
    }
    for (int* fd : {&listenFd_, &wakeRead_, &wakeWrite_}) {
        if (*fd >= 0) ::close(*fd);
        *fd = -1;
    }
}

void LocalHTTPServer::run() {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(options_.lifetime);
    std::vector<Client> clients;
    for (;;) {
        std::vector<pollfd> fds{{wakeRead_, POLLIN, 0}, {listenFd_, POLLIN, 0}};
        for (const Client& client : clients) fds.push_back({client.fd, POLLIN, 0});
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) break;
        int ready = ::poll(fds.data(), fds.size(), static_cast<int>(std::min<long long>(left.count(), 1000)));
        if (ready < 0 && errno != EINTR) break;
        if (ready <= 0) continue;
        if (fds[0].revents) break;
        if (fds[1].revents & POLLIN) {
            int fd = ::accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
            if (fd >= 0 && clients.size() >= kMaxClients) {
                ::close(fd);
            } else if (fd >= 0) {
                std::lock_guard lock(mutex_);
                requests_.emplace_back();
                clients.push_back({fd, requests_.size() - 1, false, false});
                changed_.notify_all();
            }
        }
        for (std::size_t i = 2; i < fds.size(); ++i) {
            if (!fds[i].revents) continue;
            auto it = std::find_if(clients.begin(), clients.end(), [&](const Client& c) { return c.fd == fds[i].fd; });
            if (it != clients.end()) serviceClient(*it);
        }
        clients.erase(std::remove_if(clients.begin(), clients.end(), [](const Client& c) { return c.fd < 0; }),
                      clients.end());
    }
    for (Client& client : clients) ::close(client.fd);
}

void LocalHTTPServer::serviceClient(Client& client) {
    char buffer[16384];
    ssize_t n = ::recv(client.fd, buffer, sizeof buffer, 0);
    if (n < 0 && (errno == EINTR || errno == EAGAIN)) return;
    if (n <= 0) {
        ::close(client.fd);
        client.fd = -1;
        return;
    }
    if (client.complete) return;  // a silent server just drains what follows
    std::string request;
    {
        std::lock_guard lock(mutex_);
        std::string& stored = requests_[client.index];
        if (stored.size() + static_cast<std::size_t>(n) > kMaxRequestBytes) {
            ::close(client.fd);
            client.fd = -1;
            return;
        }
        stored.append(buffer, static_cast<std::size_t>(n));
        request = stored;
    }
    if (!isCompleteHTTPRequest(request)) {
        // Clients that wait for permission before sending a body get it at once.
        std::size_t headEnd = request.find("\r\n\r\n");
        if (headEnd != std::string::npos && !client.continued &&
            lower(headerValue(std::string_view(request).substr(0, headEnd + 2), "expect")) == "100-continue") {
            client.continued = true;
            sendAll(client.fd, "HTTP/1.1 100 Continue\r\n\r\n");
        }
        return;
    }
    client.complete = true;
    {
        std::lock_guard lock(mutex_);
        ++completed_;
        changed_.notify_all();
    }
    if (options_.behaviour == Behaviour::NeverAnswer) return;
    answer(client);
}

void LocalHTTPServer::answer(Client& client) {
    const std::string& body = options_.body;
    bool truncate = options_.behaviour == Behaviour::CloseMidBody;
    std::size_t announced = truncate ? body.size() * 2 + 100 : body.size();
    std::string head = "HTTP/1.1 " + std::to_string(options_.status) + " " + reasonPhrase(options_.status) + "\r\n";
    head += "Content-Length: " + std::to_string(announced) + "\r\n";
    head += "Connection: close\r\n";
    for (const std::string& line : options_.headers) head += line + "\r\n";
    head += "\r\n";
    if (sendAll(client.fd, head) && !body.empty()) sendAll(client.fd, body);
    ::shutdown(client.fd, SHUT_WR);
    ::close(client.fd);
    client.fd = -1;
}

}  // namespace kqtest
