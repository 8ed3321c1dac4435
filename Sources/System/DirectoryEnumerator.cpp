// The walker every scan runs on. Each folder is read whole (names and d_type),
// sorted, and closed before its entries are handed out, so the walk holds no
// descriptors between calls and deep trees cannot exhaust them; only the
// folders on the current path are kept in memory.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "KQFoundation/Foundation/PathUtilities.h"
#include "System/FileSystemCalls.h"
#include "System/PosixDirectoryEnumerator.h"

namespace kq::platform {

namespace {

FileType typeFromDirent(unsigned char type) {
    switch (type) {
        case DT_REG: return FileType::Regular;
        case DT_DIR: return FileType::Directory;
        case DT_LNK: return FileType::SymbolicLink;
        default: return FileType::Other;
    }
}

constexpr int kFolderOpenFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

/// A folder's listing: all names in one buffer, sorted entries pointing into it.
struct Folder {
    struct Entry {
        std::uint32_t offset;
        std::uint32_t length;
        FileType type;
    };
    std::string names;
    std::vector<Entry> entries;
    std::size_t next = 0;
    std::size_t prefixLength = 0;  // length of "relative/path/" of this folder
    dev_t device = 0;
    ino_t inode = 0;

    std::string_view name(const Entry& e) const { return std::string_view(names).substr(e.offset, e.length); }

    /// Takes ownership of `fd` and closes it.
    void read(int fd) {
        names.clear();
        entries.clear();
        next = 0;
        DIR* dir = fdopendir(fd);
        if (!dir) {
            close(fd);
            return;
        }
        while (dirent* ent = readdir(dir)) {
            const char* n = ent->d_name;
            if (n[0] == '.' && (n[1] == '\0' || (n[1] == '.' && n[2] == '\0'))) continue;
            FileType type = typeFromDirent(ent->d_type);
            if (ent->d_type == DT_UNKNOWN) {
                struct stat info {};
                type = fstatat(dirfd(dir), n, &info, AT_SYMLINK_NOFOLLOW) == 0 ? fileTypeFromMode(info.st_mode)
                                                                                : FileType::Other;
            }
            std::size_t length = std::strlen(n);
            entries.push_back({static_cast<std::uint32_t>(names.size()), static_cast<std::uint32_t>(length), type});
            names.append(n, length);
        }
        closedir(dir);
        std::sort(entries.begin(), entries.end(),
                  [this](const Entry& a, const Entry& b) { return name(a) < name(b); });
    }

    /// Lets go of the buffers of an unusually wide folder once it is left.
    void release() {
        constexpr std::size_t kKeptCapacity = 4096;
        if (entries.capacity() > kKeptCapacity) {
            std::vector<Entry>().swap(entries);
            std::string().swap(names);
        }
    }
};

class PosixDirectoryEnumerator final : public DirectoryEnumerator {
public:
    explicit PosixDirectoryEnumerator(std::string root) : root_(std::move(root)) {}

    /// Reads the root; false when it cannot be opened as a folder.
    bool start() {
        int fd = open(root_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd < 0) return false;
        if (root_.back() != '/') root_.push_back('/');
        return push(fd, 0);
    }

    std::optional<std::string> nextObject() override {
        if (descendPending_) {
            descendPending_ = false;
            descend();
        }
        while (depth_ > 0) {
            Folder& folder = folders_[depth_ - 1];
            if (folder.next < folder.entries.size()) {
                const Folder::Entry& entry = folder.entries[folder.next++];
                path_.resize(folder.prefixLength);
                path_.append(folder.name(entry));
                currentType_ = entry.type;
                currentLevel_ = depth_;
                descendPending_ = entry.type == FileType::Directory;
                return path_;
            }
            folder.release();
            --depth_;
        }
        return std::nullopt;
    }

    void skipDescendants() override { descendPending_ = false; }
    std::size_t level() const override { return currentLevel_; }
    FileType currentEntryType() const override { return currentType_; }

private:
    /// Opens the folder just returned (as path_) and makes it the current one.
    void descend() {
        fullPath_.assign(root_).append(path_);
        int fd = open(fullPath_.c_str(), kFolderOpenFlags);
        if (fd < 0 && errno == ENAMETOOLONG) fd = openByComponents();
        if (fd < 0) return;  // unreadable or gone: its contents are simply not listed
        path_.push_back('/');
        push(fd, path_.size());
    }

    /// Opens path_ one component at a time, for paths beyond PATH_MAX.
    int openByComponents() const {
        int fd = open(root_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        std::size_t begin = 0;
        while (fd >= 0 && begin < path_.size()) {
            std::size_t end = path_.find('/', begin);
            if (end == std::string::npos) end = path_.size();
            std::string component = path_.substr(begin, end - begin);
            int child = openat(fd, component.c_str(), kFolderOpenFlags);
            close(fd);
            fd = child;
            begin = end + 1;
        }
        return fd;
    }

    /// Reads the open folder into a new level unless it is already on the
    /// current path (a loop through a bind mount or a broken file system).
    bool push(int fd, std::size_t prefixLength) {
        struct stat info {};
        if (fstat(fd, &info) != 0) {
            close(fd);
            return false;
        }
        for (std::size_t i = 0; i < depth_; ++i) {
            if (folders_[i].device == info.st_dev && folders_[i].inode == info.st_ino) {
                close(fd);
                return false;
            }
        }
        if (depth_ == folders_.size()) folders_.emplace_back();
        Folder& folder = folders_[depth_];
        folder.read(fd);
        folder.prefixLength = prefixLength;
        folder.device = info.st_dev;
        folder.inode = info.st_ino;
        ++depth_;
        return true;
    }

    std::string root_;             // ends in "/"
    std::vector<Folder> folders_;  // [0, depth_) is the current path; the rest are spare buffers
    std::size_t depth_ = 0;
    std::string path_;             // relative path of the entry last returned
    std::string fullPath_;
    FileType currentType_ = FileType::Other;
    std::size_t currentLevel_ = 0;
    bool descendPending_ = false;
};

}  // namespace

std::unique_ptr<DirectoryEnumerator> makeDirectoryEnumerator(std::string_view root) {
    if (root.empty()) return nullptr;
    std::string absolute(root);
    if (absolute.front() != '/') {
        std::string cwd = FileManager::defaultManager().currentDirectoryPath();
        absolute = stringByAppendingPathComponent(cwd, absolute);
    }
    auto enumerator = std::make_unique<PosixDirectoryEnumerator>(std::move(absolute));
    if (!enumerator->start()) return nullptr;
    return enumerator;
}

}  // namespace kq::platform
