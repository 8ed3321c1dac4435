#include "KQFoundation/Foundation/PathUtilities.h"

#include <cstdint>
#include <filesystem>
#include <system_error>

#include "Foundation/SystemHooks.h"

namespace kq {

namespace {

/// The path without trailing slashes; a path made only of slashes gives "/".
std::string_view trimTrailingSlashes(std::string_view path) {
    std::size_t end = path.size();
    while (end > 1 && path[end - 1] == '/') --end;
    return path.substr(0, end);
}

/// Start of the last component of a path that has no trailing slash.
std::size_t lastComponentStart(std::string_view trimmed) {
    std::size_t slash = trimmed.rfind('/');
    return slash == std::string_view::npos ? 0 : slash + 1;
}

/// Appends `text` to `out` without repeating slashes.
void appendCollapsingSlashes(std::string& out, std::string_view text) {
    for (char c : text) {
        if (c == '/' && !out.empty() && out.back() == '/') continue;
        out.push_back(c);
    }
}

void dropTrailingSlash(std::string& path) {
    if (path.size() > 1 && path.back() == '/') path.pop_back();
}

}  // namespace

std::string lastPathComponent(std::string_view path) {
    if (path.empty()) return {};
    std::string_view trimmed = trimTrailingSlashes(path);
    if (trimmed == "/") return "/";
    return std::string(trimmed.substr(lastComponentStart(trimmed)));
}

std::string pathExtension(std::string_view path) {
    std::string_view trimmed = trimTrailingSlashes(path);
    std::string_view name = trimmed.substr(lastComponentStart(trimmed));
    std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0) return {};
    return std::string(name.substr(dot + 1));
}

std::vector<std::string> pathComponents(std::string_view path) {
    std::vector<std::string> components;
    if (path.empty()) return components;
    if (path.front() == '/') components.emplace_back("/");
    std::size_t i = 0;
    while (i < path.size()) {
        std::size_t slash = path.find('/', i);
        if (slash == std::string_view::npos) slash = path.size();
        if (slash > i) components.emplace_back(path.substr(i, slash - i));
        i = slash + 1;
    }
    if (path.size() > 1 && path.back() == '/' && components.size() > 1) components.emplace_back("/");
    return components;
}

std::string stringByAppendingPathComponent(std::string_view path, std::string_view component) {
    std::string result;
    result.reserve(path.size() + component.size() + 1);
    appendCollapsingSlashes(result, path);
    if (!result.empty() && !component.empty()) appendCollapsingSlashes(result, "/");
    appendCollapsingSlashes(result, component);
    dropTrailingSlash(result);
    return result;
}

std::string stringByDeletingLastPathComponent(std::string_view path) {
    std::string_view trimmed = trimTrailingSlashes(path);
    if (trimmed == "/") return "/";
    std::size_t slash = trimmed.rfind('/');
    if (slash == std::string_view::npos) return {};
    std::string_view parent = trimTrailingSlashes(trimmed.substr(0, slash + 1));
    return std::string(parent);
}

std::string stringByAppendingPathExtension(std::string_view path, std::string_view ext) {
    std::string_view trimmed = trimTrailingSlashes(path);
    if (ext.empty() || ext.find('/') != std::string_view::npos || trimmed.empty() || trimmed == "/")
        return std::string(path);
    std::string result(trimmed);
    result.push_back('.');
    result.append(ext);
    return result;
}

std::string stringByDeletingPathExtension(std::string_view path) {
    std::string_view trimmed = trimTrailingSlashes(path);
    std::size_t start = lastComponentStart(trimmed);
    std::size_t dot = trimmed.rfind('.');
    if (dot == std::string_view::npos || dot <= start) return std::string(trimmed);
    return std::string(trimmed.substr(0, dot));
}

std::string stringByExpandingTildeInPath(std::string_view path) {
    if (path.empty() || path.front() != '~') return std::string(path);
    return detail::expandTilde(path);
}

std::string stringByStandardizingPath(std::string_view input) {
    if (input.empty()) return {};
    std::string expanded = stringByExpandingTildeInPath(input);
    std::string_view path = expanded;
    const bool absolute = path.front() == '/';

    std::vector<std::string_view> kept;
    std::size_t i = 0;
    while (i <= path.size()) {
        std::size_t slash = path.find('/', i);
        if (slash == std::string_view::npos) slash = path.size();
        std::string_view part = path.substr(i, slash - i);
        i = slash + 1;
        if (part.empty() || part == ".") continue;
        if (part == "..") {
            if (!kept.empty() && kept.back() != "..") {
                kept.pop_back();
                continue;
            }
            if (absolute) continue;  // "/.." is "/"
        }
        kept.push_back(part);
    }

    std::string result;
    result.reserve(path.size());
    for (std::string_view part : kept) {
        if (absolute || !result.empty()) result.push_back('/');
        result.append(part);
    }
    if (result.empty()) return absolute ? "/" : ".";
    return result;
}

std::string absolutePath(std::string_view path, bool standardize) {
    std::string full(path);
    if (full.empty() || full.front() != '/') {
        std::error_code error;
        std::string workingFolder = std::filesystem::current_path(error).string();
        if (error || workingFolder.empty()) workingFolder = "/";
        full = stringByAppendingPathComponent(workingFolder, full);
    }
    return standardize ? stringByStandardizingPath(full) : stringByAppendingPathComponent(full, "");
}

bool isPathInsideFolder(std::string_view path, std::string_view folder) {
    if (folder == "/") return !path.empty() && path.front() == '/';
    return path.size() >= folder.size() && path.compare(0, folder.size(), folder) == 0 &&
           (path.size() == folder.size() || path[folder.size()] == '/');
}

bool isAbsolutePath(std::string_view path) {
    return !path.empty() && (path.front() == '/' || path.front() == '~');
}

namespace {

bool isLegalURLCharacter(unsigned char c) {
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) return true;
    switch (c) {
        case '-': case '.': case '_': case '~':
        case '!': case '$': case '&': case '\'': case '(': case ')': case '*': case '+': case ',':
        case ';': case '=': case ':': case '/': case '?': case '@':
            return true;
        default:
            return false;
    }
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

std::string stringByAddingPercentEscapes(std::string_view text, std::string_view alsoEscape) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(text.size());
    for (char ch : text) {
        auto c = static_cast<unsigned char>(ch);
        if (isLegalURLCharacter(c) && alsoEscape.find(ch) == std::string_view::npos) {
            out.push_back(ch);
        } else {
            out.push_back('%');
            out.push_back(kHex[c >> 4]);
            out.push_back(kHex[c & 0x0f]);
        }
    }
    return out;
}

bool stringByRemovingPercentEscapes(std::string_view text, std::string& out) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            result.push_back(text[i]);
            continue;
        }
        if (i + 2 >= text.size()) return false;
        int high = hexValue(text[i + 1]);
        int low = hexValue(text[i + 2]);
        if (high < 0 || low < 0) return false;
        result.push_back(static_cast<char>(high * 16 + low));
        i += 2;
    }
    if (!isValidUTF8(result)) return false;
    out = std::move(result);
    return true;
}

}  // namespace kq
