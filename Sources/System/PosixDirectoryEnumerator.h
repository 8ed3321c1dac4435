#pragma once
// The walker behind FileManager::enumeratorAtPath.
#include <memory>
#include <string_view>

#include "KQFoundation/System/FileManager.h"

namespace kq::platform {

/// nullptr when `root` (links followed) is not a folder that can be read.
std::unique_ptr<DirectoryEnumerator> makeDirectoryEnumerator(std::string_view root);

}  // namespace kq::platform
