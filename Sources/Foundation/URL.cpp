#include "KQFoundation/Foundation/URL.h"

#include <filesystem>

#include <cerrno>

#include "Foundation/SystemHooks.h"
#include "KQFoundation/Foundation/PathUtilities.h"

namespace kq {

namespace {

// ---------------------------------------------------------------------------
// RFC 3986 parsing. Offsets into the text, so a URL kept as text can be
// re-parsed cheaply by every accessor.

constexpr std::size_t npos = std::string_view::npos;

struct Span {
    std::size_t begin = 0;
    std::size_t end = 0;
    bool present = false;
    std::string_view in(std::string_view text) const {
        return present ? text.substr(begin, end - begin) : std::string_view();
    }
};

struct URLParts {
    Span scheme, user, password, host, port, path, query, fragment;
    bool hasAuthority = false;
};

bool isAlpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isHexDigit(char c) { return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
bool isUnreserved(char c) { return isAlpha(c) || isDigit(c) || c == '-' || c == '.' || c == '_' || c == '~'; }
bool isSubDelim(char c) {
    switch (c) {
        case '!': case '$': case '&': case '\'': case '(': case ')': case '*': case '+': case ',': case ';': case '=':
            return true;
        default:
            return false;
    }
}

/// Every byte is an allowed character of `extra`, unreserved, a sub-delimiter
/// or part of a well-formed "%XX".
bool isWellFormed(std::string_view text, std::string_view extra) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c == '%') {
            if (i + 2 >= text.size() || !isHexDigit(text[i + 1]) || !isHexDigit(text[i + 2])) return false;
            i += 2;
        } else if (!isUnreserved(c) && !isSubDelim(c) && extra.find(c) == npos) {
            return false;
        }
    }
    return true;
}

bool decodes(std::string_view text) {
    std::string ignored;
    return stringByRemovingPercentEscapes(text, ignored);
}

Span span(std::size_t begin, std::size_t end) { return Span{begin, end, true}; }

bool parseAuthority(std::string_view text, std::size_t begin, std::size_t end, URLParts& parts) {
    std::string_view authority = text.substr(begin, end - begin);
    std::size_t hostBegin = begin;
    if (std::size_t at = authority.find('@'); at != npos) {
        std::string_view userinfo = authority.substr(0, at);
        if (!isWellFormed(userinfo, ":")) return false;
        std::size_t colon = userinfo.find(':');
        if (colon == npos) {
            parts.user = span(begin, begin + at);
        } else {
            parts.user = span(begin, begin + colon);
            parts.password = span(begin + colon + 1, begin + at);
        }
        hostBegin = begin + at + 1;
    }
    std::string_view hostPort = text.substr(hostBegin, end - hostBegin);
    std::size_t hostEnd;
    if (!hostPort.empty() && hostPort.front() == '[') {
        std::size_t close = hostPort.find(']');
        if (close == npos || !isWellFormed(hostPort.substr(1, close - 1), ":")) return false;
        hostEnd = close + 1;
        if (hostEnd != hostPort.size() && hostPort[hostEnd] != ':') return false;
    } else {
        hostEnd = hostPort.find(':');
        if (hostEnd == npos) hostEnd = hostPort.size();
        if (!isWellFormed(hostPort.substr(0, hostEnd), "")) return false;
    }
    parts.host = span(hostBegin, hostBegin + hostEnd);
    if (hostEnd < hostPort.size()) {
        std::string_view port = hostPort.substr(hostEnd + 1);
        if (port.size() > 5) return false;
        unsigned value = 0;
        for (char c : port) {
            if (!isDigit(c)) return false;
            value = value * 10 + static_cast<unsigned>(c - '0');
        }
        if (value > 65535) return false;
        if (!port.empty()) parts.port = span(hostBegin + hostEnd + 1, end);
    }
    return true;
}

