// The main bundle is found from the running program's file.
#include <unistd.h>

#include <string>

#include "System/RunningExecutable.h"

namespace kq::detail {

std::string systemRunningExecutablePath() {
    std::string buffer(4096, '\0');
    for (;;) {
        ssize_t length = ::readlink("/proc/self/exe", buffer.data(), buffer.size());
        if (length < 0) return {};
        if (static_cast<std::size_t>(length) < buffer.size()) {
            buffer.resize(static_cast<std::size_t>(length));
            return buffer;
        }
        buffer.resize(buffer.size() * 2);
    }
}

}  // namespace kq::detail
