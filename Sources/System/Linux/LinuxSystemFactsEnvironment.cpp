// Operating system, boot time and default browser on Linux.
//
// The operating system's name and version are NAME and VERSION of
// os-release; its three-part version is VERSION_ID, made more precise by
// /etc/debian_version where that agrees. The default browser is the handler
// of "x-scheme-handler/http" in the mimeapps.list files (the user's first),
// else what xdg-settings says (running machine only), else the
// x-www-browser alternative.
#include <unistd.h>

#include <filesystem>

#include "LinuxFiles.h"
#include "LinuxSystemFacts.h"
#include "System/ProcessRunner.h"

namespace kq {

using namespace linuxfiles;

namespace {

constexpr long kApplicationNotFoundStatus = -10814;

std::vector<std::pair<std::string, std::string>> osRelease(const LinuxSystemFacts& facts) {
    for (const char* file : {"/etc/os-release", "/usr/lib/os-release"})
        if (auto text = readFile(facts.path(file))) return shellAssignments(*text);
    return {};
}

std::optional<std::vector<int>> versionNumbers(std::string_view text) {
    std::vector<int> numbers;
    for (std::string_view part : split(trim(text), '.')) {
        auto number = parseNumber(part);
        if (!number || *number > 1000000) return std::nullopt;
        numbers.push_back(static_cast<int>(*number));
    }
    if (numbers.empty()) return std::nullopt;
    return numbers;
}

// The handlers named in the "[Default Applications]" group of a mimeapps.list.
std::vector<std::string> handlersIn(std::string_view text, std::string_view mimeType) {
    bool inDefaults = false;
    for (std::string_view line : split(text, '\n')) {
        line = trim(line);
        if (line.starts_with("[")) {
            inDefaults = line == "[Default Applications]";
            continue;
        }
        if (!inDefaults) continue;
        const std::size_t equals = line.find('=');
        if (equals == std::string_view::npos || trim(line.substr(0, equals)) != mimeType) continue;
        std::vector<std::string> handlers;
        for (std::string_view handler : split(line.substr(equals + 1), ';'))
            if (!trim(handler).empty()) handlers.emplace_back(trim(handler));
        return handlers;
    }
    return {};
}

}  // namespace

std::optional<std::string> LinuxSystemFacts::operatingSystemName() const {
    const auto release = osRelease(*this);
    if (auto name = valueForKey(release, "NAME"); name && !name->empty()) return name;
    return std::string("Linux");
}

std::optional<std::string> LinuxSystemFacts::operatingSystemVersionString() const {
    const auto release = osRelease(*this);
    for (const char* key : {"VERSION", "VERSION_ID", "BUILD_ID"})
        if (auto value = valueForKey(release, key); value && !value->empty()) return value;
    return std::nullopt;
}

std::optional<int> LinuxSystemFacts::systemVersionComponent(int index) const {
    const auto versionID = valueForKey(osRelease(*this), "VERSION_ID");
    auto numbers = versionID ? versionNumbers(*versionID) : std::nullopt;
    if (!numbers) return std::nullopt;
    if (auto debian = readTrimmed(path("/etc/debian_version")))
        if (auto precise = versionNumbers(*debian); precise && precise->front() == numbers->front()) numbers = precise;
    if (index < 0 || index > 2) return std::nullopt;
    return static_cast<std::size_t>(index) < numbers->size() ? (*numbers)[static_cast<std::size_t>(index)] : 0;
}

std::optional<std::int64_t> LinuxSystemFacts::bootTime() const {
    const auto stat = readFile(path("/proc/stat"));
    if (!stat) return std::nullopt;
    if (auto btime = valueForKey(keyValueLines(*stat, ' '), "btime"))
        if (auto seconds = parseNumber(*btime)) return static_cast<std::int64_t>(*seconds);
    return std::nullopt;
}

DefaultApplicationFact LinuxSystemFacts::defaultApplicationForURL(std::string_view url) const {
    DefaultApplicationFact fact;
    const std::size_t colon = url.find(':');
    if (colon == std::string_view::npos || colon == 0) {
        fact.status = kApplicationNotFoundStatus;
        fact.error = "not a URL: " + std::string(url);
        return fact;
    }
    const std::string mimeType = "x-scheme-handler/" + std::string(url.substr(0, colon));
    const std::string userHome = home();
    const std::vector<std::string> applicationFolders{userHome + "/.local/share/applications",
                                                      path("/usr/local/share/applications"),
                                                      path("/usr/share/applications")};
    const auto desktopFile = [&](const std::string& id) -> std::string {
        for (const std::string& folder : applicationFolders)
            if (exists(folder + "/" + id)) return folder + "/" + id;
        return id;
    };

    for (const std::string& list : {userHome + "/.config/mimeapps.list", path("/etc/xdg/mimeapps.list"),
                                    userHome + "/.local/share/applications/mimeapps.list",
                                    path("/usr/local/share/applications/mimeapps.list"),
                                    path("/usr/share/applications/mimeapps.list")}) {
        const auto text = readFile(list);
        if (!text) continue;
        const auto handlers = handlersIn(*text, mimeType);
        if (handlers.empty()) continue;
        for (const std::string& handler : handlers)
            if (exists(desktopFile(handler))) {
                fact.applicationPath = desktopFile(handler);
                return fact;
            }
        fact.applicationPath = handlers.front();
        return fact;
    }

    if (options_.root == "/" && options_.runDesktopTools && mimeType == "x-scheme-handler/http") {
        if (auto tool = ProcessRunner::findInPath("xdg-settings")) {
            try {
                const auto result = ProcessRunner::run(*tool, {"get", "default-web-browser"});
                std::string answer(trim(std::string_view(reinterpret_cast<const char*>(result.standardOutput.data()),
                                                         result.standardOutput.size())));
                if (result.exitStatus == 0 && !answer.empty() && answer.find('\n') == std::string::npos) {
                    fact.applicationPath = desktopFile(answer);
                    return fact;
                }
            } catch (const std::exception&) {
                // An unusable xdg-settings is the same as none.
            }
        }
    }

    if (url.starts_with("http")) {
        std::error_code error;
        auto browser = std::filesystem::read_symlink(path("/etc/alternatives/x-www-browser"), error);
        if (!error && !browser.empty()) {
            fact.applicationPath = browser.string();
            return fact;
        }
    }

    fact.status = kApplicationNotFoundStatus;
    fact.error = "no application is registered for " + std::string(url);
    return fact;
}

}  // namespace kq
