#include <gtest/gtest.h>

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <string>
#include <thread>

#include "KQFoundation/System/RunLoop.h"
#include "System/RouteReachability.h"

namespace {

using kq::RouteReachability;

TEST(RouteReachability, RefusesNamesThatCannotBeHostsAndRoutesLoopback) {
    for (const std::string& host : std::initializer_list<std::string>{"", "[]", "a b", "host\n", "tab\there", std::string(300, 'a')})
        EXPECT_EQ(RouteReachability::createWithName(host), nullptr) << host;
    for (const std::string host : {"localhost", "127.0.0.1", "[::1]", "nothing.invalid"})
        EXPECT_NE(RouteReachability::createWithName(host), nullptr) << host;
    EXPECT_EQ(RouteReachability::createWithName("127.0.0.1")->flags(), RouteReachability::kReachable);
    EXPECT_EQ(RouteReachability::createWithName("nothing.invalid")->flags(), 0u);
}

// Runs `body` on a fresh thread of a child process inside a network namespace
// of its own, whose loopback starts down. "skip: ..." when not permitted.
std::string inNewNetworkNamespace(const std::function<std::string()>& body) {
    int channel[2];
    if (pipe(channel) != 0) return "skip: no pipe";
    const pid_t child = fork();
    if (child == 0) {
        close(channel[0]);
        std::string result;
        if (unshare(CLONE_NEWNET) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0)
            result = std::string("skip: unshare: ") + std::strerror(errno);
        else
            std::thread([&] { result = body(); }).join();  // a thread of its own has a fresh run loop
        (void)!write(channel[1], result.data(), result.size());
        _exit(0);
    }
    close(channel[1]);
    std::string text;
    char buffer[512];
    for (ssize_t n; (n = read(channel[0], buffer, sizeof buffer)) > 0;) text.append(buffer, std::size_t(n));
    close(channel[0]);
    int status = 0;
    if (child > 0) waitpid(child, &status, 0);
    return child > 0 ? text : "skip: cannot fork";
}

TEST(RouteReachability, CallsBackWhenTheRoutingChanges) {
    const std::string outcome = inNewNetworkNamespace([] {
        auto source = RouteReachability::createWithName("127.0.0.1");
        std::string seen = "before " + std::to_string(source->flags().value_or(99));
        source->setCallback([&](std::uint32_t flags) {
            if (flags) seen += ", then " + std::to_string(flags);
        });
        auto loop = kq::RunLoop::currentRunLoop();
        if (!source->scheduleWithRunLoop(*loop)) return std::string("cannot schedule");

        const int s = socket(AF_INET, SOCK_DGRAM, 0);
        ifreq request{};
        std::strcpy(request.ifr_name, "lo");
        if (ioctl(s, SIOCGIFFLAGS, &request) != 0) return std::string("skip: no lo");
        request.ifr_flags = static_cast<short>(request.ifr_flags | IFF_UP);
        const bool up = ioctl(s, SIOCSIFFLAGS, &request) == 0;
        close(s);
        if (!up) return std::string("skip: cannot bring lo up");

        const auto until = std::chrono::system_clock::now() + std::chrono::seconds(5);
        while (seen.find("then") == std::string::npos && std::chrono::system_clock::now() < until)
            loop->runOnce(until);
        return seen;
    });
    if (outcome.rfind("skip: ", 0) == 0) GTEST_SKIP() << outcome;
    EXPECT_EQ(outcome, "before 0, then 2");
}

}  // namespace
