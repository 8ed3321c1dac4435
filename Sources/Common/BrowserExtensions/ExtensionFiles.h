#pragma once
// How the browser readers read their text files: as UTF-8 (a file that is not
// counts as unreadable), JSON objects with the library's lenient reader.
#include <optional>
#include <string>

#include "KQFoundation/Foundation/Value.h"

namespace kq::detail {

std::optional<std::string> readUTF8Text(const std::string& path);
std::optional<kq::Dictionary> readJSONObject(const std::string& path);

}  // namespace kq::detail
