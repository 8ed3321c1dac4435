#pragma once
// The loader behind KQUOpenSSLLoad(), with the library path as a parameter so
// tests can make it fail.
#include <string>

namespace kq::detail {

/// Opens the library at `path` and fills the KQU* pointers; logs and ends the
/// process with status 1 when it cannot be opened. Not guarded: KQUOpenSSLLoad
/// runs it once.
void loadOpenSSL(const std::string& path);

}  // namespace kq::detail
