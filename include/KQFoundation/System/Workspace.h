#pragma once
// kq::Workspace: the desktop's view of files (the platform's NSWorkspace).
#include <string>
#include <string_view>
#include <vector>

#include "KQFoundation/Export.h"
#include "KQFoundation/System/NotificationCenter.h"

namespace kq {

/// Posted on the workspace's notificationCenter(), on the main run loop, when
/// the machine has woken from sleep.
extern KQ_EXPORT const char* const NSWorkspaceDidWakeNotification;  // "NSWorkspaceDidWakeNotification"

class KQ_EXPORT Workspace {
public:
    /// The one workspace, never destroyed.
    static Workspace& sharedWorkspace();

    /// The workspace's own centre, apart from NotificationCenter::defaultCenter().
    NotificationCenter& notificationCenter() { return notificationCenter_; }

    /// A folder the desktop shows as one document: its extension is a package
    /// type (app, bundle, framework, plugin, kext, xpc, appex, pkg, mpkg, rtfd,
    /// photoslibrary, ...; see packageExtensions()), compared case-insensitively
    /// (Unicode folding), and the path is a folder, links followed. Files and
    /// missing paths are not packages.
    bool isFilePackageAtPath(std::string_view path) const;
    /// Lower-case extensions treated as package types, sorted.
    static const std::vector<std::string>& packageExtensions();

private:
    Workspace() = default;
    NotificationCenter notificationCenter_;
};

}  // namespace kq
