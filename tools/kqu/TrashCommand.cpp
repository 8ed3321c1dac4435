// kqu trash: moves items to the trash (never deletes, never replaces, never copies).
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
    const auto layout = options.layout.apply();
    const kq::FileManager& fileManager = kq::FileManager::defaultManager();
    bool isDirectory = false;
    // The trash lives in the home folder; a mistyped one must not be created.
    if (!fileManager.fileExistsAtPath(layout->home(), isDirectory) || !isDirectory)
        throw kqu::CommandFailure{kqu::kExitInputFailure,
                                  "home folder not found: " + layout->home() + "; nothing was moved"};
    kq::Array moved;
    kq::Array notMoved;
    // Every item is tried, whatever happened to the ones before it.
    for (const std::string& path : options.paths) {
        std::string destination;
        std::error_code error;
        if (!fileManager.moveItemAtPathToTrash(path, &destination, &error)) {
            std::fprintf(stderr, "kqu: could not move %s to the trash: %s; it was left where it is\n", path.c_str(),
                         error.message().c_str());
            notMoved.emplace_back(kq::Dictionary{{"path", path}, {"reason", error.message()}});
        } else if (options.json) {
            moved.emplace_back(kq::Dictionary{{"path", path}, {"destination", destination}});
        } else {
            std::printf("%s -> %s\n", path.c_str(), destination.c_str());
        }
    }
    const bool failed = !notMoved.empty();
    if (options.json)
        std::printf("%s\n",
                    kqu::toJSON(kq::Dictionary{{"moved", std::move(moved)}, {"notMoved", std::move(notMoved)}}).c_str());
    return failed ? kqu::kExitInputFailure : kqu::kExitSuccess;
}

const kqu::CommandRegistration registration{kqu::Command{
    "trash",
    "Move files and folders to the trash, printing where each went (PATH -> DESTINATION)",
    [](CLI::App& app) -> std::function<int()> {
        auto options = std::make_shared<TrashOptions>();
        app.footer(
            "Each move is one rename into the trash of the item's own volume: nothing is copied, replaced or "
            "deleted. Refused: /, the home folder and folders holding it, the --root folder and anything outside "
            "it, items already in the trash.\nExit status: 0 every item moved; 1 bad usage; 2 some item was not "
            "moved (why is on stderr; the other items are still moved) or the home folder does not exist.");
        options->layout.addTo(app);
        app.add_option("PATH", options->paths, "Files or folders")->required();
        app.add_flag("--json", options->json,
                     "One JSON document {\"moved\":[{\"path\",\"destination\"}...],"
                     "\"notMoved\":[{\"path\",\"reason\"}...]} on stdout");
        return [options] { return runTrash(*options); };
    }}};

}  // namespace
