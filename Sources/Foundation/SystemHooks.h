#pragma once
// The few facts Foundation needs from the operating system without looking up
// a layer: the system layer fills these in when it is linked (see
// System/FileSystemLayout.cpp); until then Foundation uses plain defaults.
#include <cstdint>
#include <string>
#include <system_error>
#include <vector>
#include <string_view>

namespace kq::detail {

struct SystemHooks {
    /// "~" and "~/x" to a path in the current file-system layout's home.
    std::string (*expandTilde)(std::string_view path) = nullptr;
    /// The running program's file, empty when unknown.
    std::string (*runningExecutablePath)() = nullptr;
    /// Writes a whole file or nothing (temporary sibling, flushed, renamed).
    bool (*writeFileAtomically)(std::string_view path, const std::vector<std::uint8_t>& bytes,
                                std::error_code* error) = nullptr;
};

void installSystemHooks(const SystemHooks& hooks);

/// "~" and "~/x" expanded by the installed hook, else with $HOME.
std::string expandTilde(std::string_view path);
/// The running program's file by the installed hook, else empty.
std::string runningExecutablePath();
/// Atomic write by the installed hook, else through a renamed temporary file.
bool writeFileAtomically(std::string_view path, const std::vector<std::uint8_t>& bytes, std::error_code* error);

}  // namespace kq::detail