std::optional<URLParts> parseURL(std::string_view text) {
    if (text.empty()) return std::nullopt;
    URLParts parts;
    std::size_t end = text.size();

    if (std::size_t hash = text.find('#'); hash != npos) {
        if (!isWellFormed(text.substr(hash + 1), ":@/?")) return std::nullopt;
        parts.fragment = span(hash + 1, end);
        end = hash;
    }

    std::size_t position = 0;
    std::size_t firstDelimiter = text.substr(0, end).find_first_of(":/?");
    if (firstDelimiter != npos && text[firstDelimiter] == ':') {
        std::string_view scheme = text.substr(0, firstDelimiter);
        if (scheme.empty() || !isAlpha(scheme.front())) return std::nullopt;
        for (char c : scheme)
            if (!isAlpha(c) && !isDigit(c) && c != '+' && c != '-' && c != '.') return std::nullopt;
        parts.scheme = span(0, firstDelimiter);
        position = firstDelimiter + 1;
    }

    if (text.substr(position, 2) == "//" && position + 2 <= end) {
        std::size_t authorityBegin = position + 2;
        std::size_t authorityEnd = text.substr(0, end).find_first_of("/?", authorityBegin);
        if (authorityEnd == npos) authorityEnd = end;
        if (!parseAuthority(text, authorityBegin, authorityEnd, parts)) return std::nullopt;
        parts.hasAuthority = true;
        position = authorityEnd;
    }

    std::size_t question = text.substr(0, end).find('?', position);
    std::size_t pathEnd = question == npos ? end : question;
    if (!isWellFormed(text.substr(position, pathEnd - position), ":@/")) return std::nullopt;
    parts.path = span(position, pathEnd);
    if (question != npos) {
        if (!isWellFormed(text.substr(question + 1, end - question - 1), ":@/?")) return std::nullopt;
        parts.query = span(question + 1, end);
    }

    // Text that the accessors hand out decoded must decode to UTF-8.
    for (const Span* s : {&parts.user, &parts.password, &parts.host, &parts.path})
        if (s->present && !decodes(s->in(text))) return std::nullopt;
    return parts;
}

std::string decoded(std::string_view text) {
    std::string out;
    if (!stringByRemovingPercentEscapes(text, out)) return std::string(text);
    return out;
}

bool equalsIgnoringASCIICase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        char x = a[i], y = b[i];
        if (x >= 'A' && x <= 'Z') x = static_cast<char>(x - 'A' + 'a');
        if (y >= 'A' && y <= 'Z') y = static_cast<char>(y - 'A' + 'a');
        if (x != y) return false;
    }
    return true;
}

// ---------------------------------------------------------------------------
// File paths.

/// Absolute, tilde expanded, no repeated or trailing slashes; "." and ".."
/// are kept, as the platform keeps them.
std::string absoluteFilePath(std::string_view path) {
    return absolutePath(stringByExpandingTildeInPath(path), false);
}

bool isDirectoryOnDisk(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_directory(path, error);
}

/// Path characters escaped in a file URL beyond the never-legal ones.
constexpr std::string_view kFilePathAlsoEscape = "?";

}  // namespace

// ---------------------------------------------------------------------------

URL URL::fileURLWithPath(std::string_view path) {
    std::string full = absoluteFilePath(path);
    bool directory = (!path.empty() && path.back() == '/') || path.empty() || isDirectoryOnDisk(full);
    URL url;
    url.string_ = std::move(full);
    url.isFile_ = true;
    url.isDirectory_ = directory;
    return url;
}

URL URL::fileURLWithPath(std::string_view path, bool isDirectory) {
    URL url;
    url.string_ = absoluteFilePath(path);
    url.isFile_ = true;
    url.isDirectory_ = isDirectory;
    return url;
}

