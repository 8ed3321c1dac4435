#pragma once
// A shared library opened by path at run time. The handle is never closed:
// what is looked up in it is published for the life of the process.
#include <optional>
#include <string>

namespace kq {

class SharedLibrary {
public:
    /// Opens `path` with lazy binding and local symbols (a bare file name is
    /// searched the loader's way). nullopt when it cannot be opened; `error`,
    /// when given, receives the loader's message.
    static std::optional<SharedLibrary> open(const std::string& path, std::string* error = nullptr);

    /// The address of an exported name, or nullptr when the library lacks it.
    void* symbol(const char* name) const;

    /// symbol() as a function pointer of type F.
    template <class F>
    F function(const char* name) const {
        return reinterpret_cast<F>(symbol(name));
    }

private:
    explicit SharedLibrary(void* handle) : handle_(handle) {}
    void* handle_;
};

}  // namespace kq
