// kqu reachability: watches whether a URL's server can be reached and prints
// each change of status as "TIME STATUS NAME" (local time), or one JSON object
// per line with --json. Without --watch it ends at the first outcome of the
// first probe: exit 0 when the server answered, 2 when not.
#include <chrono>
#include <cstdio>
#include <ctime>
#include <optional>

#include "Command.h"
#include "JsonOutput.h"
#include "KQFoundation/KQUNetworkReachability.h"
#include "KQFoundation/System/RunLoop.h"

namespace {

struct ReachabilityOptions {
    std::string url;
    double timeout = KQUNetworkReachability::kDefaultRequestTimeoutInterval;
    bool watch = false;
    bool json = false;
};

const char* statusName(std::uint64_t status) {
    switch (status) {
    case KQUNetworkStatusNotReachable: return "NotReachable";
    case KQUNetworkStatusChecking: return "Checking";
    case KQUNetworkStatusReachableByRequest: return "ReachableByRequest";
    case KQUNetworkStatusReachable: return "Reachable";
    default: return "Unknown";
    }
}

std::string localTime() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char text[64];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S%z", &local);
    return text;
}

void printStatus(std::uint64_t status, bool json) {
    if (json) {
        std::string line = "{\"time\":";
        kqu::appendJSONString(line, localTime());
        line += ",\"status\":" + std::to_string(status) + ",\"name\":";
        kqu::appendJSONString(line, statusName(status));
        std::printf("%s}\n", line.c_str());
    } else {
        std::printf("%s %llu %s\n", localTime().c_str(), static_cast<unsigned long long>(status), statusName(status));
    }
    // A watcher's output is read line by line, often through a pipe.
    std::fflush(stdout);
}

int run(const ReachabilityOptions& options) {
    const auto url = kq::URL::URLWithString(options.url);
    if (!url || url->host().empty())
        throw kqu::CommandFailure{kqu::kExitInputFailure, "reachability: " + options.url + ": not a URL with a host"};

    auto loop = kq::RunLoop::currentRunLoop();
    std::optional<std::uint64_t> settled;
    auto reachability = KQUNetworkReachability::create(
        *url, options.timeout, [&](KQUNetworkReachability& r) {
            printStatus(r.networkStatus(), options.json);
            if (r.networkStatus() != KQUNetworkStatusChecking && !settled) {
                settled = r.networkStatus();
                if (!options.watch) loop->stop();
            }
        });
    if (!reachability)
        throw kqu::CommandFailure{kqu::kExitInputFailure, "reachability: " + options.url + ": cannot watch this host"};
    if (!reachability->startNotifier())
        throw kqu::CommandFailure{kqu::kExitInputFailure, "reachability: cannot watch the network's routes"};

    const kq::Date never = std::chrono::system_clock::now() + std::chrono::hours(24 * 365);
    while (options.watch || !settled)
        if (!loop->runUntilDate(never)) break;  // nothing left to wait for: should not happen
    reachability->stopNotifier();
    if (!settled) throw kqu::CommandFailure{kqu::kExitInputFailure, "reachability: the probe ended without an outcome"};
    return *settled == KQUNetworkStatusNotReachable ? kqu::kExitInputFailure : kqu::kExitSuccess;
}

const kqu::CommandRegistration registration{{
    "reachability",
    "Watch whether a URL's server can be reached, printing each change of status",
    [](CLI::App& app) -> std::function<int()> {
        auto options = std::make_shared<ReachabilityOptions>();
        app.add_option("URL", options->url, "The URL to probe (its host's routes are watched)")->required();
        app.add_flag("--watch", options->watch, "Keep watching and printing changes until interrupted");
        app.add_option("--timeout", options->timeout, "Seconds a probe may wait for the server (default 10)")
            ->check(CLI::PositiveNumber);
        app.add_flag("--json", options->json, "Print one JSON object per line");
        return [options] { return run(*options); };
    },
}};

}  // namespace
