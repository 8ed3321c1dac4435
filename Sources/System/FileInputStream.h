#pragma once
// A file read from the start in pieces (the platform's input stream on a file
// URL): one descriptor, closed with the object.
#include <cstddef>
#include <optional>
#include <string>

namespace kq::platform {

class FileInputStream {
public:
    /// nullopt when the file cannot be opened for reading.
    static std::optional<FileInputStream> open(const std::string& path);
    FileInputStream(FileInputStream&& other) noexcept : fd_(other.fd_) { other.fd_ = -1; }
    FileInputStream& operator=(FileInputStream&&) = delete;
    ~FileInputStream();

    /// Up to `length` bytes into `buffer`: the count read, 0 at the end (or
    /// when `length` is 0), -1 on an error.
    long read(void* buffer, std::size_t length);

private:
    explicit FileInputStream(int fd) : fd_(fd) {}
    int fd_;
};

}  // namespace kq::platform
