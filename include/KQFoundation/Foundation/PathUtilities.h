#pragma once
// Path-string operations (the platform's NSString path methods). Paths are
// UTF-8 and slash-separated; none of these touch the file system.
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "KQFoundation/Export.h"

namespace kq {

/// "/a/b.txt" -> "b.txt"; "/a/b/" -> "b"; "/" -> "/"; "" -> "".
KQ_EXPORT std::string lastPathComponent(std::string_view path);
/// "b.tar.gz" -> "gz"; no extension (or a leading-dot name such as ".Trash") -> "".
KQ_EXPORT std::string pathExtension(std::string_view path);
/// "/a/b" -> {"/", "a", "b"}; "a/b/" -> {"a", "b", "/"} as the platform does;
/// repeated slashes count as one.
KQ_EXPORT std::vector<std::string> pathComponents(std::string_view path);
/// "/a" + "b" -> "/a/b"; "" + "b" -> "b"; repeated and trailing slashes of
/// the result are dropped ("/" stays "/").
KQ_EXPORT std::string stringByAppendingPathComponent(std::string_view path, std::string_view component);
/// "/a/b" -> "/a"; "/a" -> "/"; "/" -> "/"; "b" -> "".
KQ_EXPORT std::string stringByDeletingLastPathComponent(std::string_view path);
/// Appends "." + ext; an empty extension, an extension holding "/", and the
/// paths "" and "/" leave the path unchanged.
KQ_EXPORT std::string stringByAppendingPathExtension(std::string_view path, std::string_view ext);
/// "/a/b.txt" -> "/a/b"; a leading-dot name keeps its dot (".Trash").
KQ_EXPORT std::string stringByDeletingPathExtension(std::string_view path);
/// Expands "~" (through the current file-system layout), removes "."
/// components, resolves ".." lexically (above "/" stays "/"; leading ".." of
/// a relative path are kept), collapses slashes, drops a trailing slash.
/// Symbolic links are not consulted. A relative path that reduces to nothing gives ".".
KQ_EXPORT std::string stringByStandardizingPath(std::string_view path);
/// "~" and "~/x" with the current layout's home; anything else unchanged.
KQ_EXPORT std::string stringByExpandingTildeInPath(std::string_view path);
/// The library's one way to make a path absolute: a relative path is put
/// below the working folder ("/" when that cannot be read), repeated and
/// trailing slashes are dropped, and with `standardize` "." and ".." are
/// resolved lexically (symbolic links are not consulted). "~" is not
/// expanded: callers that accept it expand it first.
KQ_EXPORT std::string absolutePath(std::string_view path, bool standardize = true);
/// True when `path` is `folder` or lies below it, by text (both standardized:
/// no trailing slash, no "." or ".." components).
KQ_EXPORT bool isPathInsideFolder(std::string_view path, std::string_view folder);
/// True for "/..." and, as on the platform, for "~...".
KQ_EXPORT bool isAbsolutePath(std::string_view path);

/// Percent-escapes UTF-8 text ("%XX", upper-case hex): every byte that is
/// never legal in a URL (controls, space, non-ASCII bytes and " # % < > [ \ ] ^ ` { | }),
/// plus every character of `alsoEscape`. Legal are letters, digits and
/// - . _ ~ ! $ & ' ( ) * + , ; = : / ? @
KQ_EXPORT std::string stringByAddingPercentEscapes(std::string_view text, std::string_view alsoEscape = "");
/// The characters the URL helpers escape beyond the illegal ones.
inline constexpr std::string_view kURLReservedCharactersToEscape = ";/?:@&=+$,";
/// Replaces every "%XX"; "+" stays "+". Fails (false) on a malformed escape or invalid UTF-8.
KQ_EXPORT bool stringByRemovingPercentEscapes(std::string_view text, std::string& out);
/// True when the bytes are well-formed UTF-8 (no overlong forms, no surrogates).
KQ_EXPORT bool isValidUTF8(std::string_view text);
/// Byte length of the well-formed UTF-8 character at `offset`; 0 when the
/// bytes there are not one.
KQ_EXPORT std::size_t lengthOfUTF8CharacterAt(std::string_view text, std::size_t offset);

}  // namespace kq
