// Route flags from the kernel: the host is resolved, then each address is
// looked up in the routing tables with one RTM_GETROUTE request (the question
// `ip route get` asks). Changes come from an rtnetlink socket subscribed to
// link, address and route announcements.
#include "System/RouteReachability.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "KQFoundation/System/RunLoop.h"

namespace kq {

namespace {

// Longer than any DNS name (253) or address literal with a zone.
constexpr std::size_t kMaxHostLength = 255;

struct Socket {
    int fd = -1;
    explicit Socket(int f) : fd(f) {}
    ~Socket() {
        if (fd >= 0) close(fd);
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
};

bool hasRoute(int fd, const sockaddr* address, std::uint32_t sequence) {
    const void* bytes = nullptr;
    std::size_t length = 0;
    if (address->sa_family == AF_INET) {
        bytes = &reinterpret_cast<const sockaddr_in*>(address)->sin_addr;
        length = sizeof(in_addr);
    } else if (address->sa_family == AF_INET6) {
        bytes = &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr;
        length = sizeof(in6_addr);
    } else {
        return false;
    }

    struct {
        nlmsghdr header;
        rtmsg route;
        alignas(NLMSG_ALIGNTO) char attributes[RTA_SPACE(sizeof(in6_addr))];
    } request{};
    request.header.nlmsg_len = NLMSG_LENGTH(sizeof(rtmsg));
    request.header.nlmsg_type = RTM_GETROUTE;
    request.header.nlmsg_flags = NLM_F_REQUEST;
    request.header.nlmsg_seq = sequence;
    request.route.rtm_family = static_cast<unsigned char>(address->sa_family);
    request.route.rtm_dst_len = static_cast<unsigned char>(length * 8);
    auto* destination = reinterpret_cast<rtattr*>(reinterpret_cast<char*>(&request) +
                                                  NLMSG_ALIGN(request.header.nlmsg_len));
    destination->rta_type = RTA_DST;
    destination->rta_len = static_cast<unsigned short>(RTA_LENGTH(length));
    std::memcpy(RTA_DATA(destination), bytes, length);
    request.header.nlmsg_len = NLMSG_ALIGN(request.header.nlmsg_len) + RTA_SPACE(length);

    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    if (sendto(fd, &request, request.header.nlmsg_len, 0, reinterpret_cast<sockaddr*>(&kernel),
               sizeof(kernel)) < 0)
        return false;

    alignas(nlmsghdr) std::array<char, 8192> reply;
    for (;;) {
        const ssize_t n = recv(fd, reply.data(), reply.size(), 0);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        // NLMSG_OK compares signed with unsigned; the same walk, spelt out.
        const auto size = static_cast<std::size_t>(n);
        for (std::size_t offset = 0; offset + sizeof(nlmsghdr) <= size;) {
            const auto* message = reinterpret_cast<const nlmsghdr*>(reply.data() + offset);
            if (message->nlmsg_len < sizeof(nlmsghdr) || message->nlmsg_len > size - offset) break;
            offset += NLMSG_ALIGN(message->nlmsg_len);
            if (message->nlmsg_seq != sequence) continue;  // a late reply to an earlier question
            if (message->nlmsg_type == NLMSG_ERROR) return false;  // ENETUNREACH and friends
            if (message->nlmsg_type != RTM_NEWROUTE || message->nlmsg_len < NLMSG_LENGTH(sizeof(rtmsg))) continue;
            const auto* route = static_cast<const rtmsg*>(NLMSG_DATA(message));
            // Blackhole, unreachable and prohibit routes are answers too, but "no".
            switch (route->rtm_type) {
            case RTN_UNICAST:
            case RTN_LOCAL:
            case RTN_BROADCAST:
            case RTN_ANYCAST:
            case RTN_MULTICAST:
                return true;
            default:
                return false;
            }
        }
    }
}

std::optional<std::uint32_t> readFlags(const std::string& host) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;  // one entry per address
    addrinfo* found = nullptr;
    if (getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0) return 0u;
    std::vector<sockaddr_storage> addresses;
    for (addrinfo* entry = found; entry; entry = entry->ai_next) {
        if (entry->ai_addrlen > sizeof(sockaddr_storage)) continue;
        sockaddr_storage address{};
        std::memcpy(&address, entry->ai_addr, entry->ai_addrlen);
        addresses.push_back(address);
    }
    freeaddrinfo(found);

