#include "BrowserExtensionSearchFolders.h"

#include <cstdlib>

#include "KQFoundation/Foundation/PathUtilities.h"
#include "KQFoundation/System/FileManager.h"
#include "KQFoundation/System/FileSystemLayout.h"

namespace kq::detail {
namespace {

constexpr std::string_view kFirefoxApplicationID = "{ec8030f7-c20a-464f-9b0e-13a3a9e97384}";

struct ChromiumBrowser {
    const char* name;
    const char* macFolder;  // below Application Support
    std::vector<const char*> linuxFolders;  // below the home; ".config/" follows XDG_CONFIG_HOME
    bool dataFolderIsProfile;  // keeps "Extensions" in its data folder, without profile folders
};

// Chrome first: the other browsers are further rows of the same kind.
const std::vector<ChromiumBrowser>& chromiumBrowsers() {
    static const std::vector<ChromiumBrowser> browsers = {
        {"Chrome", "Google/Chrome", {".config/google-chrome"}, false},
        {"Chrome Beta", "Google/Chrome Beta", {".config/google-chrome-beta"}, false},
        {"Chrome Dev", "Google/Chrome Dev", {".config/google-chrome-unstable"}, false},
        {"Chrome Canary", "Google/Chrome Canary", {".config/google-chrome-canary"}, false},
        {"Chromium", "Chromium", {".config/chromium", "snap/chromium/common/chromium"}, false},
        {"Brave", "BraveSoftware/Brave-Browser", {".config/BraveSoftware/Brave-Browser"}, false},
        {"Edge", "Microsoft Edge", {".config/microsoft-edge"}, false},
        {"Vivaldi", "Vivaldi", {".config/vivaldi"}, false},
        {"Opera", "com.operasoftware.Opera", {".config/opera"}, true},
    };
    return browsers;
}

bool isFolder(const std::string& path) {
    bool directory = false;
    return FileManager::defaultManager().fileExistsAtPath(path, directory) && directory;
}

std::vector<std::string> entriesOf(const std::string& folder) {
    std::vector<std::string> paths;
    for (const std::string& name : FileManager::defaultManager().contentsOfDirectoryAtPath(folder))
        paths.push_back(folder + "/" + name);
    return paths;
}

/// A Mac tree under another root, this machine when it is a Mac, or a Mac
/// home folder given as the home: the Mac folders. Otherwise the Linux ones.
bool usesMacFolders(const FileSystemLayout& layout) {
    return !layout.isHostRoot() || isFolder("/System/Library/CoreServices") ||
           isFolder(layout.home() + "/Library/Application Support");
}

std::vector<std::string> userFolders(SearchPathDirectory directory) {
    std::vector<std::string> paths;
    for (const URL& url : FileManager::defaultManager().URLsForDirectory(directory, UserDomainMask))
        paths.push_back(url.path());
    return paths;
}

/// The home's ".config" folder; XDG_CONFIG_HOME counts only for the running user's own home.
std::string configurationFolder(const FileSystemLayout& layout) {
    const char* home = std::getenv("HOME");
    const char* configHome = std::getenv("XDG_CONFIG_HOME");
    if (configHome && configHome[0] == '/' && home && stringByStandardizingPath(home) == layout.home())
        return stringByStandardizingPath(configHome);
    return layout.home() + "/.config";
}

std::string linuxFolder(const FileSystemLayout& layout, std::string_view relative) {
    constexpr std::string_view config = ".config/";
    if (relative.substr(0, config.size()) == config)
        return configurationFolder(layout) + "/" + std::string(relative.substr(config.size()));
    return layout.home() + "/" + std::string(relative);
}

void addChromiumProfiles(std::vector<BrowserSearchFolder>& folders, const ChromiumBrowser& browser,
                         const std::string& dataFolder) {
    if (browser.dataFolderIsProfile && isFolder(dataFolder + "/Extensions"))
        folders.push_back({browser.name, dataFolder + "/Extensions"});
    // Every entry (profile folders and anything else) that holds an "Extensions" folder.
    for (const std::string& entry : entriesOf(dataFolder))
        if (isFolder(entry + "/Extensions")) folders.push_back({browser.name, entry + "/Extensions"});
}

std::vector<BrowserSearchFolder> chromeFolders(const FileSystemLayout& layout, bool mac, bool otherBrowsers) {
    std::vector<BrowserSearchFolder> folders;
    const std::vector<std::string> bases = mac ? userFolders(SearchPathDirectory::ApplicationSupport)
                                               : std::vector<std::string>{};
    for (const ChromiumBrowser& browser : chromiumBrowsers()) {
        if (!otherBrowsers && std::string_view(browser.name) != "Chrome") continue;
        if (mac) {
            for (const std::string& base : bases) addChromiumProfiles(folders, browser, base + "/" + browser.macFolder);
        } else {
            for (const char* relative : browser.linuxFolders)
                addChromiumProfiles(folders, browser, linuxFolder(layout, relative));
        }
    }
    return folders;
}

/// Firefox profiles below a "firefox" data folder (Linux): only folders have extensions.
void addLinuxFirefoxProfiles(std::vector<BrowserSearchFolder>& folders, const std::string& dataFolder) {
    for (const std::string& entry : entriesOf(dataFolder))
        if (isFolder(entry)) folders.push_back({"Firefox", entry + "/extensions"});
}

std::vector<BrowserSearchFolder> firefoxFolders(const FileSystemLayout& layout, bool mac, bool otherBrowsers) {
    std::vector<BrowserSearchFolder> folders;
    if (mac) {
        // Neither folder is tested for existence: a missing one lists as nothing.
        for (const std::string& base : userFolders(SearchPathDirectory::ApplicationSupport)) {
            folders.push_back({"Firefox", base + "/Mozilla/Extensions/" + std::string(kFirefoxApplicationID)});
            for (const std::string& entry : entriesOf(base + "/Firefox/Profiles"))
                folders.push_back({"Firefox", entry + "/extensions"});
        }
        return folders;
    }
    const std::string& home = layout.home();
    folders.push_back({"Firefox", home + "/.mozilla/extensions/" + std::string(kFirefoxApplicationID)});
    addLinuxFirefoxProfiles(folders, home + "/.mozilla/firefox");
    if (otherBrowsers) {
        addLinuxFirefoxProfiles(folders, home + "/snap/firefox/common/.mozilla/firefox");
        addLinuxFirefoxProfiles(folders, home + "/.var/app/org.mozilla.firefox/.mozilla/firefox");
    }
    return folders;
}

}  // namespace

std::vector<BrowserSearchFolder> browserSearchFolders(std::uint64_t type, bool otherBrowsers) {
    const std::shared_ptr<const FileSystemLayout> layout = FileSystemLayout::current();
    const bool mac = usesMacFolders(*layout);
    switch (type) {
        case KQUBrowserExtensionTypeSafari: {
            std::vector<BrowserSearchFolder> folders;
            if (mac)
                for (const std::string& base : userFolders(SearchPathDirectory::Library))
                    folders.push_back({"Safari", base + "/Safari/Extensions"});
            return folders;
        }
        case KQUBrowserExtensionTypeChrome: return chromeFolders(*layout, mac, otherBrowsers);
        case KQUBrowserExtensionTypeFirefox: return firefoxFolders(*layout, mac, otherBrowsers);
        default: return {};
    }
}

}  // namespace kq::detail
