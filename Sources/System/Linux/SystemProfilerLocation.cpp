// Linux has no system profiler of its own; the project ships
// kqu-system-profiler, installed beside the programs that use it.
#include <unistd.h>

#include <filesystem>

#include "System/ProcessRunner.h"
#include "System/SystemFacts.h"

namespace kq {

namespace {
constexpr const char* kProfilerName = "kqu-system-profiler";
}

std::string defaultSystemProfilerPath() {
    std::error_code error;
    const auto executable = std::filesystem::read_symlink("/proc/self/exe", error);
    if (!error) {
        const auto beside = executable.parent_path() / kProfilerName;
        if (::access(beside.c_str(), X_OK) == 0) return beside.string();
    }
    if (auto found = ProcessRunner::findInPath(kProfilerName)) return *found;
    return kProfilerName;
}

}  // namespace kq