std::optional<URL> URL::URLWithString(std::string_view string) {
    auto parts = parseURL(string);
    if (!parts) return std::nullopt;
    URL url;
    std::string_view host = parts->host.in(string);
    std::string_view rawPath = parts->path.in(string);
    if (parts->scheme.present && equalsIgnoringASCIICase(parts->scheme.in(string), "file") &&
        (host.empty() || equalsIgnoringASCIICase(host, "localhost")) && !parts->user.present &&
        !parts->port.present && !parts->query.present && !parts->fragment.present && !rawPath.empty() &&
        rawPath.front() == '/') {
        url.string_ = stringByAppendingPathComponent(decoded(rawPath), "");
        url.isFile_ = true;
        url.isDirectory_ = rawPath.back() == '/';
        return url;
    }
    url.string_ = std::string(string);
    return url;
}

bool URL::isFileURL() const {
    if (isFile_) return true;
    auto parts = parseURL(string_);
    return parts && equalsIgnoringASCIICase(parts->scheme.in(string_), "file");
}

std::string URL::absoluteString() const {
    if (!isFile_) return string_;
    std::string out = "file://";
    out += stringByAddingPercentEscapes(string_, kFilePathAlsoEscape);
    if (isDirectory_ && string_ != "/") out.push_back('/');
    return out;
}

std::string URL::scheme() const {
    if (isFile_) return "file";
    auto parts = parseURL(string_);
    return parts ? std::string(parts->scheme.in(string_)) : std::string();
}

std::string URL::host() const {
    if (isFile_) return {};
    auto parts = parseURL(string_);
    if (!parts) return {};
    std::string_view host = parts->host.in(string_);
    if (host.size() >= 2 && host.front() == '[') host = host.substr(1, host.size() - 2);
    return decoded(host);
}

std::optional<int> URL::port() const {
    if (isFile_) return std::nullopt;
    auto parts = parseURL(string_);
    if (!parts || !parts->port.present) return std::nullopt;
    int value = 0;
    for (char c : parts->port.in(string_)) value = value * 10 + (c - '0');
    return value;
}

std::string URL::user() const {
    if (isFile_) return {};
    auto parts = parseURL(string_);
    return parts ? decoded(parts->user.in(string_)) : std::string();
}

std::string URL::password() const {
    if (isFile_) return {};
    auto parts = parseURL(string_);
    return parts ? decoded(parts->password.in(string_)) : std::string();
}

