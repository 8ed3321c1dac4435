// kqu trash: moves items to the trash (never deletes, never replaces).
#include <sys/stat.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "Command.h"
#include "JsonOutput.h"
#include "KQFoundation/NSFileManager+KQFoundation.h"

namespace {

struct TrashOptions {
    kqu::LayoutOptions layout;
    std::vector<std::string> paths;
    bool json = false;
};

int runTrash(const TrashOptions& options) {
    options.layout.apply();
    const kq::FileManager& fileManager = kq::FileManager::defaultManager();
    kq::Array moved;
    bool failed = false;
    // Every item is tried, whatever happened to the ones before it.
    for (const std::string& path : options.paths) {
        struct stat info {};
        std::string destination;
        if (lstat(path.c_str(), &info) != 0) {
            std::fprintf(stderr, "kqu: no such file: %s\n", path.c_str());
            failed = true;
        } else if (!fileManager.moveItemAtPathToTrash(path, &destination)) {
            std::fprintf(stderr, "kqu: could not move %s to the trash; it was left where it is\n", path.c_str());
            failed = true;
        } else if (options.json) {
            moved.emplace_back(kq::Dictionary{{"path", path}, {"destination", destination}});
        } else {
            std::printf("%s -> %s\n", path.c_str(), destination.c_str());
        }
    }
    if (options.json) std::printf("%s\n", kqu::toJSON(kq::Dictionary{{"moved", std::move(moved)}}).c_str());
    return failed ? kqu::kExitInputFailure : kqu::kExitSuccess;
}

const kqu::CommandRegistration registration{kqu::Command{
    "trash",
    "Move files and folders to the trash, printing where each went (PATH -> DESTINATION)",
    [](CLI::App& app) -> std::function<int()> {
        auto options = std::make_shared<TrashOptions>();
        options->layout.addTo(app);
        app.add_option("PATH", options->paths, "Files or folders")->required();
        app.add_flag("--json", options->json, "One JSON document {\"moved\":[{\"path\",\"destination\"}...]} on stdout");
        return [options] { return runTrash(*options); };
    }}};

}  // namespace
