#pragma once
// Path-string operations (the platform's NSString path methods). Paths are
// UTF-8 and slash-separated; none of these touch the file system.
#include <string>
#include <string_view>
#include <vector>

namespace kq {

/// "/a/b.txt" -> "b.txt"; "/a/b/" -> "b"; "/" -> "/"; "" -> "".
std::string lastPathComponent(std::string_view path);
/// "b.tar.gz" -> "gz"; no extension (or a leading-dot name such as ".Trash") -> "".
std::string pathExtension(std::string_view path);
/// "/a/b" -> {"/", "a", "b"}; "a/b/" -> {"a", "b", "/"} as the platform does.
std::vector<std::string> pathComponents(std::string_view path);
std::string stringByAppendingPathComponent(std::string_view path, std::string_view component);
std::string stringByDeletingLastPathComponent(std::string_view path);
/// Appends "." + ext; an empty extension leaves the path unchanged.
std::string stringByAppendingPathExtension(std::string_view path, std::string_view ext);
std::string stringByDeletingPathExtension(std::string_view path);
/// Removes "." components, resolves ".." lexically, collapses slashes, drops a trailing slash.
std::string stringByStandardizingPath(std::string_view path);
bool isAbsolutePath(std::string_view path);

/// Percent-escapes UTF-8 text: every byte outside the characters that are
/// legal in a URL, plus every character of `alsoEscape`.
std::string stringByAddingPercentEscapes(std::string_view text, std::string_view alsoEscape = "");
/// The characters the URL helpers escape beyond the illegal ones.
inline constexpr std::string_view kURLReservedCharactersToEscape = ";/?:@&=+$,";
/// Replaces every "%XX"; "+" stays "+". Fails (false) on a malformed escape or invalid UTF-8.
bool stringByRemovingPercentEscapes(std::string_view text, std::string& out);

}  // namespace kq
