#pragma once
// Extended attributes of an item itself (links not followed). Linux keeps
// attributes from other systems in the "user." namespace, so a bare name such
// as "com.apple.FinderInfo" is looked up as "user.com.apple.FinderInfo" first.
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "KQFoundation/Foundation/Value.h"

namespace kq::platform {

std::optional<Data> readExtendedAttribute(const std::string& path, std::string_view name);
/// Writes under "user." + name unless the name already has a namespace.
bool writeExtendedAttribute(const std::string& path, std::string_view name, const Data& value,
                            std::error_code& error);

}  // namespace kq::platform
