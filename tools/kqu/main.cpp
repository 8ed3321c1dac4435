// kqu: the KQFoundation command-line tool.
#include <algorithm>
#include <cstdio>
#include <string_view>

#include "Command.h"

// fontconfig keeps its caches (some filled by pango's own thread) for the life
// of the process; under the leak checker they would fail every text rendering.
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig.so\n"; }

namespace {

void listSubcommands() {
    std::fprintf(stderr, "Subcommands:\n");
    // The descriptions line up two spaces after the longest name.
    int width = 0;
    for (const kqu::Command& command : kqu::registeredCommands())
        width = std::max(width, static_cast<int>(command.name.size()) + 2);
    for (const kqu::Command& command : kqu::registeredCommands())
        std::fprintf(stderr, "  %-*s%s\n", width, command.name.c_str(), command.description.c_str());
    std::fprintf(stderr, "Run 'kqu SUBCOMMAND --help' for its options.\n");
}

bool isGlobalFlag(std::string_view argument) { return argument == "-q" || argument == "--quiet"; }

/// The first word that is neither an option nor an option's value, or
/// nullptr: what the user meant as the subcommand.
const char* firstWord(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (argv[i][0] == '-') continue;
        const std::string_view previous = argv[i - 1];
        const bool optionValue = i > 1 && previous.substr(0, 1) == "-" && !isGlobalFlag(previous) &&
                                 previous.find('=') == std::string_view::npos;
        if (!optionValue) return argv[i];
    }
    return nullptr;
}

bool isSubcommand(const char* word) {
    for (const kqu::Command& command : kqu::registeredCommands())
        if (command.name == word) return true;
    return false;
}

/// CLI11's own message for a missing or unknown subcommand names neither the
/// word nor the choices; say both.
int usageFailure(const CLI::ParseError& error, int argc, char** argv) {
    const char* word = firstWord(argc, argv);
    if (word == nullptr) {
        // CLI11 complains of the missing subcommand before an unknown option.
        for (int i = 1; i < argc; ++i)
            if (argv[i][0] == '-' && !isGlobalFlag(argv[i]))
                std::fprintf(stderr, "kqu: unknown option '%s'\n", argv[i]);
        std::fprintf(stderr, "usage: kqu [--quiet] SUBCOMMAND [OPTIONS]\n");
        listSubcommands();
    } else if (!isSubcommand(word)) {
        std::fprintf(stderr, "kqu: unknown subcommand '%s'\n", word);
        listSubcommands();
    } else {
        std::fprintf(stderr, "kqu: %s\n", error.what());
    }
    return kqu::kExitUsage;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"kqu - looks at a Mac (or a copy of one): applications, their components, leftovers of removed "
                 "ones, sizes, the trash, property lists, predicates and system facts"};
    app.require_subcommand(1);
    app.footer("A subcommand's options (--root, --home, --json ...) follow its name: kqu SUBCOMMAND --help.\n"
               "Exit status: 0 success, 1 bad usage, 2 an input that could not be read.");
    app.set_help_all_flag("--help-all", "Show help for every subcommand");
    bool quiet = false;
    app.add_flag("-q,--quiet", quiet, "Hide warnings (the library's diagnostics and kqu's own)");
    // Lets --quiet stand after the subcommand too.
    app.fallthrough();

    std::function<int()> run;
    for (const kqu::Command& command : kqu::registeredCommands()) {
        CLI::App* sub = app.add_subcommand(command.name, command.description);
        auto runner = command.setup(*sub);
        sub->callback([&run, runner] { run = runner; });
    }

    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForAllHelp& e) {
        return app.exit(e);
    } catch (const CLI::ParseError& e) {
        if (app.get_subcommands().empty()) return usageFailure(e, argc, argv);
        std::fprintf(stderr, "kqu: %s\n", e.what());
        return kqu::kExitUsage;
    }
    kqu::setQuiet(quiet);
    kqu::showLibraryLog();
    try {
        return run ? run() : kqu::kExitUsage;
    } catch (const kqu::CommandFailure& failure) {
        std::fprintf(stderr, "kqu: %s\n", failure.message.c_str());
        return failure.exitCode;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "kqu: %s\n", e.what());
        return kqu::kExitInputFailure;
    }
}
