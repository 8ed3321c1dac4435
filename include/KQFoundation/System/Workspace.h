#pragma once
// kq::Workspace: the desktop's view of files (the platform's NSWorkspace).
#include <string>
#include <string_view>
#include <vector>

#include "KQFoundation/Export.h"

namespace kq {

class KQ_EXPORT Workspace {
public:
    static Workspace& sharedWorkspace();

    /// A folder the desktop shows as one document: its extension is a package
    /// type (app, bundle, framework, plugin, kext, xpc, appex, pkg, mpkg, rtfd,
    /// photoslibrary, ...; see packageExtensions()), compared case-insensitively
    /// (Unicode folding), and the path is a folder, links followed. Files and
    /// missing paths are not packages.
    bool isFilePackageAtPath(std::string_view path) const;
    /// Lower-case extensions treated as package types, sorted.
    static const std::vector<std::string>& packageExtensions();
};

}  // namespace kq
