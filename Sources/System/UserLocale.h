#pragma once
#include <string>

namespace kq::detail {

/// The locale the user formats numbers in, as a locale identifier such as
/// "de_DE" (codeset and modifier dropped); "" for the C/POSIX locale or when
/// none is set.
std::string systemNumberLocaleIdentifier();

}  // namespace kq::detail
