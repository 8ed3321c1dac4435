// kqu size: the logical size of files and folder trees.
#include <sys/stat.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "Command.h"
#include "JsonOutput.h"
#include "KQFoundation/NSFileManager+KQFoundation.h"

namespace {

struct SizeOptions {
    std::vector<std::string> paths;
    bool json = false;
};

int runSize(const SizeOptions& options) {
    const kq::FileManager& fileManager = kq::FileManager::defaultManager();
    kq::Array sizes;
    bool failed = false;
    for (const std::string& path : options.paths) {
        struct stat info {};
        if (lstat(path.c_str(), &info) != 0) {
            std::fprintf(stderr, "kqu: cannot read %s\n", path.c_str());
            failed = true;
            continue;
        }
        const std::uint64_t bytes = fileManager.sizeOfItemAtPath(path);
        if (options.json)
            sizes.emplace_back(kq::Dictionary{{"path", path}, {"bytes", static_cast<unsigned long long>(bytes)}});
        else
            std::printf("%s\t%s\n", kqu::sizeText(bytes).c_str(), path.c_str());
    }
    if (options.json) kqu::printJSON(kq::Dictionary{{"sizes", std::move(sizes)}});
    return failed ? kqu::kExitInputFailure : kqu::kExitSuccess;
}

const kqu::CommandRegistration registration{kqu::Command{
    "size",
    "Print the logical size of each path (SIZE<TAB>PATH per line, 1.5 KB; --json in bytes; links not followed)",
    [](CLI::App& app) -> std::function<int()> {
        auto options = std::make_shared<SizeOptions>();
        app.add_option("PATH", options->paths, "Files or folders")->required();
        app.add_flag("--json", options->json, "One JSON document {\"sizes\":[{\"path\",\"bytes\"}...]} on stdout");
        return [options] { return runSize(*options); };
    }}};

}  // namespace
