#include "KQFoundation/System/FileManager.h"
#include "KQFoundation/System/FileSystemLayout.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <mutex>

#include "KQFoundation/Foundation/PathUtilities.h"
#include "Foundation/SystemHooks.h"
#include "System/RunningExecutable.h"

namespace kq {

namespace {

/// Absolute, no repeated or trailing slashes; "" stays "". No "~": the
/// layout is what expands it.
std::string normalizedFolder(const std::string& path) { return path.empty() ? path : absolutePath(path, false); }

std::string runningUserHome() {
    if (const char* home = std::getenv("HOME"); home && *home) return normalizedFolder(home);
    std::array<char, 4096> buffer{};
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found && found->pw_dir)
        return normalizedFolder(found->pw_dir);
    return "/";
}

std::mutex& currentMutex() {
    static std::mutex mutex;
    return mutex;
}

std::shared_ptr<const FileSystemLayout>& currentSlot() {
    static std::shared_ptr<const FileSystemLayout> layout = std::make_shared<const FileSystemLayout>();
    return layout;
}

enum Domain : unsigned { User = 0, Local = 1, Network = 2, System = 3 };
constexpr unsigned kDomainCount = 4;

/// One directory's folders per domain; nullptr where the domain has none.
/// User folders are relative to the home, the others are Mac paths under the root.
struct DirectoryFolders {
    SearchPathDirectory directory;
    std::array<const char*, kDomainCount> folders;
};

constexpr DirectoryFolders kFolders[] = {
    {SearchPathDirectory::Application,
     {"Applications", "/Applications", "/Network/Applications", "/System/Applications"}},
    {SearchPathDirectory::DemoApplication,
     {"Applications/Demos", "/Applications/Demos", "/Network/Applications/Demos", nullptr}},
    {SearchPathDirectory::DeveloperApplication,
     {"Developer/Applications", "/Developer/Applications", "/Network/Developer/Applications", nullptr}},
    {SearchPathDirectory::AdminApplication,
     {"Applications/Utilities", "/Applications/Utilities", "/Network/Applications/Utilities",
      "/System/Applications/Utilities"}},
    {SearchPathDirectory::Library, {"Library", "/Library", "/Network/Library", "/System/Library"}},
    {SearchPathDirectory::Developer, {"Developer", "/Developer", "/Network/Developer", nullptr}},
    {SearchPathDirectory::User, {nullptr, "/Users", "/Network/Users", nullptr}},
    {SearchPathDirectory::Documentation,
     {"Library/Documentation", "/Library/Documentation", "/Network/Library/Documentation",
      "/System/Library/Documentation"}},
    {SearchPathDirectory::Document, {"Documents", nullptr, nullptr, nullptr}},
    {SearchPathDirectory::CoreService,
     {nullptr, "/Library/CoreServices", nullptr, "/System/Library/CoreServices"}},
    {SearchPathDirectory::AutosavedInformation, {"Library/Autosave Information", nullptr, nullptr, nullptr}},
    {SearchPathDirectory::Desktop, {"Desktop", nullptr, nullptr, nullptr}},
    {SearchPathDirectory::Caches, {"Library/Caches", "/Library/Caches", nullptr, "/System/Library/Caches"}},
    {SearchPathDirectory::ApplicationSupport,
     {"Library/Application Support", "/Library/Application Support",
      "/Network/Library/Application Support", nullptr}},
    {SearchPathDirectory::Downloads, {"Downloads", nullptr, nullptr, nullptr}},
    {SearchPathDirectory::InputMethods,
     {"Library/Input Methods", "/Library/Input Methods", "/Network/Library/Input Methods",
      "/System/Library/Input Methods"}},
    {SearchPathDirectory::Movies, {"Movies", nullptr, nullptr, nullptr}},
    {SearchPathDirectory::Music, {"Music", nullptr, nullptr, nullptr}},
    {SearchPathDirectory::Pictures, {"Pictures", nullptr, nullptr, nullptr}},
    {SearchPathDirectory::PrinterDescription,
     {nullptr, "/Library/Printers/PPDs", "/Network/Library/Printers/PPDs", "/System/Library/Printers/PPDs"}},
    {SearchPathDirectory::SharedPublic, {"Public", nullptr, nullptr, nullptr}},
    {SearchPathDirectory::PreferencePanes,
     {"Library/PreferencePanes", "/Library/PreferencePanes", nullptr, "/System/Library/PreferencePanes"}},
    {SearchPathDirectory::ApplicationScripts, {"Library/Application Scripts", nullptr, nullptr, nullptr}},
    {SearchPathDirectory::Trash, {".Trash", nullptr, nullptr, nullptr}},
};

const char* folderFor(SearchPathDirectory directory, unsigned domain) {
    for (const auto& entry : kFolders)
        if (entry.directory == directory) return entry.folders[domain];
    return nullptr;
}

// Foundation expands "~" and finds the main bundle through these.
const bool kSystemHooksInstalled = [] {
    detail::installSystemHooks({
        [](std::string_view path) { return FileSystemLayout::current()->expandTilde(path); },
        &detail::systemRunningExecutablePath,
        [](std::string_view path, const std::vector<std::uint8_t>& bytes, std::error_code* error) {
            return FileManager::defaultManager().createFileAtPath(path, bytes, error);
        },
    });
    return true;
}();

}  // namespace

