#include "System/FileSystemCalls.h"

#include <fcntl.h>
#include <fts.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>

namespace kq::platform {

FileType fileTypeFromMode(unsigned mode) {
    if (S_ISREG(mode)) return FileType::Regular;
    if (S_ISDIR(mode)) return FileType::Directory;
    if (S_ISLNK(mode)) return FileType::SymbolicLink;
    return FileType::Other;
}

std::optional<ItemStatus> statusOfItem(const std::string& path, bool followLinks, int* error) {
    struct stat info {};
    if ((followLinks ? stat(path.c_str(), &info) : lstat(path.c_str(), &info)) != 0) {
        if (error) *error = errno;
        return std::nullopt;
    }
    return ItemStatus{fileTypeFromMode(info.st_mode), static_cast<std::uint64_t>(info.st_dev),
                      static_cast<std::uint32_t>(info.st_uid), (info.st_mode & S_ISVTX) != 0};
}

int makeFolder(const std::string& path, unsigned mode) {
    if (mkdir(path.c_str(), static_cast<mode_t>(mode)) != 0) return errno;
    // The umask must not widen or narrow a trash's access.
    return chmod(path.c_str(), static_cast<mode_t>(mode)) == 0 ? 0 : errno;
}

int createFileExclusively(const std::string& path, std::string_view contents) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0) return errno;
    std::size_t written = 0;
    int error = 0;
    while (written < contents.size()) {
        const ssize_t n = write(fd, contents.data() + written, contents.size() - written);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            error = n < 0 ? errno : EIO;
            break;
        }
        written += static_cast<std::size_t>(n);
    }
    if (!error && fsync(fd) != 0) error = errno;
    if (close(fd) != 0 && !error) error = errno;
    if (error) unlink(path.c_str());
    return error;
}

int removeFile(const std::string& path) { return unlink(path.c_str()) == 0 ? 0 : errno; }

std::optional<std::string> resolvedPath(const std::string& path, int* error) {
    char* resolved = realpath(path.c_str(), nullptr);
    if (!resolved) {
        if (error) *error = errno;
        return std::nullopt;
    }
    std::string out(resolved);
    std::free(resolved);
    return out;
}

std::uint32_t currentUserID() { return static_cast<std::uint32_t>(getuid()); }

std::string localDateTimeNow() {
    const std::time_t now = std::time(nullptr);
    std::tm local {};
    localtime_r(&now, &local);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &local);
    return text;
}

std::uint64_t logicalSizeOfTree(const std::string& path) {
    if (path.empty()) return 0;
    std::string root(path);
    char* roots[] = {root.data(), nullptr};
    FTS* tree = fts_open(roots, FTS_PHYSICAL | FTS_NOCHDIR, nullptr);
    if (!tree) return 0;
    std::uint64_t total = 0;
    while (FTSENT* entry = fts_read(tree)) {
        switch (entry->fts_info) {
            case FTS_F:
            case FTS_SL:
            case FTS_SLNONE:
            case FTS_DEFAULT:
                total += static_cast<std::uint64_t>(entry->fts_statp->st_size);
                break;
            default:
                // Folders (before and after their contents, unreadable, or
                // met again through a loop) and entries that could not be
                // examined add nothing.
                break;
        }
    }
    fts_close(tree);
    return total;
}

}  // namespace kq::platform
