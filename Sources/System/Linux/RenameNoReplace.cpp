#include "System/Linux/RenameNoReplace.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>

namespace kq::platform {

int renameNoReplace(const char* from, const char* to) {
    if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return 0;
    int error = errno;
    // Some file systems (and old kernels) do not know the flag; check, then
    // rename, accepting the small window between the two.
    if (error != EINVAL && error != ENOSYS && error != ENOTSUP) return error;
    struct stat info {};
    if (lstat(to, &info) == 0) return EEXIST;
    if (errno != ENOENT) return errno;
    return rename(from, to) == 0 ? 0 : errno;
}

}  // namespace kq::platform
