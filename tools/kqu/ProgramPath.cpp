#include "ProgramPath.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string_view>

namespace kqu {

namespace {

bool isExecutableFile(const std::string& path) {
    std::error_code error;
    return ::access(path.c_str(), X_OK) == 0 && !std::filesystem::is_directory(path, error);
}

}  // namespace

std::optional<std::string> findProgram(const std::string& name) {
    if (name.empty()) return std::nullopt;
    if (name.find('/') != std::string::npos) {
        std::string path = std::filesystem::absolute(name).lexically_normal().string();
        return isExecutableFile(path) ? std::optional(path) : std::nullopt;
    }
    const char* path = std::getenv("PATH");
    std::string_view folders = path ? path : "/usr/local/bin:/usr/bin:/bin";
    while (!folders.empty()) {
        const std::size_t colon = folders.find(':');
        const std::string_view folder = folders.substr(0, colon);
        folders = colon == std::string_view::npos ? std::string_view() : folders.substr(colon + 1);
        if (folder.empty()) continue;  // an empty entry would mean the working folder: not trusted
        std::string candidate = std::string(folder) + "/" + name;
        if (isExecutableFile(candidate)) return candidate;
    }
    return std::nullopt;
}

}  // namespace kqu
