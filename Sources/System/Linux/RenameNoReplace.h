#pragma once
// Rename that never replaces an existing destination.

namespace kq::platform {

/// 0 on success, else an errno value (EEXIST when the destination exists,
/// EXDEV across file systems).
int renameNoReplace(const char* from, const char* to);

}  // namespace kq::platform
