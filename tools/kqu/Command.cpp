#include "Command.h"

#include <unistd.h>

#include <filesystem>

#include "KQFoundation/Foundation/PathUtilities.h"

namespace kqu {

namespace {
std::vector<Command>& registry() {
    static std::vector<Command> commands;
    return commands;
}
}  // namespace

void registerCommand(Command command) { registry().push_back(std::move(command)); }
const std::vector<Command>& registeredCommands() { return registry(); }

void LayoutOptions::addTo(CLI::App& app) {
    app.add_option("--root", root, "Root folder of the Mac to inspect (default /)");
    app.add_option("--home", home, "Home folder of the user to inspect");
}

std::shared_ptr<const kq::FileSystemLayout> LayoutOptions::apply() const {
    namespace fs = std::filesystem;
    std::error_code ec;
    const std::string rootPath = root.empty() ? std::string("/") : kq::absolutePath(root);
    if (!root.empty() && !fs::is_directory(rootPath, ec))
        throw CommandFailure{kExitInputFailure, "root folder not found: " + root};
    std::string homePath;
    if (!home.empty()) {
        homePath = kq::absolutePath(home);
    } else if (root.empty()) {
        homePath = kq::FileSystemLayout().home();
    } else {
        std::vector<std::string> users;
        for (auto it = fs::directory_iterator(rootPath + "/Users", ec); !ec && it != fs::directory_iterator();
             it.increment(ec)) {
            const std::string name = it->path().filename().string();
            if (it->is_directory(ec) && name != "Shared" && name.front() != '.') users.push_back(it->path().string());
        }
        if (users.size() != 1)
            throw CommandFailure{kExitUsage, "--home is needed: " + rootPath + "/Users holds " +
                                                 std::to_string(users.size()) + " user folders, not one"};
        homePath = users.front();
    }
    auto layout = std::make_shared<const kq::FileSystemLayout>(rootPath, homePath);
    kq::FileSystemLayout::setCurrent(layout);
    return layout;
}

bool stderrIsTerminal() { return isatty(STDERR_FILENO) == 1; }

}  // namespace kqu