    Socket route(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
    if (route.fd < 0) return std::nullopt;
    // The kernel answers at once; the limit only guards against the unforeseen.
    timeval limit{1, 0};
    setsockopt(route.fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
    std::uint32_t sequence = 0;
    for (const auto& address : addresses)
        if (hasRoute(route.fd, reinterpret_cast<const sockaddr*>(&address), ++sequence))
            return RouteReachability::kReachable;
    return 0u;
}

class LinuxRouteReachability final : public RouteReachability {
public:
    explicit LinuxRouteReachability(std::string host) : shared_(std::make_shared<Shared>()) {
        shared_->host = std::move(host);
    }
    ~LinuxRouteReachability() override { stopWatching(); }

    std::optional<std::uint32_t> flags() override { return readFlags(shared_->host); }

    bool setCallback(Callback callback) override {
        shared_->callback = std::move(callback);
        return true;
    }

    bool scheduleWithRunLoop(RunLoop& loop) override {
        if (!loop.isCurrent()) return false;
        if (auto current = loop_.lock()) return current.get() == &loop;
        const int fd = socket(AF_NETLINK, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, NETLINK_ROUTE);
        if (fd < 0) return false;
        sockaddr_nl local{};
        local.nl_family = AF_NETLINK;
        local.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE | RTMGRP_IPV4_IFADDR |
                          RTMGRP_IPV6_IFADDR;
        // The current loop is this thread's shared one; a weak hold on it lets
        // the destructor unschedule from any thread.
        auto self = RunLoop::currentRunLoop();
        if (bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof(local)) != 0 ||
            !loop.addReadSource(fd, [shared = shared_](int readable) { announce(*shared, readable); })) {
            close(fd);
            return false;
        }
        fd_ = fd;
        loop_ = self;
        return true;
    }

    bool unscheduleFromRunLoop(RunLoop& loop) override {
        auto current = loop_.lock();
        if (!current || current.get() != &loop) return false;
        stopWatching();
        return true;
    }

private:
    struct Shared {
        std::string host;
        Callback callback;
    };

    static void announce(Shared& shared, int fd) {
        // Read everything queued: one call for the whole burst. An overflow
        // (ENOBUFS) means lost announcements, which is a change all the same.
        alignas(nlmsghdr) std::array<char, 8192> buffer;
        for (;;) {
            const ssize_t n = recv(fd, buffer.data(), buffer.size(), MSG_DONTWAIT);
            if (n > 0 || (n < 0 && (errno == EINTR || errno == ENOBUFS))) continue;
            break;
        }
        if (!shared.callback) return;
        auto callback = shared.callback;  // the callback may replace itself
        callback(readFlags(shared.host).value_or(0));
    }

    void stopWatching() {
        if (fd_ < 0) return;
        const int fd = fd_;
        fd_ = -1;
        auto loop = loop_.lock();
        loop_.reset();
        if (!loop) {
            close(fd);
        } else if (loop->isCurrent()) {
            loop->removeReadSource(fd);
            close(fd);
        } else if (!loop->perform([loop, fd] {
                       loop->removeReadSource(fd);
                       close(fd);
                   })) {
            close(fd);  // the loop's thread has gone, and its sources with it
        }
    }

    std::shared_ptr<Shared> shared_;
    std::weak_ptr<RunLoop> loop_;
    int fd_ = -1;
};

std::string usableHost(std::string_view host) {
    if (host.size() >= 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
    if (host.empty() || host.size() > kMaxHostLength) return {};
    for (const char c : host)
        if (static_cast<unsigned char>(c) <= 0x20 || c == 0x7f) return {};
    return std::string(host);
}

}  // namespace

std::shared_ptr<RouteReachability> RouteReachability::createWithName(std::string_view host) {
    std::string name = usableHost(host);
    if (name.empty()) return nullptr;
    return std::make_shared<LinuxRouteReachability>(std::move(name));
}

}  // namespace kq
