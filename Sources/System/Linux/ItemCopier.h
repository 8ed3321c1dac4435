#pragma once
// Copies an item, and for a folder everything in it, to a new place; used to
// move items between file systems.
#include <string>
#include <system_error>

namespace kq::platform {

/// Copies files, folders and symbolic links with their modes, times and
/// "user." extended attributes. Never replaces an existing item at `to`. On
/// failure whatever was copied is removed again and the error is set.
bool copyItem(const std::string& from, const std::string& to, std::error_code& error);

}  // namespace kq::platform
