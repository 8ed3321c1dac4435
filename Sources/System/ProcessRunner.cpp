#include "System/ProcessRunner.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string_view>

#include "KQFoundation/Foundation/Exceptions.h"
#include "System/ChildProcess.h"

extern char** environ;

namespace kq {

namespace {

// Ours, with the options' variables set or replaced.
std::vector<std::pair<std::string, std::string>> childEnvironment(const ProcessOptions& options) {
    std::vector<std::pair<std::string, std::string>> entries;
    for (char** e = environ; e && *e; ++e) {
        const std::string_view entry(*e);
        const std::size_t equals = entry.find('=');
        if (equals == std::string_view::npos) continue;
        const std::string_view name = entry.substr(0, equals);
        bool replaced = false;
        for (const auto& option : options.environment) replaced = replaced || option.first == name;
        if (!replaced) entries.emplace_back(name, entry.substr(equals + 1));
    }
    entries.insert(entries.end(), options.environment.begin(), options.environment.end());
    return entries;
}

}  // namespace

ProcessResult ProcessRunner::run(const std::string& launchPath, const std::vector<std::string>& arguments,
                                 const ProcessOptions& options) {
    if (launchPath.empty() || ::access(launchPath.c_str(), X_OK) != 0)
        throw InvalidArgumentException("launch path not accessible: " + launchPath);

    ChildLaunch launch;
    launch.path = std::filesystem::absolute(launchPath).string();
    launch.arguments = arguments;
    launch.environment = childEnvironment(options);
    launch.pipeOutput = true;
    std::string error;
    const auto child = ChildProcess::launch(launch, error);
    if (!child) throw InvalidArgumentException("cannot launch " + launchPath + ": " + error);

    ProcessResult result;
    Data chunk;
    std::ptrdiff_t n;
    while ((n = readPipe(child->outputDescriptor(), chunk, 65536, true)) > 0)
        result.standardOutput.insert(result.standardOutput.end(), chunk.begin(), chunk.end());
    const int readError = n < 0 ? errno : 0;
    const int status = child->wait();
    if (child->terminationSignal() != 0) {
        result.terminationSignal = child->terminationSignal();
    } else {
        result.exitStatus = status;
    }
    if (readError != 0)
        throw InternalInconsistencyException(std::string("cannot read the output of ") + launchPath + ": " +
                                             std::strerror(readError));
    return result;
}

std::optional<std::string> ProcessRunner::findInPath(const std::string& name) {
    if (name.empty() || name.find('/') != std::string::npos) return std::nullopt;
    const char* path = std::getenv("PATH");
    std::string_view folders = path ? path : "/usr/local/bin:/usr/bin:/bin";
    while (!folders.empty()) {
        const std::size_t colon = folders.find(':');
        std::string_view folder = folders.substr(0, colon);
        folders = colon == std::string_view::npos ? std::string_view() : folders.substr(colon + 1);
        if (folder.empty()) continue;
        std::string candidate = std::string(folder) + "/" + name;
        if (::access(candidate.c_str(), X_OK) == 0 && !std::filesystem::is_directory(candidate)) return candidate;
    }
    return std::nullopt;
}

}  // namespace kq
