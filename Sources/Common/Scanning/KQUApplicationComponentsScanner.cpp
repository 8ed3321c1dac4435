#include "KQFoundation/KQUApplicationComponentsScanner.h"

#include <algorithm>

#include "KQFoundation/NSBundle+KQUThreadSafety.h"
#include "KQFoundation/NSFileManager+KQFoundation.h"
#include "KQFoundation/System/FileSystemLayout.h"
#include "KQFoundation/Foundation/PathUtilities.h"
#include "KQFoundation/Foundation/PropertyList.h"
#include "Foundation/UnicodeText.h"
#include "LowercasedText.h"

namespace {

constexpr const char* kPathKey = "path";
constexpr const char* kCheckPartOfAppNameKey = "checkPartOfAppName";
constexpr const char* kExtensionsKey = "extensions";

constexpr const char* kLocalLibraryComponentsKey = "componentsPathsInLocalLibDirectory";
constexpr const char* kUserLibraryComponentsKey = "componentsPathsInUserLibDirectory";
constexpr const char* kSystemLibraryComponentsKey = "componentsPathsInSystemLibDirectory";

constexpr kq::FoldOptions kIgnoringCase{true, false};

std::vector<std::string> folders(kq::SearchPathDirectory directory, unsigned domainMask) {
    return kq::FileSystemLayout::current()->pathsForDirectory(directory, domainMask);
}

std::string lastLibraryFolder(unsigned domainMask) {
    auto paths = folders(kq::SearchPathDirectory::Library, domainMask);
    return paths.empty() ? std::string() : paths.back();
}

/// The identifier and the name, folded once for all entries of a scan.
struct NameRules {
    std::string foldedBundleID;  // empty: no identifier match
    std::string foldedAppName;

    bool matchesIdentifier(std::string_view name) const {
        return !foldedBundleID.empty() && kq::hasPrefixFolded(name, foldedBundleID, kIgnoringCase);
    }
    bool matchesName(std::string_view name, bool checkPartOfAppName) const {
        if (foldedAppName.empty()) return false;
        if (checkPartOfAppName) return kq::hasPrefixFolded(name, foldedAppName, kIgnoringCase);
        return kq::equalsFolded(name, foldedAppName, kIgnoringCase) ||
               kq::equalsFolded(kq::stringByDeletingPathExtension(name), foldedAppName, kIgnoringCase);
    }
};

bool hasAllowedExtension(std::string_view name, const kq::Array* extensions) {
    if (!extensions) return true;
    const std::string extension = kq::scanning::lowercased(kq::pathExtension(name));
    return std::any_of(extensions->begin(), extensions->end(), [&](const kq::Value& allowed) {
        const std::string* text = allowed.asString();
        return text && *text == extension;
    });
}

kq::Dictionary loadPredefinedComponents() {
    auto bundle = kq::Bundle::threadSafeBundleForClass();
    if (!bundle) return {};
    auto bytes = (*bundle)->dataForResource("ApplicationsComponents", "plist");
    std::optional<kq::Value> resource = bytes ? kq::PropertyList::read(*bytes) : std::nullopt;
    const kq::Dictionary* dictionary = resource ? resource->asDictionary() : nullptr;
    return dictionary ? *dictionary : kq::Dictionary();
}

}  // namespace

std::unique_ptr<KQUApplicationComponentsScanner> KQUApplicationComponentsScanner::create(
    std::shared_ptr<KQUApplicationComponentsScannerConfiguration> configuration) {
    if (!configuration || !configuration->appName()) return nullptr;
    return std::unique_ptr<KQUApplicationComponentsScanner>(
        new KQUApplicationComponentsScanner(std::move(configuration)));
}

std::vector<std::string> KQUApplicationComponentsScanner::scanForComponentPaths() {
    scanArguments_ = kq::Array();
    loadScanArguments();
    std::vector<std::string> result = startScanFromArguments();
    std::vector<std::string> additional = startAdditionalScan();
    result.insert(result.end(), std::make_move_iterator(additional.begin()),
                  std::make_move_iterator(additional.end()));
    scanArguments_.reset();
    return result;
}

void KQUApplicationComponentsScanner::loadScanArguments() {
    const auto libraries = folders(kq::SearchPathDirectory::Library, kq::AllDomainsMask);
    const auto caches = folders(kq::SearchPathDirectory::Caches, kq::AllDomainsMask);
    const auto applicationSupport = folders(kq::SearchPathDirectory::ApplicationSupport, kq::AllDomainsMask);

    addScanArgumentWithPaths(libraries);
    addScanArgumentWithPaths(libraries, "Preferences");
    addScanArgumentWithPaths(libraries, "Saved Application State");
    addScanArgumentWithPaths(libraries, "Containers");
    addScanArgumentWithPaths(libraries, "Logs");
    addScanArgumentWithPaths(caches);
    addScanArgumentWithPaths(caches, "com.apple.helpd/Generated");
    addScanArgumentWithPaths(applicationSupport);
    // The set is compared with lower-cased extensions, so this row finds nothing; kept as designed.
    addScanArgumentWithPaths(applicationSupport, "Growl/Tickets", std::vector<std::string>{"growlTicket"}, true);
    addScanArgumentWithPaths(kq::FileManager::defaultManager().crashReportFolders(), std::nullopt, std::nullopt, true);
    if (configuration_->shouldScanDownloadsFolder())
        addScanArgumentWithPaths(folders(kq::SearchPathDirectory::Downloads, kq::UserDomainMask), std::nullopt,
                                 std::vector<std::string>{"dmg", "pkg"}, false);
}

