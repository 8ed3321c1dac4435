#pragma once
// Whether a path lies in a folder, by text (both already standardized).
#include <string_view>

namespace kq::scanning {

inline bool isPathInside(std::string_view path, std::string_view folder) {
    if (folder == "/") return !path.empty() && path.front() == '/';
    return path.size() >= folder.size() && path.compare(0, folder.size(), folder) == 0 &&
           (path.size() == folder.size() || path[folder.size()] == '/');
}

}  // namespace kq::scanning
