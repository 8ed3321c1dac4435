#include "Support/TemporaryDirectory.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace fs = std::filesystem;

namespace kqtest {

std::string readText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

TemporaryDirectory::TemporaryDirectory() {
    std::string pattern = (fs::temp_directory_path() / "kqtest-XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ec;
    // Tests may leave read-only folders behind; make them writable so removal succeeds.
    for (auto it = fs::recursive_directory_iterator(path_, fs::directory_options::skip_permission_denied, ec);
         !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
        if (it->is_directory(ec) && !it->is_symlink(ec)) chmod(it->path().c_str(), 0755);
    }
    chmod(path_.c_str(), 0755);
    fs::remove_all(path_, ec);
}

std::string TemporaryDirectory::operator/(std::string_view relative) const {
    return path_ + "/" + std::string(relative);
}

std::string TemporaryDirectory::makeDirectory(std::string_view relative) const {
    std::string full = *this / relative;
    fs::create_directories(full);
    return full;
}

std::string TemporaryDirectory::writeFile(std::string_view relative, std::string_view contents) const {
    std::string full = *this / relative;
    fs::create_directories(fs::path(full).parent_path());
    std::ofstream out(full, std::ios::binary | std::ios::trunc);
    out.write(contents.data(), static_cast<std::streamsize>(contents.size()));
    return full;
}

std::string TemporaryDirectory::makeSymlink(std::string_view relative, std::string_view target) const {
    std::string full = *this / relative;
    fs::create_directories(fs::path(full).parent_path());
    fs::create_symlink(std::string(target), full);
    return full;
}

}  // namespace kqtest
