#pragma once
// Path-string operations (the platform's NSString path methods). Paths are
// UTF-8 and slash-separated; none of these touch the file system.
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kq {

/// "/a/b.txt" -> "b.txt"; "/a/b/" -> "b"; "/" -> "/"; "" -> "".
std::string lastPathComponent(std::string_view path);
/// "b.tar.gz" -> "gz"; no extension (or a leading-dot name such as ".Trash") -> "".
std::string pathExtension(std::string_view path);
/// "/a/b" -> {"/", "a", "b"}; "a/b/" -> {"a", "b", "/"} as the platform does;
/// repeated slashes count as one.
std::vector<std::string> pathComponents(std::string_view path);
/// "/a" + "b" -> "/a/b"; "" + "b" -> "b"; repeated and trailing slashes of
/// the result are dropped ("/" stays "/").
std::string stringByAppendingPathComponent(std::string_view path, std::string_view component);
/// "/a/b" -> "/a"; "/a" -> "/"; "/" -> "/"; "b" -> "".
std::string stringByDeletingLastPathComponent(std::string_view path);
/// Appends "." + ext; an empty extension, an extension holding "/", and the
/// paths "" and "/" leave the path unchanged.
std::string stringByAppendingPathExtension(std::string_view path, std::string_view ext);
/// "/a/b.txt" -> "/a/b"; a leading-dot name keeps its dot (".Trash").
std::string stringByDeletingPathExtension(std::string_view path);
/// Expands "~" (through the current file-system layout), removes "."
/// components, resolves ".." lexically (above "/" stays "/"; leading ".." of
/// a relative path are kept), collapses slashes, drops a trailing slash.
/// Symbolic links are not consulted. A relative path that reduces to nothing gives ".".
std::string stringByStandardizingPath(std::string_view path);
/// "~" and "~/x" with the current layout's home; anything else unchanged.
std::string stringByExpandingTildeInPath(std::string_view path);
/// The library's one way to make a path absolute: a relative path is put
/// below the working folder ("/" when that cannot be read), repeated and
/// trailing slashes are dropped, and with `standardize` "." and ".." are
/// resolved lexically (symbolic links are not consulted). "~" is not
/// expanded: callers that accept it expand it first.
std::string absolutePath(std::string_view path, bool standardize = true);
/// True for "/..." and, as on the platform, for "~...".
bool isAbsolutePath(std::string_view path);

/// Percent-escapes UTF-8 text ("%XX", upper-case hex): every byte that is
/// never legal in a URL (controls, space, non-ASCII bytes and " # % < > [ \ ] ^ ` { | }),
/// plus every character of `alsoEscape`. Legal are letters, digits and
/// - . _ ~ ! $ & ' ( ) * + , ; = : / ? @
std::string stringByAddingPercentEscapes(std::string_view text, std::string_view alsoEscape = "");
/// The characters the URL helpers escape beyond the illegal ones.
inline constexpr std::string_view kURLReservedCharactersToEscape = ";/?:@&=+$,";
/// Replaces every "%XX"; "+" stays "+". Fails (false) on a malformed escape or invalid UTF-8.
bool stringByRemovingPercentEscapes(std::string_view text, std::string& out);
/// True when the bytes are well-formed UTF-8 (no overlong forms, no surrogates).
bool isValidUTF8(std::string_view text);
/// Byte length of the well-formed UTF-8 character at `offset`; 0 when the
/// bytes there are not one.
std::size_t lengthOfUTF8CharacterAt(std::string_view text, std::size_t offset);

}  // namespace kq
