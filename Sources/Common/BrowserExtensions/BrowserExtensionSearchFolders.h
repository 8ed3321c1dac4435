#pragma once
// Where each browser keeps its extensions, with the browser's name kept
// beside every folder so that records can say which browser held them.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KQFoundation/KQUBrowserExtensionsScanner.h"

namespace kq::detail {

struct BrowserSearchFolder {
    std::string browser;  // "Chrome", "Brave", "Firefox", ...
    std::string path;
};

/// The folders whose entries are the items of a browser kind, in search
/// order, through the current file-system layout: the Mac folders for a Mac
/// tree (or a Mac host), the Linux profile folders on a Linux host.
/// `otherBrowsers` adds the other Chromium browsers and Firefox's snap and
/// flatpak folders.
std::vector<BrowserSearchFolder> browserSearchFolders(std::uint64_t type, bool otherBrowsers);

/// One record for the item, its dictionary carrying `browser` (the scan loop
/// knows the browser from the folder it lists).
std::optional<KQUBrowserExtension> extensionOfType(KQUBrowserExtensionsScanner& scanner, std::uint64_t type,
                                                   const URL& url, std::string_view browser);

}  // namespace kq::detail
