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

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/URL.h"
#include "KQFoundation/Foundation/Value.h"

class KQUThreadSafeBundleProxy;

namespace kq {

class BundleStorage;

class KQ_EXPORT Bundle {
public:
    /// The bundle at the path, or nullptr when there is no folder there. One
    /// path gives one bundle object for as long as anyone holds it.
    static std::shared_ptr<Bundle> bundleWithPath(std::string_view path);
    static std::shared_ptr<Bundle> bundleWithURL(const URL& url);

    /// The host's bundle: unless set, the folder of the running program (the
    /// application bundle when it runs from X.app/Contents/MacOS). Setting
    /// nullptr restores that default.
    static std::shared_ptr<Bundle> mainBundle();
    static void setMainBundle(std::shared_ptr<Bundle> bundle);
    /// KQFoundation's own resources: compiled in, or the folder set here or
    /// in the environment variable KQFOUNDATION_RESOURCES (nullopt unsets).
    static std::shared_ptr<Bundle> libraryBundle();
    static void setLibraryResourcesPath(std::optional<std::string> path);

    /// The bundle's folder, absolute ("" for the compiled-in resources).
    const std::string& bundlePath() const;
    URL bundleURL() const;
    /// Contents/Resources for application bundles, the folder itself for flat ones.
    std::string resourcePath() const;

    /// Info.plist as a dictionary (empty when missing or unreadable), read once.
    const Dictionary& infoDictionary() const;
    std::optional<std::string> bundleIdentifier() const;
    const Value* objectForInfoDictionaryKey(std::string_view key) const;

    /// Looks in the resources (below `subdirectory`), then in each preferred
    /// localization's folder and Base.lproj (<lang>.lproj/<subdirectory>/).
    /// `extension` may be empty when `name` carries it.
    std::optional<URL> URLForResource(std::string_view name, std::string_view extension,
                                      std::string_view subdirectory = "") const;
    std::optional<std::string> pathForResource(std::string_view name, std::string_view extension,
                                               std::string_view subdirectory = "") const;
    /// The bytes of a resource; also works for compiled-in resources, which have no URL.
    std::optional<Data> dataForResource(std::string_view name, std::string_view extension,
                                        std::string_view subdirectory = "") const;

    /// Names of the "*.lproj" folders ("en", "de", "English", "Base"...), sorted.
    std::vector<std::string> localizations() const;
    /// The user's languages, most wanted first, from LANGUAGE (a colon list),
    /// then the first of LC_ALL, LC_MESSAGES, LANG: "de_DE.UTF-8" gives
    /// "de-DE" and "de"; "C" and "POSIX" give nothing.
    static std::vector<std::string> preferredLanguages();
    /// The bundle's localizations that match the user's languages, in their
    /// order, then the development region (CFBundleDevelopmentRegion), then
    /// English. "de" matches a "de" or "German" folder, "de-DE" a "de-DE" or
    /// "de_DE" one. "Base" is no language: it is listed only when it is the
    /// bundle's one localization. Empty only when there are no localizations.
    std::vector<std::string> preferredLocalizations() const;
    /// Looks the key up in <lang>.lproj/<table>.strings (table "" means
    /// "Localizable") of each preferred localization in turn, then Base.lproj,
    /// then an unlocalized <table>.strings; falls back to `value`, or to the
    /// key when `value` is empty. Parsed tables are cached.
    std::string localizedString(std::string_view key, std::string_view value = "",
                                std::string_view table = "") const;

    // ---- Category NSBundle(KQFoundation): NSBundle+KQFoundation.h/.cpp ----
    std::optional<std::string> shortVersion() const;
    std::optional<std::string> bundleVersion() const;
    std::optional<std::string> humanReadableCopyright() const;
    std::string preferredLocalization() const;
    static std::string preferredApplicationLocalization();
    // ---- end of category ----

    // ---- Category NSBundle(KQUThreadSafety): NSBundle+KQUThreadSafety.h/.cpp ----
    static std::unique_ptr<KQUThreadSafeBundleProxy> threadSafeMainBundle();
    static std::unique_ptr<KQUThreadSafeBundleProxy> threadSafeBundleWithPath(std::string_view path);
    static std::unique_ptr<KQUThreadSafeBundleProxy> threadSafeBundleForClass();
    // ---- end of category ----

    /// The bundle object's own lock: thread-safe wrappers hold it per call.
    std::recursive_mutex& monitor() const { return monitor_; }

    explicit Bundle(std::shared_ptr<BundleStorage> storage);
    ~Bundle();

private:
    const std::vector<std::string>& cachedLocalizations() const;
    /// preferredLocalizations() plus Base when the bundle has it.
    std::vector<std::string> searchLocalizations() const;
    /// The resource's path relative to the resources, following the search order.
    std::optional<std::string> findResource(std::string_view name, std::string_view extension,
                                            std::string_view subdirectory) const;
    /// The parsed strings table; nullptr when missing or unreadable.
    const Dictionary* stringsTable(const std::string& relativePath) const;

    std::shared_ptr<BundleStorage> storage_;
    mutable std::recursive_mutex monitor_;
    struct Cache;
    std::unique_ptr<Cache> cache_;
};

/// Parses a strings table: old-style text ("key" = "value"; or "key"; with
/// comments and escapes), UTF-8 or UTF-16 (byte-order mark, or told by its
/// zero bytes), or an XML or binary property list holding a dictionary of
/// strings. nullopt when it does not parse.
KQ_EXPORT std::optional<Dictionary> parseStringsFile(const Data& bytes);

/// The platform's kCFBundleVersionKey.
inline constexpr const char* kBundleVersionKey = "CFBundleVersion";

}  // namespace kq
