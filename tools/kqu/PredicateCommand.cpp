// kqu predicate FORMAT PATH...: prints the paths whose file URL matches the predicate.
#include <cstdio>

#include "Command.h"
#include "KQFoundation/Foundation/Exceptions.h"
#include "KQFoundation/Predicate/Predicate.h"
#include "KQFoundation/Foundation/URL.h"

namespace {

struct PredicateOptions {
    std::string format;
    std::vector<std::string> paths;
};

const kqu::CommandRegistration registration{{
    "predicate",
    "Print the paths that match a predicate (e.g. \"path ENDSWITH[c] '.app'\")",
    [](CLI::App& app) -> std::function<int()> {
        auto options = std::make_shared<PredicateOptions>();
        app.add_option("FORMAT", options->format, "Predicate format")->required();
        app.add_option("PATH", options->paths, "Paths to test")->required();
        app.footer(
            "Exit status: 0 when every path was evaluated, 1 when the format does not parse, 2 when some paths\n"
            "could not be evaluated (a MATCHES that timed out, a key a file URL does not have); those are\n"
            "named on stderr and the other paths are still tested.");
        return [options] {
            kq::PredicatePtr predicate;
            try {
                predicate = kq::Predicate::predicateWithFormat(options->format);
            } catch (const kq::InvalidArgumentException& e) {
                throw kqu::CommandFailure{kqu::kExitUsage, e.what()};
            }
            int status = kqu::kExitSuccess;
            for (const std::string& path : options->paths) {
                try {
                    if (predicate->evaluateWithObject(kq::URL::fileURLWithPath(path))) std::printf("%s\n", path.c_str());
                } catch (const kq::InvalidArgumentException& e) {
                    // One path the predicate cannot judge does not hide the answers for the others.
                    std::fflush(stdout);
                    std::fprintf(stderr, "kqu: %s: %s\n", path.c_str(), e.what());
                    status = kqu::kExitInputFailure;
                }
            }
            return status;
        };
    },
}};

}  // namespace
