#include "System/Linux/ExtendedAttributes.h"

#include <sys/xattr.h>

#include <cerrno>

namespace kq::platform {

namespace {

bool hasNamespace(std::string_view name) {
    for (std::string_view prefix : {"user.", "trusted.", "security.", "system."})
        if (name.substr(0, prefix.size()) == prefix) return true;
    return false;
}

std::optional<Data> readExact(const std::string& path, const std::string& name) {
    // Sized read with a retry: the value may grow between the two calls.
    for (int attempt = 0; attempt < 4; ++attempt) {
        ssize_t size = lgetxattr(path.c_str(), name.c_str(), nullptr, 0);
        if (size < 0) return std::nullopt;
        Data value(static_cast<std::size_t>(size));
        ssize_t read = lgetxattr(path.c_str(), name.c_str(), value.data(), value.size());
        if (read >= 0) {
            value.resize(static_cast<std::size_t>(read));
            return value;
        }
        if (errno != ERANGE) return std::nullopt;
    }
    return std::nullopt;
}

}  // namespace

std::optional<Data> readExtendedAttribute(const std::string& path, std::string_view name) {
    if (name.empty()) return std::nullopt;
    if (hasNamespace(name)) return readExact(path, std::string(name));
    if (auto value = readExact(path, "user." + std::string(name))) return value;
    return readExact(path, std::string(name));
}

bool writeExtendedAttribute(const std::string& path, std::string_view name, const Data& value,
                            std::error_code& error) {
    std::string full = hasNamespace(name) ? std::string(name) : "user." + std::string(name);
    if (lsetxattr(path.c_str(), full.c_str(), value.data(), value.size(), 0) != 0) {
        error = std::error_code(errno, std::generic_category());
        return false;
    }
    return true;
}

void copyExtendedAttributes(const std::string& from, const std::string& to) {
    ssize_t size = llistxattr(from.c_str(), nullptr, 0);
    if (size <= 0) return;
    std::string names(static_cast<std::size_t>(size), '\0');
    size = llistxattr(from.c_str(), names.data(), names.size());
    if (size <= 0) return;
    names.resize(static_cast<std::size_t>(size));
    for (std::size_t start = 0; start < names.size();) {
        std::size_t end = names.find('\0', start);
        if (end == std::string::npos) end = names.size();
        std::string name = names.substr(start, end - start);
        start = end + 1;
        if (name.rfind("user.", 0) != 0) continue;
        if (auto value = readExact(from, name))
            lsetxattr(to.c_str(), name.c_str(), value->data(), value->size(), 0);
    }
}

}  // namespace kq::platform
