#pragma once
// Finding the program `kqu run` and `kqu at` are asked to start, as a shell
// would. The library's own $PATH lookup is internal to it (not exported from
// a shared build), so kqu has this one.
#include <optional>
#include <string>

namespace kqu {

/// A name with a slash: that file made absolute; otherwise the first
/// executable file of that name in the folders of $PATH. nullopt when there
/// is no such executable file.
std::optional<std::string> findProgram(const std::string& name);

}  // namespace kqu
