#include "KQFoundation/System/Workspace.h"

#include <sys/stat.h>

#include <algorithm>

#include "KQFoundation/Foundation/PathUtilities.h"
#include "Foundation/UnicodeText.h"

namespace kq {

const char* const NSWorkspaceDidWakeNotification = "NSWorkspaceDidWakeNotification";

Workspace& Workspace::sharedWorkspace() {
    // Never destroyed, like the default centre: the wake watcher may post during exit.
    static Workspace* workspace = new Workspace;
    return *workspace;
}

const std::vector<std::string>& Workspace::packageExtensions() {
    // Folder types the desktop opens as one item: applications and their
    // extensions, loadable bundles of the system and of the common hosts,
    // installer packages, and document packages. Sorted for binary search.
    static const std::vector<std::string> extensions = [] {
        std::vector<std::string> list = {
            "action",        // Automator actions
            "app",           "appex",         "bundle",        "component",  // audio units
            "dext",          // driver extensions
            "docset",        "framework",     "kext",          "mdimporter",  "mpkg",
            "photoslibrary", "pkg",           "playground",    "plugin",      "prefpane",
            "qlgenerator",   "rtfd",          "saver",         "scptd",       // script bundles
            "sparsebundle",  "systemextension", "wdgt",        "workflow",    "xcodeproj",
            "xcworkspace",   "xpc",
        };
        std::sort(list.begin(), list.end());
        return list;
    }();
    return extensions;
}

bool Workspace::isFilePackageAtPath(std::string_view path) const {
    std::string extension = pathExtension(path);
    if (extension.empty()) return false;
    // Names are checked before the file system, so the common answer costs no system call.
    std::string folded = foldForComparison(extension, true, false);
    const auto& known = packageExtensions();
    if (!std::binary_search(known.begin(), known.end(), folded)) return false;
    struct stat info {};
    return stat(std::string(path).c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

}  // namespace kq
