#include "Command.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <mutex>
#include <set>

#include "KQFoundation/Foundation/Log.h"

#include "KQFoundation/Foundation/PathUtilities.h"
#include "KQFoundation/NSString+KQFoundation.h"

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

std::string sizeText(std::uint64_t bytes, std::size_t width) {
    std::string text = kq::stringWithFileSize(bytes);
    // Characters, not bytes: the no-break space and translated units take several bytes.
    std::size_t characters = 0;
    for (unsigned char c : text) characters += (c & 0xC0) != 0x80;
    if (characters < width) text.insert(0, width - characters, ' ');
    return text;
}

bool stderrIsTerminal() { return isatty(STDERR_FILENO) == 1; }

namespace {
bool quietMode = false;
}  // namespace

void setQuiet(bool quiet) { quietMode = quiet; }

void warn(const std::string& message) {
    if (quietMode) return;
    // Starts from a clean line where a progress bar may be drawn.
    std::fprintf(stderr, "%skqu: warning: %s\n", stderrIsTerminal() ? "\r\033[K" : "", message.c_str());
}

void showLibraryLog() {
    // Scanners may log from their worker threads.
    auto mutex = std::make_shared<std::mutex>();
    auto shown = std::make_shared<std::set<std::string>>();
    kq::setLogSink([mutex, shown](const std::string& line) {
        std::lock_guard lock(*mutex);
        if (shown->insert(line).second) warn(line);
    });
}

void warnIfNoMacTree(const kq::FileSystemLayout& layout) {
    std::error_code error;
    const std::string applications = layout.resolve("/Applications");
    const std::string library = layout.expandTilde("~/Library");
    if (std::filesystem::is_directory(applications, error) || std::filesystem::is_directory(library, error)) return;
    warn("no Mac tree found here (neither " + applications + " nor " + library +
         " exists); point --root at a Mac's disk or a copy of one");
}

}  // namespace kqu