void KQUApplicationComponentsScanner::addScanArgumentWithPaths(
    const std::vector<std::string>& paths, const std::optional<std::string>& component,
    const std::optional<std::vector<std::string>>& extensions, bool checkPartOfAppName) {
    if (!scanArguments_) scanArguments_ = kq::Array();
    for (const std::string& path : paths) {
        kq::Dictionary argument;
        argument.setObject(kPathKey, component ? kq::stringByAppendingPathComponent(path, *component) : path);
        argument.setObject(kCheckPartOfAppNameKey, checkPartOfAppName);
        if (extensions) {
            kq::Array set;
            for (const std::string& extension : *extensions)
                if (std::find(set.begin(), set.end(), kq::Value(extension)) == set.end()) set.emplace_back(extension);
            argument.setObject(kExtensionsKey, std::move(set));
        }
        scanArguments_->emplace_back(std::move(argument));
    }
}

void KQUApplicationComponentsScanner::addScanArgumentWithPaths(const std::vector<std::string>& paths,
                                                               const std::optional<std::string>& component) {
    addScanArgumentWithPaths(paths, component, std::nullopt, false);
}

void KQUApplicationComponentsScanner::addScanArgumentWithPaths(const std::vector<std::string>& paths) {
    addScanArgumentWithPaths(paths, std::nullopt, std::nullopt, false);
}

std::vector<std::string> KQUApplicationComponentsScanner::startScanFromArguments() const {
    std::vector<std::string> result;
    if (!scanArguments_) return result;
    NameRules rules;
    if (const auto& bundleID = configuration_->bundleID()) rules.foldedBundleID = kq::foldForComparison(*bundleID, kIgnoringCase);
    rules.foldedAppName = kq::foldForComparison(configuration_->appName().value_or(""), kIgnoringCase);

    const kq::FileManager& fileManager = kq::FileManager::defaultManager();
    for (const kq::Value& value : *scanArguments_) {
        const kq::Dictionary* argument = value.asDictionary();
        const std::string* folder = argument ? argument->stringValueForKey(kPathKey) : nullptr;
        if (!folder) continue;
        const bool checkPartOfAppName = argument->boolValueForKey(kCheckPartOfAppNameKey, false);
        const kq::Array* extensions = argument->arrayValueForKey(kExtensionsKey);
        for (const std::string& name : fileManager.contentsOfDirectoryAtPath(*folder)) {
            const bool matches = rules.matchesIdentifier(name) || rules.matchesName(name, checkPartOfAppName);
            if (matches && hasAllowedExtension(name, extensions))
                result.push_back(kq::stringByAppendingPathComponent(*folder, name));
        }
    }
    return result;
}

const kq::Dictionary& KQUApplicationComponentsScanner::predefinedDescriptionOfApplicationsComponents() {
    static const kq::Dictionary components = loadPredefinedComponents();
    return components;
}

std::optional<std::vector<std::string>> KQUApplicationComponentsScanner::additionalComponents() const {
    const auto& bundleID = configuration_->bundleID();
    if (!bundleID) return std::nullopt;
    const kq::Dictionary* entry = predefinedDescriptionOfApplicationsComponents().dictioniaryValueForKey(*bundleID);
    if (!entry) return std::nullopt;

    std::vector<std::string> paths;
    const std::pair<const char*, unsigned> domains[] = {
        {kLocalLibraryComponentsKey, kq::LocalDomainMask},
        {kUserLibraryComponentsKey, kq::UserDomainMask},
        {kSystemLibraryComponentsKey, kq::SystemDomainMask},
    };
    for (const auto& [key, domain] : domains) {
        const kq::Array* relativePaths = entry->arrayValueForKey(key);
        if (!relativePaths || relativePaths->empty()) continue;
        const std::string library = lastLibraryFolder(domain);
        for (const kq::Value& relative : *relativePaths) {
            const std::string* text = relative.asString();
            if (!text) continue;
            std::string path = kq::stringByAppendingPathComponent(library, *text);
            if (std::find(paths.begin(), paths.end(), path) == paths.end()) paths.push_back(std::move(path));
        }
    }
    return paths;
}

std::vector<std::string> KQUApplicationComponentsScanner::startAdditionalScan() const {
    const kq::FileManager& fileManager = kq::FileManager::defaultManager();
    std::vector<std::string> result;
    if (auto candidates = additionalComponents())
        for (std::string& path : *candidates)
            if (fileManager.attributesOfItemAtPath(path)) result.push_back(std::move(path));

    if (configuration_->shouldAddAppInComponent()) {
        const std::string bundleName = kq::stringByAppendingPathExtension(*configuration_->appName(), "app");
        for (const std::string& folder : folders(kq::SearchPathDirectory::Application, kq::AllDomainsMask)) {
            std::string path = kq::stringByAppendingPathComponent(folder, bundleName);
            if (fileManager.fileExistsAtPath(path)) result.push_back(std::move(path));
        }
    }
    return result;
}
