#pragma once
#include <string>

namespace kq::detail {

/// The running program's file ("" when it cannot be found).
std::string systemRunningExecutablePath();

}  // namespace kq::detail
