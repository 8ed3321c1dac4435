#include "ByteInput.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "Command.h"

namespace kqu {

namespace {

[[noreturn]] void unreadable(const std::string& file, const std::string& why) {
    throw CommandFailure{kExitInputFailure, file + ": " + why};
}

}  // namespace

void readInputInPieces(const std::string& file, std::size_t pieceSize,
                       const std::function<void(const std::uint8_t*, std::size_t)>& consume) {
    const bool standardInput = file == "-";
    const int fd = standardInput ? STDIN_FILENO : ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) unreadable(file, std::strerror(errno));
    struct Closer {
        int fd;
        ~Closer() { if (fd >= 0) ::close(fd); }
    } closer{standardInput ? -1 : fd};
    struct stat info {};
    if (fstat(fd, &info) == 0 && S_ISDIR(info.st_mode)) unreadable(file, "a folder, not a file");
    const auto buffer = std::make_unique<std::uint8_t[]>(pieceSize);
    for (;;) {
        const ssize_t n = ::read(fd, buffer.get(), pieceSize);
        if (n == 0) return;
        if (n < 0) {
            if (errno == EINTR) continue;
            unreadable(file, std::strerror(errno));
        }
        consume(buffer.get(), std::size_t(n));
    }
}

kq::Data readInput(const std::string& file) {
    kq::Data data;
    readInputInPieces(file, std::size_t{1} << 20,
                      [&](const std::uint8_t* bytes, std::size_t n) { data.insert(data.end(), bytes, bytes + n); });
    return data;
}

std::string readInputText(const std::string& file, const std::string& what) {
    std::string text;
    try {
        readInputInPieces(file, std::size_t{1} << 20, [&](const std::uint8_t* bytes, std::size_t n) {
            text.append(reinterpret_cast<const char*>(bytes), n);
        });
    } catch (const CommandFailure& failure) {
        throw CommandFailure{failure.exitCode, failure.message + " (cannot read the " + what + ")"};
    }
    return text;
}

bool writeAllToDescriptor(int fd, const std::uint8_t* bytes, std::size_t size) {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t n = ::write(fd, bytes + done, size - done);
        if (n > 0) {
            done += static_cast<std::size_t>(n);
        } else if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            pollfd ready{fd, POLLOUT, 0};
            ::poll(&ready, 1, -1);
        } else if (n < 0 && errno != EINTR) {
            return false;
        }
    }
    return true;
}

void writeOutput(const kq::Data& data) {
    // Whatever stdio still holds goes first, so the bytes keep their order.
    if (std::fflush(stdout) != 0 || !writeAllToDescriptor(STDOUT_FILENO, data.data(), data.size()))
        throw CommandFailure{kExitInputFailure, std::string("cannot write the output: ") + std::strerror(errno)};
}

}  // namespace kqu
