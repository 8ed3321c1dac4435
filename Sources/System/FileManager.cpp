#include "KQFoundation/System/FileManager.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <random>

#include "KQFoundation/Foundation/PathUtilities.h"
#include "System/FileSystemCalls.h"
#include "System/Linux/ExtendedAttributes.h"
#include "System/Linux/RenameNoReplace.h"
#include "System/PosixDirectoryEnumerator.h"

namespace kq {

namespace {

constexpr std::string_view kFinderInfoAttribute = "com.apple.FinderInfo";
constexpr std::size_t kFinderInfoLength = 32;
// The Finder flags are the big-endian 16-bit word at offset 8 of the Finder info.
constexpr std::size_t kFinderFlagsOffset = 8;
constexpr std::uint16_t kFinderFlagHideExtension = 0x0010;

void setError(std::error_code* error, int code) {
    if (error) *error = std::error_code(code, std::generic_category());
}

void setError(std::error_code* error, const std::error_code& code) {
    if (error) *error = code;
}

Date dateFrom(const timespec& time) {
    return Date(std::chrono::duration_cast<Date::duration>(std::chrono::seconds(time.tv_sec) +
                                                           std::chrono::nanoseconds(time.tv_nsec)));
}

bool extensionHiddenIn(const std::optional<Data>& finderInfo) {
    if (!finderInfo || finderInfo->size() < kFinderFlagsOffset + 2) return false;
    auto flags = static_cast<std::uint16_t>(((*finderInfo)[kFinderFlagsOffset] << 8) |
                                            (*finderInfo)[kFinderFlagsOffset + 1]);
    return (flags & kFinderFlagHideExtension) != 0;
}

bool writeAll(int fd, const Data& contents) {
    std::size_t done = 0;
    while (done < contents.size()) {
        ssize_t put = write(fd, contents.data() + done, contents.size() - done);
        if (put < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        done += static_cast<std::size_t>(put);
    }
    return true;
}

/// A new, empty file beside `path` that nobody else can have opened.
int createTemporarySibling(const std::string& path, std::string& temporary) {
    static std::atomic<unsigned> counter{0};
    std::string folder = stringByDeletingLastPathComponent(path);
    std::string prefix = (folder.empty() ? std::string() : folder + "/") + "." + lastPathComponent(path) + ".";
    std::random_device random;
    for (int attempt = 0; attempt < 100; ++attempt) {
        temporary = prefix + std::to_string(getpid()) + "-" + std::to_string(counter++) + "-" +
                    std::to_string(random() % 1000000);
        // Mode 0666 lets the umask decide, as for any new file.
        int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0 || errno != EEXIST) return fd;
    }
    errno = EEXIST;
    return -1;
}

}  // namespace

FileManager& FileManager::defaultManager() {
    static FileManager manager;
    return manager;
}

bool FileManager::fileExistsAtPath(std::string_view path) const {
    bool ignored;
    return fileExistsAtPath(path, ignored);
}

bool FileManager::fileExistsAtPath(std::string_view path, bool& isDirectory) const {
    isDirectory = false;
    if (path.empty()) return false;
    struct stat info {};
    if (stat(std::string(path).c_str(), &info) != 0) return false;
    isDirectory = S_ISDIR(info.st_mode);
    return true;
}

bool FileManager::isReadableFileAtPath(std::string_view path) const {
    return !path.empty() && access(std::string(path).c_str(), R_OK) == 0;
}

std::vector<std::string> FileManager::contentsOfDirectoryAtPath(std::string_view path,
                                                                std::error_code* error) const {
    std::vector<std::string> names;
    DIR* dir = path.empty() ? nullptr : opendir(std::string(path).c_str());
    if (!dir) {
        setError(error, path.empty() ? ENOENT : errno);
        return names;
    }
    while (dirent* ent = readdir(dir)) {
        std::string_view name = ent->d_name;
        if (name != "." && name != "..") names.emplace_back(name);
    }
    closedir(dir);
    std::sort(names.begin(), names.end());
    return names;
}

std::optional<FileAttributes> FileManager::attributesOfItemAtPath(std::string_view path,
                                                                  std::error_code* error) const {
    std::string p(path);
    struct stat info {};
    if (p.empty() || lstat(p.c_str(), &info) != 0) {
        setError(error, p.empty() ? ENOENT : errno);
        return std::nullopt;
    }
    FileAttributes attributes;
    attributes.type = platform::fileTypeFromMode(info.st_mode);
    attributes.size = static_cast<std::uint64_t>(info.st_size);
    attributes.posixPermissions = info.st_mode & 07777;
    attributes.ownerAccountID = info.st_uid;
    attributes.groupOwnerAccountID = info.st_gid;
    attributes.systemNumber = info.st_dev;
    attributes.systemFileNumber = info.st_ino;
    attributes.referenceCount = info.st_nlink;
    attributes.modificationDate = dateFrom(info.st_mtim);
    attributes.accessDate = dateFrom(info.st_atim);
    attributes.statusChangeDate = dateFrom(info.st_ctim);
    attributes.fileExtensionHidden = extensionHiddenIn(platform::readExtendedAttribute(p, kFinderInfoAttribute));
    return attributes;
}

std::unique_ptr<DirectoryEnumerator> FileManager::enumeratorAtPath(std::string_view path) const {
    return platform::makeDirectoryEnumerator(path);
}

std::optional<Data> FileManager::contentsAtPath(std::string_view path) const {
    if (path.empty()) return std::nullopt;
    int fd = open(std::string(path).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return std::nullopt;
    struct stat info {};
    if (fstat(fd, &info) != 0 || S_ISDIR(info.st_mode)) {
        close(fd);
        return std::nullopt;
    }
    Data contents;
    if (S_ISREG(info.st_mode)) contents.reserve(static_cast<std::size_t>(info.st_size));
    std::uint8_t buffer[1 << 16];
    for (;;) {
        ssize_t got = read(fd, buffer, sizeof buffer);
        if (got == 0) break;
        if (got < 0) {
            if (errno == EINTR) continue;
            close(fd);
            return std::nullopt;
        }
        contents.insert(contents.end(), buffer, buffer + got);
    }
    close(fd);
    return contents;
}

bool FileManager::createFileAtPath(std::string_view path, const Data& contents, std::error_code* error) const {
    if (path.empty()) {
        setError(error, ENOENT);
        return false;
    }
    std::string target(path);
    struct stat existing {};
    const bool exists = stat(target.c_str(), &existing) == 0;
    if (exists && !S_ISREG(existing.st_mode) && !S_ISDIR(existing.st_mode)) {
        // A device or a pipe takes the bytes as they come; renaming a file
        // over it would replace the node itself.
        int fd = open(target.c_str(), O_WRONLY | O_CLOEXEC);
        bool ok = fd >= 0 && writeAll(fd, contents);
        int code = ok ? 0 : errno;
        if (fd >= 0 && close(fd) != 0 && ok) {
            ok = false;
            code = errno;
        }
        if (!ok) setError(error, code);
        return ok;
    }
    if (exists && S_ISREG(existing.st_mode) && access(target.c_str(), W_OK) != 0) {
        // A file its owner made read-only is not replaced behind their back.
        setError(error, errno);
        return false;
    }
    // The file a link names is replaced, not the link.
    if (exists) {
        if (char* resolved = realpath(target.c_str(), nullptr)) {
            target = resolved;
            free(resolved);
        }
    }
    std::string temporary;
    int fd = createTemporarySibling(target, temporary);
    if (fd < 0) {
        setError(error, errno);
        return false;
    }
    // Flushed before the rename, so a crash leaves the old file or the new one, never a torn one.
    // The replacement keeps the permissions of the file it replaces.
    bool ok = (!exists || fchmod(fd, existing.st_mode & 0777) == 0) && writeAll(fd, contents) && fdatasync(fd) == 0;
    int code = ok ? 0 : errno;
    if (close(fd) != 0 && ok) {
        ok = false;
        code = errno;
    }
    if (ok && rename(temporary.c_str(), target.c_str()) != 0) {
        ok = false;
        code = errno;
    }
    if (!ok) {
        unlink(temporary.c_str());
        setError(error, code);
    }
    return ok;
}

bool FileManager::createDirectoryAtPath(std::string_view path, bool withIntermediateDirectories,
                                        std::error_code* error) const {
    std::string target = stringByAppendingPathComponent(path, "");
    if (target.empty()) {
        setError(error, ENOENT);
        return false;
    }
    if (!withIntermediateDirectories) {
        if (mkdir(target.c_str(), 0777) == 0) return true;
        setError(error, errno);
        return false;
    }
    // Create each missing ancestor in turn; folders that already exist are fine.
    for (std::size_t end = target.find('/', 1);; end = target.find('/', end + 1)) {
        std::string prefix = target.substr(0, end);
        if (mkdir(prefix.c_str(), 0777) != 0) {
            int code = errno;
            bool isDirectory = false;
            if (code != EEXIST || !fileExistsAtPath(prefix, isDirectory) || !isDirectory) {
                setError(error, code == EEXIST ? ENOTDIR : code);
                return false;
            }
        }
        if (end == std::string::npos) return true;
    }
}

bool FileManager::moveItemAtPath(std::string_view from, std::string_view to, std::error_code* error) const {
    std::string source(from), destination(to);
    if (source.empty() || destination.empty()) {
        setError(error, ENOENT);
        return false;
    }
    // One rename or nothing: across file systems (EXDEV) the caller hears of
    // it and decides; a copy here could leave data half in both places.
    int code = platform::renameNoReplace(source.c_str(), destination.c_str());
    if (code == 0) return true;
    setError(error, code);
    return false;
}

bool FileManager::removeItemAtPath(std::string_view path, std::error_code* error) const {
    std::string target(path);
    struct stat info {};
    if (target.empty() || lstat(target.c_str(), &info) != 0) {
        setError(error, target.empty() ? ENOENT : errno);
        return false;
    }
    std::error_code code;
    std::filesystem::remove_all(target, code);
    if (code) {
        setError(error, code);
        return false;
    }
    return true;
}

std::optional<std::string> FileManager::destinationOfSymbolicLinkAtPath(std::string_view path) const {
    std::string link(path);
    std::string target(256, '\0');
    for (;;) {
        ssize_t length = readlink(link.c_str(), target.data(), target.size());
        if (length < 0) return std::nullopt;
        if (static_cast<std::size_t>(length) < target.size()) {
            target.resize(static_cast<std::size_t>(length));
            return target;
        }
        target.resize(target.size() * 2);
    }
}

std::string FileManager::currentDirectoryPath() const {
    std::string buffer(256, '\0');
    while (getcwd(buffer.data(), buffer.size()) == nullptr) {
        if (errno != ERANGE) return {};
        buffer.resize(buffer.size() * 2);
    }
    buffer.resize(std::char_traits<char>::length(buffer.c_str()));
    return buffer;
}

std::vector<URL> FileManager::URLsForDirectory(SearchPathDirectory directory, unsigned domainMask) const {
    std::vector<URL> urls;
    for (const auto& path : FileSystemLayout::current()->pathsForDirectory(directory, domainMask))
        urls.push_back(URL::fileURLWithPath(path, true));
    return urls;
}

std::optional<Data> FileManager::extendedAttribute(std::string_view path, std::string_view name) const {
    if (path.empty()) return std::nullopt;
    return platform::readExtendedAttribute(std::string(path), name);
}

bool FileManager::setExtendedAttribute(std::string_view path, std::string_view name, const Data& value,
                                       std::error_code* error) const {
    std::error_code code;
    if (path.empty() || name.empty()) {
        setError(error, EINVAL);
        return false;
    }
    if (platform::writeExtendedAttribute(std::string(path), name, value, code)) return true;
    setError(error, code);
    return false;
}

bool FileManager::setFileExtensionHidden(std::string_view path, bool hidden, std::error_code* error) const {
    Data info = extendedAttribute(path, kFinderInfoAttribute).value_or(Data());
    if (info.size() < kFinderInfoLength) info.resize(kFinderInfoLength, 0);
    auto flags = static_cast<std::uint16_t>((info[kFinderFlagsOffset] << 8) | info[kFinderFlagsOffset + 1]);
    flags = hidden ? (flags | kFinderFlagHideExtension) : (flags & ~kFinderFlagHideExtension);
    info[kFinderFlagsOffset] = static_cast<std::uint8_t>(flags >> 8);
    info[kFinderFlagsOffset + 1] = static_cast<std::uint8_t>(flags & 0xff);
    return setExtendedAttribute(path, kFinderInfoAttribute, info, error);
}

}  // namespace kq
