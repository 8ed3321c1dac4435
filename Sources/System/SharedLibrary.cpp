#include "System/SharedLibrary.h"

#include <dlfcn.h>

namespace kq {

std::optional<SharedLibrary> SharedLibrary::open(const std::string& path, std::string* error) {
    void* handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL);
    if (!handle) {
        if (error) {
            const char* message = dlerror();
            *error = message ? message : "unknown error";
        }
        return std::nullopt;
    }
    return SharedLibrary(handle);
}

void* SharedLibrary::symbol(const char* name) const {
    return dlsym(handle_, name);
}

}  // namespace kq
