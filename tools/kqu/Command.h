#pragma once
// Subcommands of kqu register themselves here; main() builds the parser.
#include <CLI/CLI.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "KQFoundation/System/FileSystemLayout.h"

namespace kqu {

enum ExitCode { kExitSuccess = 0, kExitUsage = 1, kExitInputFailure = 2 };

/// Thrown by a subcommand to end with a one-line message and an exit status.
struct CommandFailure {
    int exitCode;
    std::string message;
};

struct Command {
    std::string name;
    std::string description;
    /// Adds the subcommand's options to `app` and returns what runs it.
    std::function<std::function<int()>(CLI::App& app)> setup;
};

void registerCommand(Command command);
const std::vector<Command>& registeredCommands();

struct CommandRegistration {
    explicit CommandRegistration(Command command) { registerCommand(std::move(command)); }
};


/// --root and --home, shared by the subcommands that look at a Mac tree.
struct LayoutOptions {
    std::string root;
    std::string home;
    void addTo(CLI::App& app);
    /// Makes the layout current. Without --home: $HOME when there is no
    /// --root, else the one folder in ROOT/Users (a CommandFailure otherwise).
    std::shared_ptr<const kq::FileSystemLayout> apply() const;
};

/// A byte count as the library shows file sizes ("1.5 KB", with a no-break
/// space, in the user's language), right-aligned to `width` characters.
std::string sizeText(std::uint64_t bytes, std::size_t width = 0);

/// True when stderr is a terminal, so progress is worth drawing.
bool stderrIsTerminal();

/// --quiet: hides warnings, kqu's own and the library's log lines.
void setQuiet(bool quiet);
/// "kqu: warning: MESSAGE" on stderr, unless quiet.
void warn(const std::string& message);
/// Sends the library's log lines to warn(), each distinct line once (a
/// failing helper program is otherwise reported once per question asked).
void showLibraryLog();

/// Warns when the layout has neither ROOT/Applications nor HOME/Library: a
/// scan would find nothing there, which is rarely what was meant.
void warnIfNoMacTree(const kq::FileSystemLayout& layout);

}  // namespace kqu
