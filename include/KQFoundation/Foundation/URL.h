#pragma once
// kq::URL: file URLs and network URLs (the platform's NSURL).
// A file URL keeps its path as given (made absolute), so making one per
// directory entry costs one string; the escaped text is built on demand.
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KQFoundation/Export.h"

namespace kq {

class Dictionary;
class Value;

class KQ_EXPORT URL {
public:
    /// An empty URL (no scheme, no path); prefer the factories.
    URL() = default;

    /// A file URL for the path; a relative path is made absolute against the
    /// current directory, "~" is expanded through the file-system layout, and
    /// repeated and trailing slashes are dropped. As on the platform, the
    /// one-argument form asks the file system whether the path is a folder
    /// (unless it ends in "/"); walkers that know the type pass it instead.
    static URL fileURLWithPath(std::string_view path);
    static URL fileURLWithPath(std::string_view path, bool isDirectory);
    /// Parses an absolute or relative URL string (RFC 3986); nullopt when it is
    /// not a valid URL (spaces, bad escapes, an escaped path, user or host
    /// that is not UTF-8, a port above 65535, an empty string). "file:" URLs
    /// with an empty or "localhost" host and no query or fragment become file
    /// URLs equal to those made from their paths.
    static std::optional<URL> URLWithString(std::string_view string);

    /// True for file URLs, also those kept as text because they carry a query.
    bool isFileURL() const;
    bool empty() const { return !isFile_ && string_.empty(); }
    /// The whole URL as text ("file:///Users/a%20b/", "https://h/p?q#f").
    std::string absoluteString() const;
    std::string scheme() const;
    std::string host() const;
    std::optional<int> port() const;
    std::string user() const;
    std::string password() const;
    /// The percent-decoded path, without a trailing slash ("/" stays "/").
    std::string path() const;
    /// A file URL's path as path() gives it, without a copy; empty for other URLs.
    std::string_view filePathView() const noexcept {
        if (!isFile_) return {};
        std::string_view p = string_;
        while (p.size() > 1 && p.back() == '/') p.remove_suffix(1);
        return p;
    }
    /// The query as written (still escaped), without "?"; nullopt when absent.
    std::optional<std::string> query() const;
    /// The fragment as written, without "#"; nullopt when absent.
    std::optional<std::string> fragment() const;
    /// True for a file URL made as a directory or a URL whose path ends in "/".
    bool hasDirectoryPath() const;

    // Path operations work on the path and keep the rest of a network URL
    // (query, fragment). The one-argument append asks the file system whether
    // a file URL's new path is a folder, as fileURLWithPath does.
    std::string lastPathComponent() const;
    std::string pathExtension() const;
    std::vector<std::string> pathComponents() const;
    URL URLByAppendingPathComponent(std::string_view component) const;
    URL URLByAppendingPathComponent(std::string_view component, bool isDirectory) const;
    URL URLByDeletingLastPathComponent() const;
    URL URLByAppendingPathExtension(std::string_view ext) const;
    URL URLByDeletingPathExtension() const;
    URL URLByStandardizingPath() const;

    // ---- Category NSURL(KQFoundation): NSURL+KQFoundation.h/.cpp ----
    static std::optional<URL> URLWithString(std::string_view base, const Dictionary& params);
    static std::optional<URL> URLWithString(std::string_view base, const Dictionary& params,
                                            std::string_view anchor);
    static std::optional<URL> URLWithString(
        std::string_view base, const std::vector<std::pair<std::optional<std::string>, std::optional<std::string>>>&
                                   valueKeyPairs);
    std::optional<URL> URLByAppendingQuery(const Dictionary& query) const;
    Dictionary queryParameters() const;
    // ---- end of category ----

    friend bool operator==(const URL& a, const URL& b) {
        return a.isFile_ == b.isFile_ && a.isDirectory_ == b.isDirectory_ && a.string_ == b.string_;
    }
    std::size_t hash() const { return std::hash<std::string>()(string_) ^ (isFile_ ? 0x9e37 : 0); }

private:
    // File URLs: string_ is the absolute path. Network URLs: the whole text.
    std::string string_;
    bool isFile_ = false;
    bool isDirectory_ = false;
};

/// The absolute string, as the platform prints a URL.
KQ_EXPORT std::string describe(const URL& url);

}  // namespace kq

template <>
struct std::hash<kq::URL> {
    std::size_t operator()(const kq::URL& u) const { return u.hash(); }
};
