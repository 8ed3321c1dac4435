// kqu version: the tool's and the library's version.
#include <cstdio>

#include "Command.h"

namespace {

const kqu::CommandRegistration registration{{
    "version",
    "Print the version of kqu and KQFoundation",
    [](CLI::App&) -> std::function<int()> {
        return [] {
            std::printf("kqu %s (KQFoundation %s)\n", KQ_VERSION, KQ_VERSION);
            return kqu::kExitSuccess;
        };
    },
}};

}  // namespace
