// kqu: the KQFoundation command-line tool.
#include <cstdio>
#include <iostream>

#include "Command.h"
#include "KQFoundation/Foundation/Log.h"

int main(int argc, char** argv) {
    CLI::App app{"kqu - looks at a Mac (or a copy of one): applications, leftovers, extensions, system facts"};
    app.require_subcommand(1);
    app.set_help_all_flag("--help-all", "Show help for every subcommand");

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
        std::fprintf(stderr, "kqu: %s\n", e.what());
        return kqu::kExitUsage;
    }
    // The tool's own messages are the one-liners below; library diagnostics stay quiet.
    kq::setLogSink([](const std::string&) {});
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
