#pragma once
// kq::Bundle: a folder with an Info dictionary, resources and localizations
// (the platform's NSBundle). Application bundles keep them in Contents/ and
// Contents/Resources/; flat bundles at the top. The library's own resources
// are compiled into it and appear as the bundle `libraryBundle()`.
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KQFoundation/Platform/URL.h"
#include "KQFoundation/Platform/Value.h"

namespace kq {

class BundleStorage;

class Bundle {
public:
    /// The bundle at the path, or nullptr when there is no folder there.
    static std::shared_ptr<Bundle> bundleWithPath(std::string_view path);
    static std::shared_ptr<Bundle> bundleWithURL(const URL& url);

    /// The host's bundle; the folder of the running program unless set.
    static std::shared_ptr<Bundle> mainBundle();
    static void setMainBundle(std::shared_ptr<Bundle> bundle);
    /// KQFoundation's own resources: compiled in, or the folder set here.
    static std::shared_ptr<Bundle> libraryBundle();
    static void setLibraryResourcesPath(std::optional<std::string> path);

    /// The bundle's folder ("" for the compiled-in resources).
    const std::string& bundlePath() const;
    URL bundleURL() const;
    /// Contents/Resources for application bundles, the folder itself for flat ones.
    std::string resourcePath() const;

    /// Info.plist as a dictionary (empty when missing or unreadable), read once.
    const Dictionary& infoDictionary() const;
    std::optional<std::string> bundleIdentifier() const;
    const Value* objectForInfoDictionaryKey(std::string_view key) const;

    /// Looks in the resources, then in the preferred localization's folder.
    std::optional<URL> URLForResource(std::string_view name, std::string_view extension,
                                      std::string_view subdirectory = "") const;
    std::optional<std::string> pathForResource(std::string_view name, std::string_view extension,
                                               std::string_view subdirectory = "") const;
    /// The bytes of a resource; also works for compiled-in resources, which have no URL.
    std::optional<Data> dataForResource(std::string_view name, std::string_view extension,
                                        std::string_view subdirectory = "") const;

    /// Names of the "*.lproj" folders ("en", "de", "English", "Base"...).
    std::vector<std::string> localizations() const;
    /// The bundle's localizations ordered by the user's languages (LANGUAGE,
    /// LC_ALL, LC_MESSAGES, LANG), then the development region.
    std::vector<std::string> preferredLocalizations() const;
    /// Looks the key up in <lang>.lproj/<table>.strings (table "" means
    /// "Localizable") of the preferred localizations; falls back to `value`,
    /// or to the key when `value` is empty.
    std::string localizedString(std::string_view key, std::string_view value = "",
                                std::string_view table = "") const;

    // NSBundle(KQFoundation)
    std::optional<std::string> shortVersion() const;
    std::optional<std::string> bundleVersion() const;
    std::optional<std::string> humanReadableCopyright() const;
    /// The first preferred localization, "English" answered as "en".
    /// Throws kq::RangeException when the bundle has no localizations.
    std::string preferredLocalization() const;
    static std::string preferredApplicationLocalization();

    /// The bundle object's own lock: thread-safe wrappers hold it per call.
    std::recursive_mutex& monitor() const { return monitor_; }

    explicit Bundle(std::shared_ptr<BundleStorage> storage);
    ~Bundle();

private:
    std::shared_ptr<BundleStorage> storage_;
    mutable std::recursive_mutex monitor_;
    struct Cache;
    std::unique_ptr<Cache> cache_;
};

/// Parses an old-style strings file ("key" = "value"; with comments), UTF-8
/// or UTF-16 with a byte-order mark. nullopt when it does not parse.
std::optional<Dictionary> parseStringsFile(const Data& bytes);

/// kCFBundleVersionKey and the short version key.
inline constexpr const char* kBundleVersionKey = "CFBundleVersion";

}  // namespace kq

/// The Info dictionary key of the marketing version.
extern const char* const kKQBundleShortVersionStringKey;
