// kq::Bundle: finding bundles, the Info dictionary and resources.
// Localizations and strings tables are in BundleLocalizations.cpp.
#include "KQFoundation/Foundation/Bundle.h"

#include <cstdlib>
#include <filesystem>
#include <unordered_map>

#include "KQFoundation/Foundation/Log.h"
#include "KQFoundation/Foundation/PathUtilities.h"
#include "KQFoundation/Foundation/PropertyList.h"
#include "Foundation/BundleCache.h"
#include "Foundation/BundleStorage.h"
#include "Foundation/SystemHooks.h"

namespace fs = std::filesystem;

namespace kq {
namespace {

constexpr const char* kResourcesEnvironmentVariable = "KQFOUNDATION_RESOURCES";

/// Bundles by their real path, so that one folder gives one bundle object
/// (and so one monitor) however it is spelled.
struct BundleRegistry {
    std::mutex mutex;
    std::unordered_map<std::string, std::weak_ptr<Bundle>> byPath;

    void sweepExpired() {
        for (auto it = byPath.begin(); it != byPath.end();) {
            it = it->second.expired() ? byPath.erase(it) : std::next(it);
        }
    }
};

BundleRegistry& bundleRegistry() {
    static BundleRegistry registry;
    return registry;
}

/// The two bundles the host may replace.
struct WellKnownBundles {
    std::mutex mutex;
    std::shared_ptr<Bundle> main;
    std::shared_ptr<Bundle> library;
    std::optional<std::string> libraryResourcesPath;
};

WellKnownBundles& wellKnownBundles() {
    static WellKnownBundles bundles;
    return bundles;
}

std::shared_ptr<Bundle> defaultMainBundle() {
    std::string executable = detail::runningExecutablePath();
    std::string folder = executable.empty() ? absolutePath(".") : fs::path(executable).parent_path().string();
    // A program inside an application bundle stands for the whole bundle.
    fs::path p(folder);
    if (p.filename() == "MacOS" && p.parent_path().filename() == "Contents") {
        folder = p.parent_path().parent_path().string();
    }
    return Bundle::bundleWithPath(folder);
}

std::string joinRelative(std::string_view a, std::string_view b) {
    if (a.empty()) return std::string(b);
    if (b.empty()) return std::string(a);
    std::string joined(a);
    joined += '/';
    joined += b;
    return joined;
}

std::string_view trimSlashes(std::string_view s) {
    while (!s.empty() && s.front() == '/') s.remove_prefix(1);
    while (!s.empty() && s.back() == '/') s.remove_suffix(1);
    return s;
}

}  // namespace

Bundle::Bundle(std::shared_ptr<BundleStorage> storage)
    : storage_(std::move(storage)), cache_(std::make_unique<Cache>()) {}

Bundle::~Bundle() = default;

std::shared_ptr<Bundle> Bundle::bundleWithPath(std::string_view path) {
    if (path.empty()) return nullptr;
    std::string folder = absolutePath(path);
    if (folder.empty()) return nullptr;
    auto storage = FolderBundleStorage::create(folder);
    if (!storage) return nullptr;

    std::error_code error;
    std::string key = fs::canonical(folder, error).string();
    if (error) key = folder;

    auto& registry = bundleRegistry();
    std::lock_guard lock(registry.mutex);
    if (auto existing = registry.byPath[key].lock()) return existing;
    auto bundle = std::make_shared<Bundle>(std::move(storage));
    registry.byPath[key] = bundle;
    if (registry.byPath.size() > 64) registry.sweepExpired();
    return bundle;
}

std::shared_ptr<Bundle> Bundle::bundleWithURL(const URL& url) {
    if (!url.isFileURL()) return nullptr;
    return bundleWithPath(url.path());
}

std::shared_ptr<Bundle> Bundle::mainBundle() {
    auto& bundles = wellKnownBundles();
    std::lock_guard lock(bundles.mutex);
    if (!bundles.main) bundles.main = defaultMainBundle();
    return bundles.main;
}

void Bundle::setMainBundle(std::shared_ptr<Bundle> bundle) {
    auto& bundles = wellKnownBundles();
    std::lock_guard lock(bundles.mutex);
    bundles.main = std::move(bundle);
}

std::shared_ptr<Bundle> Bundle::libraryBundle() {
    auto& bundles = wellKnownBundles();
    std::lock_guard lock(bundles.mutex);
    if (bundles.library) return bundles.library;

    std::optional<std::string> folder = bundles.libraryResourcesPath;
    if (!folder) {
        const char* fromEnvironment = std::getenv(kResourcesEnvironmentVariable);
        if (fromEnvironment && *fromEnvironment) folder = fromEnvironment;
    }
    if (folder) {
        bundles.library = bundleWithPath(*folder);
        if (!bundles.library) {
            log("KQFoundation resources folder %@ not found, using the built-in resources", *folder);
        }
    }
    if (!bundles.library) bundles.library = std::make_shared<Bundle>(std::make_shared<EmbeddedBundleStorage>());
    return bundles.library;
}

void Bundle::setLibraryResourcesPath(std::optional<std::string> path) {
    auto& bundles = wellKnownBundles();
    std::lock_guard lock(bundles.mutex);
    bundles.libraryResourcesPath = std::move(path);
    bundles.library.reset();
}

const std::string& Bundle::bundlePath() const { return storage_->path(); }

URL Bundle::bundleURL() const {
    if (bundlePath().empty()) return URL();
    return URL::fileURLWithPath(bundlePath(), true);
}

std::string Bundle::resourcePath() const { return storage_->resourcePath(); }

const Dictionary& Bundle::infoDictionary() const {
    std::call_once(cache_->infoOnce, [this] {
        auto bytes = storage_->infoPlistData();
        if (!bytes) return;
        auto plist = PropertyList::read(*bytes);
        if (plist && plist->isDictionary()) cache_->info = std::move(*plist->asDictionary());
    });
    return cache_->info;
}

std::optional<std::string> Bundle::bundleIdentifier() const {
    const Value* identifier = objectForInfoDictionaryKey("CFBundleIdentifier");
    if (!identifier || !identifier->isString()) return std::nullopt;
    return *identifier->asString();
}

const Value* Bundle::objectForInfoDictionaryKey(std::string_view key) const {
    return infoDictionary().objectForKey(key);
}

std::optional<std::string> Bundle::findResource(std::string_view name, std::string_view extension,
                                                std::string_view subdirectory) const {
    if (name.empty()) return std::nullopt;
    std::string file(name);
    if (!extension.empty() && extension.front() == '.') extension.remove_prefix(1);
    if (!extension.empty()) {
        file += '.';
        file += extension;
    }
    std::string inFolder = joinRelative(trimSlashes(subdirectory), file);
    if (storage_->containsResource(inFolder)) return inFolder;
    for (const auto& localization : searchLocalizations()) {
        std::string candidate = joinRelative(localization + ".lproj", inFolder);
        if (storage_->containsResource(candidate)) return candidate;
    }
    return std::nullopt;
}

std::optional<std::string> Bundle::pathForResource(std::string_view name, std::string_view extension,
                                                   std::string_view subdirectory) const {
    auto relative = findResource(name, extension, subdirectory);
    if (!relative) return std::nullopt;
    return storage_->filePathForResource(*relative);
}

std::optional<URL> Bundle::URLForResource(std::string_view name, std::string_view extension,
                                          std::string_view subdirectory) const {
    auto path = pathForResource(name, extension, subdirectory);
    if (!path) return std::nullopt;
    return URL::fileURLWithPath(*path);
}

std::optional<Data> Bundle::dataForResource(std::string_view name, std::string_view extension,
                                            std::string_view subdirectory) const {
    auto relative = findResource(name, extension, subdirectory);
    if (!relative) return std::nullopt;
    return storage_->readResource(*relative);
}

}  // namespace kq
