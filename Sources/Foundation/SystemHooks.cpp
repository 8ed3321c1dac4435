#include "Foundation/SystemHooks.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace kq::detail {
namespace {

// Constant-initialised, so hooks installed during static initialisation of
// another object file are never overwritten.
constinit SystemHooks installed{};

}  // namespace

void installSystemHooks(const SystemHooks& hooks) { installed = hooks; }

std::string expandTilde(std::string_view path) {
    if (installed.expandTilde) return installed.expandTilde(path);
    const char* home = std::getenv("HOME");
    std::string base = home && *home ? home : "/";
    if (path == "~" || path == "~/") return base;
    if (path.size() >= 2 && path[0] == '~' && path[1] == '/') {
        if (base == "/") base.clear();
        return base.append(path.substr(1));
    }
    return std::string(path);
}

std::string runningExecutablePath() {
    return installed.runningExecutablePath ? installed.runningExecutablePath() : std::string();
}

bool writeFileAtomically(std::string_view path, const std::vector<std::uint8_t>& bytes, std::error_code* error) {
    if (installed.writeFileAtomically) return installed.writeFileAtomically(path, bytes, error);
    namespace fs = std::filesystem;
    const fs::path target(path);
    fs::path temporary = target;
    temporary += ".kqtmp";
    std::error_code code;
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        if (!out.flush()) code = std::make_error_code(std::errc::io_error);
    }
    if (!code) fs::rename(temporary, target, code);
    if (code) {
        std::error_code ignored;
        fs::remove(temporary, ignored);
        if (error) *error = code;
        return false;
    }
    return true;
}

}  // namespace kq::detail