FileSystemLayout::FileSystemLayout() : root_("/"), home_(runningUserHome()) {}

FileSystemLayout::FileSystemLayout(std::string root, std::string home)
    : root_(normalizedFolder(std::move(root))), home_(normalizedFolder(std::move(home))) {
    if (root_.empty()) root_ = "/";
    if (home_.empty()) home_ = root_ == "/" ? runningUserHome() : root_;
}

std::shared_ptr<const FileSystemLayout> FileSystemLayout::current() {
    (void)kSystemHooksInstalled;
    std::lock_guard lock(currentMutex());
    return currentSlot();
}

void FileSystemLayout::setCurrent(std::shared_ptr<const FileSystemLayout> layout) {
    if (!layout) layout = std::make_shared<const FileSystemLayout>();
    std::lock_guard lock(currentMutex());
    currentSlot() = std::move(layout);
}

std::string FileSystemLayout::resolve(std::string_view macPath) const {
    if (macPath.empty() || macPath.front() != '/' || root_ == "/") return std::string(macPath);
    if (macPath == "/") return root_;
    return root_ + std::string(macPath);
}

std::string FileSystemLayout::expandTilde(std::string_view path) const {
    if (path == "~" || path == "~/") return home_;
    if (path.size() >= 2 && path[0] == '~' && path[1] == '/') {
        std::string out = home_ == "/" ? std::string() : home_;
        out.append(path.substr(1));
        return out;
    }
    return std::string(path);
}

std::string FileSystemLayout::resolveResourcePath(std::string_view path) const {
    std::string expanded = expandTilde(path);
    if (isPathInsideFolder(expanded, home_) && home_ != "/") return expanded;
    return resolve(expanded);
}

std::vector<std::string> FileSystemLayout::pathsForDirectory(SearchPathDirectory directory,
                                                            unsigned domainMask) const {
    std::vector<SearchPathDirectory> directories;
    switch (directory) {
        case SearchPathDirectory::AllApplications:
            directories = {SearchPathDirectory::Application, SearchPathDirectory::DemoApplication,
                           SearchPathDirectory::DeveloperApplication, SearchPathDirectory::AdminApplication};
            break;
        case SearchPathDirectory::AllLibraries:
            directories = {SearchPathDirectory::Library, SearchPathDirectory::Developer};
            break;
        default:
            directories = {directory};
    }

    std::vector<std::string> paths;
    for (unsigned domain = User; domain < kDomainCount; ++domain) {
        if ((domainMask & (1u << domain)) == 0) continue;
        for (SearchPathDirectory d : directories) {
            const char* folder = folderFor(d, domain);
            if (!folder) continue;
            paths.push_back(domain == User ? stringByAppendingPathComponent(home_, folder) : resolve(folder));
        }
    }
    return paths;
}

}  // namespace kq
