#include "System/FileInputStream.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>

namespace kq::platform {

std::optional<FileInputStream> FileInputStream::open(const std::string& path) {
    int fd;
    do {
        fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) return std::nullopt;
    return FileInputStream(fd);
}

FileInputStream::~FileInputStream() {
    if (fd_ >= 0) ::close(fd_);
}

long FileInputStream::read(void* buffer, std::size_t length) {
    const std::size_t request = std::min<std::size_t>(length, SSIZE_MAX);
    ssize_t n;
    do {
        n = ::read(fd_, buffer, request);
    } while (n < 0 && errno == EINTR);
    return n < 0 ? -1 : long(n);
}

}  // namespace kq::platform
