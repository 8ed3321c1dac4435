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

}  // namespace kq::platform
