#include "LinuxFiles.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>

namespace kq::linuxfiles {

std::optional<std::string> readFile(const std::string& path, std::size_t limit) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return std::nullopt;
    std::string contents;
    char buffer[16384];
    bool failed = false;
    // Files of /proc and /sys report no size, so read until the end.
    while (contents.size() < limit) {
        const ssize_t n = ::read(fd, buffer, std::min(sizeof buffer, limit - contents.size()));
        if (n > 0) {
            contents.append(buffer, static_cast<std::size_t>(n));
        } else if (n == 0) {
            break;
        } else if (errno != EINTR) {
            failed = true;
            break;
        }
    }
    ::close(fd);
    if (failed) return std::nullopt;
    return contents;
}

std::string_view trim(std::string_view text) {
    const auto isSpace = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; };
    while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
    while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
    return text;
}

std::optional<std::string> readTrimmed(const std::string& path) {
    auto contents = readFile(path, 1024 * 1024);
    if (!contents) return std::nullopt;
    std::string_view trimmed = trim(*contents);
    if (trimmed.empty()) return std::nullopt;
    return std::string(trimmed);
}

std::optional<std::uint64_t> parseNumber(std::string_view text, bool hex) {
    text = trim(text);
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        text.remove_prefix(2);
        hex = true;
    }
    if (text.empty()) return std::nullopt;
    std::uint64_t value = 0;
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value, hex ? 16 : 10);
    if (ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

std::optional<std::uint64_t> readNumber(const std::string& path) {
    auto text = readTrimmed(path);
    if (!text) return std::nullopt;
    return parseNumber(*text);
}

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    std::size_t start = 0;
    for (;;) {
        const std::size_t end = text.find(separator, start);
        parts.push_back(text.substr(start, end == std::string_view::npos ? std::string_view::npos : end - start));
        if (end == std::string_view::npos) break;
        start = end + 1;
    }
    return parts;
}

std::vector<std::pair<std::string, std::string>> keyValueLines(std::string_view text, char separator) {
    std::vector<std::pair<std::string, std::string>> pairs;
    for (std::string_view line : split(text, '\n')) {
        const std::size_t at = line.find(separator);
        if (at == std::string_view::npos) continue;
        std::string_view key = trim(line.substr(0, at));
        if (key.empty()) continue;
        pairs.emplace_back(std::string(key), std::string(trim(line.substr(at + 1))));
    }
    return pairs;
}

namespace {
// Undoes the quoting that os-release(5) allows: '...', "..." with \-escapes, or bare words.
std::string unquoteShellValue(std::string_view value) {
    std::string out;
    char quote = 0;
    for (std::size_t i = 0; i < value.size(); ++i) {
        const char c = value[i];
        if (quote == '\'') {
            if (c == '\'') quote = 0; else out.push_back(c);
        } else if (c == '\\' && i + 1 < value.size() && quote != '\'') {
            out.push_back(value[++i]);
        } else if (quote == '"') {
            if (c == '"') quote = 0; else out.push_back(c);
        } else if (c == '"' || c == '\'') {
            quote = c;
        } else if (c == '#' && (i == 0 || value[i - 1] == ' ')) {
            break;
        } else {
            out.push_back(c);
        }
    }
    return std::string(trim(out));
}
}  // namespace

std::vector<std::pair<std::string, std::string>> shellAssignments(std::string_view text) {
    std::vector<std::pair<std::string, std::string>> pairs;
    for (std::string_view line : split(text, '\n')) {
        line = trim(line);
        if (line.empty() || line.front() == '#') continue;
        const std::size_t at = line.find('=');
        if (at == std::string_view::npos || at == 0) continue;
        pairs.emplace_back(std::string(trim(line.substr(0, at))), unquoteShellValue(line.substr(at + 1)));
    }
    return pairs;
}

std::optional<std::string> valueForKey(const std::vector<std::pair<std::string, std::string>>& pairs,
                                       std::string_view key) {
    for (const auto& [k, v] : pairs)
        if (k == key) return v;
    return std::nullopt;
}

std::vector<std::string> listDirectory(const std::string& path) {
    std::vector<std::string> names;
    DIR* dir = ::opendir(path.c_str());
    if (!dir) return names;
    while (const dirent* entry = ::readdir(dir)) {
        std::string_view name(entry->d_name);
        if (name != "." && name != "..") names.emplace_back(name);
    }
    ::closedir(dir);
    std::sort(names.begin(), names.end());
    return names;
}

bool exists(const std::string& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0;
}

}  // namespace kq::linuxfiles
