#pragma once
// Where a bundle's files come from: a folder on disk, or the resources
// compiled into the library. kq::Bundle does the look-up logic (search order,
// localizations, caching) on top of either.
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KQFoundation/Foundation/Value.h"

namespace kq {

namespace detail {
// Must match the definition in the source that cmake/KQEmbedResources.cmake generates.
struct EmbeddedResource { const char* path; const unsigned char* bytes; std::size_t size; };
/// Every file below Resources/, ending with a null path.
extern const EmbeddedResource kEmbeddedResources[];
}  // namespace detail

class BundleStorage {
public:
    virtual ~BundleStorage() = default;

    /// The bundle's folder; "" when it has none.
    virtual const std::string& path() const = 0;
    /// The folder holding the resources; "" when they are not in a folder.
    virtual const std::string& resourcePath() const = 0;
    /// The raw Info.plist, when there is one.
    virtual std::optional<Data> infoPlistData() const = 0;

    /// Paths below are relative to the resources ("en.lproj/Localizable.strings").
    virtual bool containsResource(std::string_view relativePath) const = 0;
    virtual std::optional<Data> readResource(std::string_view relativePath) const = 0;
    /// The resource as a file on disk; nullopt for compiled-in resources.
    virtual std::optional<std::string> filePathForResource(std::string_view relativePath) const = 0;
    /// Names of the top-level "*.lproj" folders without the extension, sorted.
    virtual std::vector<std::string> localizationNames() const = 0;
};

/// A bundle folder: application shape when it has a Contents folder
/// (Contents/Info.plist, Contents/Resources), else flat (everything at the top).
class FolderBundleStorage final : public BundleStorage {
public:
    /// nullptr when the path is not a folder.
    static std::shared_ptr<FolderBundleStorage> create(std::string_view path);

    const std::string& path() const override { return path_; }
    const std::string& resourcePath() const override { return resourcePath_; }
    std::optional<Data> infoPlistData() const override;
    bool containsResource(std::string_view relativePath) const override;
    std::optional<Data> readResource(std::string_view relativePath) const override;
    std::optional<std::string> filePathForResource(std::string_view relativePath) const override;
    std::vector<std::string> localizationNames() const override;

    FolderBundleStorage(std::string path, std::string infoPlistPath, std::string resourcePath);

private:
    std::string path_;
    std::string infoPlistPath_;
    std::string resourcePath_;
};

/// Resources compiled into the library; "Info.plist" among them is the Info dictionary.
class EmbeddedBundleStorage final : public BundleStorage {
public:
    explicit EmbeddedBundleStorage(const detail::EmbeddedResource* table = detail::kEmbeddedResources);

    const std::string& path() const override { return empty_; }
    const std::string& resourcePath() const override { return empty_; }
    std::optional<Data> infoPlistData() const override { return readResource("Info.plist"); }
    bool containsResource(std::string_view relativePath) const override;
    std::optional<Data> readResource(std::string_view relativePath) const override;
    std::optional<std::string> filePathForResource(std::string_view) const override { return std::nullopt; }
    std::vector<std::string> localizationNames() const override;

private:
    const detail::EmbeddedResource* find(std::string_view relativePath) const;

    const detail::EmbeddedResource* table_;
    std::string empty_;
};

}  // namespace kq
