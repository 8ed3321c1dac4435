#include "System/Linux/ItemCopier.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <vector>

#include "System/Linux/ExtendedAttributes.h"

namespace kq::platform {

namespace {

std::error_code lastError() { return std::error_code(errno, std::generic_category()); }

bool copyContents(int in, int out, std::error_code& error) {
    // copy_file_range lets the kernel (or a reflink-capable file system) do
    // the work; plain reads and writes cover the file systems that refuse.
    for (;;) {
        ssize_t copied = copy_file_range(in, nullptr, out, nullptr, 1 << 30, 0);
        if (copied == 0) return true;
        if (copied > 0) continue;
        if (errno == EINTR) continue;
        if (errno == EXDEV || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP) break;
        error = lastError();
        return false;
    }
    std::vector<char> buffer(1 << 16);
    for (;;) {
        ssize_t got = read(in, buffer.data(), buffer.size());
        if (got == 0) return true;
        if (got < 0) {
            if (errno == EINTR) continue;
            error = lastError();
            return false;
        }
        for (ssize_t done = 0; done < got;) {
            ssize_t put = write(out, buffer.data() + done, static_cast<std::size_t>(got - done));
            if (put < 0) {
                if (errno == EINTR) continue;
                error = lastError();
                return false;
            }
            done += put;
        }
    }
}

bool copyFile(const std::string& from, const std::string& to, const struct stat& info, std::error_code& error) {
    int in = open(from.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (in < 0) {
        error = lastError();
        return false;
    }
    int out = open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (out < 0) {
        error = lastError();
        close(in);
        return false;
    }
    bool ok = copyContents(in, out, error);
    if (ok) {
        fchmod(out, info.st_mode & 07777);
        const timespec times[2] = {info.st_atim, info.st_mtim};
        futimens(out, times);
        if (fsync(out) != 0) {
            error = lastError();
            ok = false;
        }
    }
    close(in);
    if (close(out) != 0 && ok) {
        error = lastError();
        ok = false;
    }
    return ok;
}

bool copyTree(const std::string& from, const std::string& to, std::error_code& error);

bool copyFolder(const std::string& from, const std::string& to, const struct stat& info, std::error_code& error) {
    if (mkdir(to.c_str(), 0700) != 0) {
        error = lastError();
        return false;
    }
    DIR* dir = opendir(from.c_str());
    if (!dir) {
        error = lastError();
        return false;
    }
    std::vector<std::string> names;
    while (dirent* ent = readdir(dir)) {
        std::string name = ent->d_name;
        if (name != "." && name != "..") names.push_back(std::move(name));
    }
    closedir(dir);
    for (const auto& name : names)
        if (!copyTree(from + "/" + name, to + "/" + name, error)) return false;
    chmod(to.c_str(), info.st_mode & 07777);
    const timespec times[2] = {info.st_atim, info.st_mtim};
    utimensat(AT_FDCWD, to.c_str(), times, 0);
    return true;
}

bool copyLink(const std::string& from, const std::string& to, const struct stat& info, std::error_code& error) {
    std::string target(static_cast<std::size_t>(info.st_size) + 1, '\0');
    ssize_t length = readlink(from.c_str(), target.data(), target.size());
    if (length < 0 || static_cast<std::size_t>(length) >= target.size()) {
        error = length < 0 ? lastError() : std::make_error_code(std::errc::io_error);
        return false;
    }
    target.resize(static_cast<std::size_t>(length));
    if (symlink(target.c_str(), to.c_str()) != 0) {
        error = lastError();
        return false;
    }
    const timespec times[2] = {info.st_atim, info.st_mtim};
    utimensat(AT_FDCWD, to.c_str(), times, AT_SYMLINK_NOFOLLOW);
    return true;
}

bool copyTree(const std::string& from, const std::string& to, std::error_code& error) {
    struct stat info {};
    if (lstat(from.c_str(), &info) != 0) {
        error = lastError();
        return false;
    }
    bool ok;
    if (S_ISDIR(info.st_mode)) {
        ok = copyFolder(from, to, info, error);
    } else if (S_ISREG(info.st_mode)) {
        ok = copyFile(from, to, info, error);
    } else if (S_ISLNK(info.st_mode)) {
        ok = copyLink(from, to, info, error);
    } else {
        error = std::make_error_code(std::errc::not_supported);  // devices, sockets, pipes
        ok = false;
    }
    if (ok) copyExtendedAttributes(from, to);
    return ok;
}

}  // namespace

bool copyItem(const std::string& from, const std::string& to, std::error_code& error) {
    struct stat existing {};
    if (lstat(to.c_str(), &existing) == 0) {
        error = std::make_error_code(std::errc::file_exists);
        return false;
    }
    if (copyTree(from, to, error)) return true;
    if (error != std::errc::file_exists) {
        std::error_code ignored;
        std::filesystem::remove_all(to, ignored);
    }
    return false;
}

}  // namespace kq::platform
