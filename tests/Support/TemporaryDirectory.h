#pragma once
// A fresh folder for one test, removed with everything in it afterwards.
#include <string>
#include <string_view>

namespace kqtest {

class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::string& path() const { return path_; }
    /// path() + "/" + relative
    std::string operator/(std::string_view relative) const;
    /// Creates the folder and its parents; returns its full path.
    std::string makeDirectory(std::string_view relative) const;
    /// Writes the file (creating parent folders); returns its full path.
    std::string writeFile(std::string_view relative, std::string_view contents = "") const;
    /// Creates a symbolic link at `relative` pointing to `target`; returns its full path.
    std::string makeSymlink(std::string_view relative, std::string_view target) const;

private:
    std::string path_;
};

/// The whole file, or "" when it cannot be read.
std::string readText(const std::string& path);

}  // namespace kqtest
