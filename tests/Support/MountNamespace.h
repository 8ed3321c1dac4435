#pragma once
// Runs a piece of a test in a child process with a private mount namespace and
// real bind mounts in it, so tests can meet what only mounts produce (EXDEV
// between two paths of one device, a folder that contains itself) without
// touching the machine's mounts. Where the namespace or the mount is not
// permitted the run reports that, and the test skips.
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace kqtest {

struct IsolatedRun {
    bool permitted = false;
    std::string skipReason;  // why not, when not permitted
    std::string output;      // what the body returned
};

namespace detail {

/// A mount namespace for this (single-threaded, just forked) process; needs
/// the right to unshare, which CI has as root.
inline std::string enterMountNamespace() {
    if (unshare(CLONE_NEWNS) != 0) return std::string("unshare: ") + std::strerror(errno);
    // Nothing done here may reach the machine's own mounts.
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        return std::string("making mounts private: ") + std::strerror(errno);
    return {};
}

}  // namespace detail

/// Bind-mounts each (source, target) pair in a new mount namespace of a child
/// process, then runs `body` there and hands back what it returned. The
/// mounts vanish with the child; the files it changed stay.
inline IsolatedRun runWithBindMounts(const std::vector<std::pair<std::string, std::string>>& bindings,
                                     const std::function<std::string()>& body) {
    IsolatedRun run;
    int channel[2];
    if (pipe(channel) != 0) {
        run.skipReason = "no pipe";
        return run;
    }
    const pid_t child = fork();
    if (child < 0) {
        run.skipReason = "cannot fork";
        return run;
    }
    if (child == 0) {
        close(channel[0]);
        std::string result = detail::enterMountNamespace();
        int status = 77;
        for (const auto& [source, target] : bindings) {
            if (!result.empty()) break;
            if (mount(source.c_str(), target.c_str(), nullptr, MS_BIND, nullptr) != 0)
                result = "bind mount: " + std::string(std::strerror(errno));
        }
        if (result.empty()) {
            try {
                result = body();
                status = 0;
            } catch (...) {
                result = "the body threw";
                status = 1;
            }
        }
        for (std::size_t done = 0; done < result.size();) {
            const ssize_t n = write(channel[1], result.data() + done, result.size() - done);
            if (n <= 0) break;
            done += static_cast<std::size_t>(n);
        }
        _exit(status);
    }
    close(channel[1]);
    std::string text;
    char buffer[4096];
    for (ssize_t n; (n = read(channel[0], buffer, sizeof buffer)) > 0;) text.append(buffer, static_cast<std::size_t>(n));
    close(channel[0]);
    int status = 0;
    waitpid(child, &status, 0);
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    if (code == 77) {
        run.skipReason = text;
    } else {
        run.permitted = true;
        run.output = code == 0 ? text : "child failed: " + text;
    }
    return run;
}

}  // namespace kqtest
