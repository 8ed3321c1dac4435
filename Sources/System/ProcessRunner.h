#pragma once
// kq::ProcessRunner: runs a program (no shell) with arguments, collects its
// standard output to end of file and waits for it. Standard input and error
// are inherited. Failures to launch are thrown as the platform's task does.
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "KQFoundation/Foundation/Value.h"

namespace kq {

struct ProcessResult {
    Data standardOutput;
    /// The exit status when the program exited, else -1.
    int exitStatus = -1;
    /// The signal that ended the program, else 0.
    int terminationSignal = 0;
};

struct ProcessOptions {
    /// Variables set (or replaced) in the child's environment on top of ours.
    std::vector<std::pair<std::string, std::string>> environment;
};

class ProcessRunner {
public:
    /// Throws kq::InvalidArgumentException when `launchPath` cannot be
    /// launched and kq::InternalInconsistencyException when the output pipe
    /// cannot be made or read.
    static ProcessResult run(const std::string& launchPath, const std::vector<std::string>& arguments,
                             const ProcessOptions& options = {});

    /// The first executable file called `name` in the folders of $PATH.
    static std::optional<std::string> findInPath(const std::string& name);
};

}  // namespace kq