std::string URL::path() const {
    if (isFile_) return string_;
    auto parts = parseURL(string_);
    if (!parts) return {};
    std::string path = decoded(parts->path.in(string_));
    if (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

std::optional<std::string> URL::query() const {
    if (isFile_) return std::nullopt;
    auto parts = parseURL(string_);
    if (!parts || !parts->query.present) return std::nullopt;
    return std::string(parts->query.in(string_));
}

std::optional<std::string> URL::fragment() const {
    if (isFile_) return std::nullopt;
    auto parts = parseURL(string_);
    if (!parts || !parts->fragment.present) return std::nullopt;
    return std::string(parts->fragment.in(string_));
}

bool URL::hasDirectoryPath() const {
    if (isFile_) return isDirectory_;
    auto parts = parseURL(string_);
    if (!parts) return false;
    std::string_view path = parts->path.in(string_);
    return !path.empty() && path.back() == '/';
}

std::string URL::lastPathComponent() const {
    if (isFile_) return kq::lastPathComponent(string_);
    auto parts = parseURL(string_);
    return parts ? decoded(kq::lastPathComponent(parts->path.in(string_))) : std::string();
}

std::string URL::pathExtension() const { return kq::pathExtension(lastPathComponent()); }

std::vector<std::string> URL::pathComponents() const {
    if (isFile_) return kq::pathComponents(string_);
    auto parts = parseURL(string_);
    if (!parts) return {};
    std::vector<std::string> components = kq::pathComponents(parts->path.in(string_));
    for (auto& component : components) component = decoded(component);
    return components;
}

namespace {

/// The URL with its path replaced by `rawPath` (already escaped); the URL
/// itself when the result would not parse (a relative "a:b" reads as a scheme).
URL withRawPath(const URL& url, const std::string& text, const URLParts& parts, std::string_view rawPath) {
    std::string rebuilt = text.substr(0, parts.path.begin);
    rebuilt.append(rawPath);
    rebuilt.append(text, parts.path.end);
    auto changed = URL::URLWithString(rebuilt);
    return changed ? *changed : url;
}

}  // namespace

URL URL::URLByAppendingPathComponent(std::string_view component) const {
    if (!isFile_) return URLByAppendingPathComponent(component, false);
    std::string path = stringByAppendingPathComponent(string_, component);
    bool directory = (!component.empty() && component.back() == '/') || isDirectoryOnDisk(path);
    return fileURLWithPath(path, directory);
}

URL URL::URLByAppendingPathComponent(std::string_view component, bool isDirectory) const {
    if (isFile_) return fileURLWithPath(stringByAppendingPathComponent(string_, component), isDirectory);
    auto parts = parseURL(string_);
    if (!parts) return *this;
    std::string rawPath(parts->path.in(string_));
    std::string escaped = stringByAddingPercentEscapes(component, kFilePathAlsoEscape);
    if (rawPath.empty() ? parts->hasAuthority : rawPath.back() != '/') rawPath.push_back('/');
    rawPath += escaped;
    if (isDirectory && (rawPath.empty() || rawPath.back() != '/')) rawPath.push_back('/');
    return withRawPath(*this, string_, *parts, rawPath);
}

URL URL::URLByDeletingLastPathComponent() const {
    if (isFile_) return fileURLWithPath(stringByDeletingLastPathComponent(string_), true);
    auto parts = parseURL(string_);
    if (!parts) return *this;
    std::string_view rawPath = parts->path.in(string_);
    if (rawPath.empty() || rawPath == "/") return *this;
    std::string_view trimmed = rawPath;
    while (trimmed.size() > 1 && trimmed.back() == '/') trimmed.remove_suffix(1);
    std::size_t slash = trimmed.rfind('/');
    return withRawPath(*this, string_, *parts, slash == npos ? std::string_view("./") : trimmed.substr(0, slash + 1));
}

URL URL::URLByAppendingPathExtension(std::string_view ext) const {
    if (isFile_) return fileURLWithPath(stringByAppendingPathExtension(string_, ext), isDirectory_);
    auto parts = parseURL(string_);
    if (!parts) return *this;
    std::string_view rawPath = parts->path.in(string_);
    bool directory = !rawPath.empty() && rawPath.back() == '/';
    std::string changed = stringByAppendingPathExtension(rawPath, stringByAddingPercentEscapes(ext, "?/"));
    if (directory && changed.back() != '/') changed.push_back('/');
    return withRawPath(*this, string_, *parts, changed);
}

URL URL::URLByDeletingPathExtension() const {
    if (isFile_) return fileURLWithPath(stringByDeletingPathExtension(string_), isDirectory_);
    auto parts = parseURL(string_);
    if (!parts) return *this;
    std::string_view rawPath = parts->path.in(string_);
    if (rawPath.empty()) return *this;
    std::string changed = stringByDeletingPathExtension(rawPath);
    if (rawPath.back() == '/' && changed.back() != '/') changed.push_back('/');
    return withRawPath(*this, string_, *parts, changed);
}

URL URL::URLByStandardizingPath() const {
    if (isFile_) return fileURLWithPath(stringByStandardizingPath(string_), isDirectory_);
    auto parts = parseURL(string_);
    if (!parts) return *this;
    std::string_view rawPath = parts->path.in(string_);
    // A network path is not a local path: "~" there must not be expanded.
    if (rawPath.empty() || rawPath.front() == '~') return *this;
    std::string changed = stringByStandardizingPath(rawPath);
    if (rawPath.back() == '/' && changed.back() != '/') changed.push_back('/');
    return withRawPath(*this, string_, *parts, changed);
}

std::string describe(const URL& url) { return url.absoluteString(); }

}  // namespace kq
