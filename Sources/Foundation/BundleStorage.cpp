#include "Foundation/BundleStorage.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <system_error>

namespace fs = std::filesystem;

namespace kq {
namespace {

constexpr std::string_view kLocalizationSuffix = ".lproj";

bool isDirectory(const std::string& path) {
    std::error_code error;
    return fs::is_directory(path, error);
}

/// The whole file, or nullopt when it is not a readable regular file.
std::optional<Data> readFile(const std::string& path) {
    std::error_code error;
    if (!fs::is_regular_file(path, error)) return std::nullopt;
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::nullopt;
    Data bytes;
    char buffer[64 * 1024];
    while (in.read(buffer, sizeof buffer) || in.gcount() > 0) {
        bytes.insert(bytes.end(), buffer, buffer + in.gcount());
    }
    if (in.bad()) return std::nullopt;
    return bytes;
}

std::string join(const std::string& folder, std::string_view relative) {
    std::string path = folder;
    if (!path.empty() && path.back() != '/') path += '/';
    path += relative;
    return path;
}

bool endsWith(std::string_view text, std::string_view suffix) {
    return text.size() > suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

}  // namespace

// ---- folder ----

FolderBundleStorage::FolderBundleStorage(std::string path, std::string infoPlistPath, std::string resourcePath)
    : path_(std::move(path)), infoPlistPath_(std::move(infoPlistPath)), resourcePath_(std::move(resourcePath)) {}

std::shared_ptr<FolderBundleStorage> FolderBundleStorage::create(std::string_view path) {
    std::string folder(path);
    while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
    if (folder.empty() || !isDirectory(folder)) return nullptr;
    std::string contents = join(folder, "Contents");
    if (isDirectory(contents)) {
        return std::make_shared<FolderBundleStorage>(folder, join(contents, "Info.plist"),
                                                     join(contents, "Resources"));
    }
    return std::make_shared<FolderBundleStorage>(folder, join(folder, "Info.plist"), folder);
}

std::optional<Data> FolderBundleStorage::infoPlistData() const { return readFile(infoPlistPath_); }

bool FolderBundleStorage::containsResource(std::string_view relativePath) const {
    std::error_code error;
    return fs::exists(join(resourcePath_, relativePath), error);
}

std::optional<Data> FolderBundleStorage::readResource(std::string_view relativePath) const {
    return readFile(join(resourcePath_, relativePath));
}

std::optional<std::string> FolderBundleStorage::filePathForResource(std::string_view relativePath) const {
    if (!containsResource(relativePath)) return std::nullopt;
    return join(resourcePath_, relativePath);
}

std::vector<std::string> FolderBundleStorage::localizationNames() const {
    std::vector<std::string> names;
    std::error_code error;
    fs::directory_iterator it(resourcePath_, error), end;
    for (; !error && it != end; it.increment(error)) {
        std::string name = it->path().filename().string();
        std::error_code statusError;
        if (endsWith(name, kLocalizationSuffix) && it->is_directory(statusError)) {
            names.push_back(name.substr(0, name.size() - kLocalizationSuffix.size()));
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

// ---- compiled in ----

EmbeddedBundleStorage::EmbeddedBundleStorage(const detail::EmbeddedResource* table) : table_(table) {}

const detail::EmbeddedResource* EmbeddedBundleStorage::find(std::string_view relativePath) const {
    for (auto* r = table_; r && r->path; ++r) {
        if (relativePath == r->path) return r;
    }
    return nullptr;
}

bool EmbeddedBundleStorage::containsResource(std::string_view relativePath) const {
    if (find(relativePath)) return true;
    // A folder exists when some resource lies below it.
    std::string prefix = std::string(relativePath) + "/";
    for (auto* r = table_; r && r->path; ++r) {
        if (std::string_view(r->path).starts_with(prefix)) return true;
    }
    return false;
}

std::optional<Data> EmbeddedBundleStorage::readResource(std::string_view relativePath) const {
    auto* r = find(relativePath);
    if (!r) return std::nullopt;
    return Data(r->bytes, r->bytes + r->size);
}

std::vector<std::string> EmbeddedBundleStorage::localizationNames() const {
    std::set<std::string> names;
    for (auto* r = table_; r && r->path; ++r) {
        std::string_view path = r->path;
        auto slash = path.find('/');
        if (slash == std::string_view::npos) continue;
        std::string_view folder = path.substr(0, slash);
        if (endsWith(folder, kLocalizationSuffix)) {
            names.emplace(folder.substr(0, folder.size() - kLocalizationSuffix.size()));
        }
    }
    return {names.begin(), names.end()};
}

}  // namespace kq
