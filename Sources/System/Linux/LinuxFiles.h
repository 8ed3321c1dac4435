#pragma once
// Small readers for the text files of /proc, /sys and /etc that the Linux
// backends parse. All of them are lenient: an unreadable file is nullopt or
// empty, never an exception.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kq::linuxfiles {

/// The whole file (at most `limit` bytes), or nullopt when it cannot be read.
std::optional<std::string> readFile(const std::string& path, std::size_t limit = 64 * 1024 * 1024);
/// The file with surrounding white space removed; nullopt when unreadable or empty.
std::optional<std::string> readTrimmed(const std::string& path);
/// A decimal or "0x" hexadecimal number that is the whole (trimmed) file.
std::optional<std::uint64_t> readNumber(const std::string& path);
/// Parses a decimal, or hexadecimal with "0x" (or with `hex`), unsigned number.
std::optional<std::uint64_t> parseNumber(std::string_view text, bool hex = false);

std::string_view trim(std::string_view text);
std::vector<std::string_view> split(std::string_view text, char separator);

/// "key<separator>value" lines, both sides trimmed, in file order.
std::vector<std::pair<std::string, std::string>> keyValueLines(std::string_view text, char separator);
/// Lines "KEY=value" of os-release and machine-info, with shell quoting undone.
std::vector<std::pair<std::string, std::string>> shellAssignments(std::string_view text);
/// The value of the first pair with the key.
std::optional<std::string> valueForKey(const std::vector<std::pair<std::string, std::string>>& pairs,
                                       std::string_view key);

/// Entry names of a folder, sorted; empty when it cannot be read.
std::vector<std::string> listDirectory(const std::string& path);
bool exists(const std::string& path);

}  // namespace kq::linuxfiles
