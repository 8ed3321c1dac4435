#include "KQFoundation/KQULeftoversProtection.h"

#include <algorithm>

#include "LowercasedText.h"
#include "KQFoundation/Foundation/Bundle.h"
#include "KQFoundation/Foundation/Log.h"
#include "KQFoundation/Foundation/PathUtilities.h"
#include "KQFoundation/Foundation/PropertyList.h"
#include "KQFoundation/System/FileManager.h"
#include "KQFoundation/System/FileSystemLayout.h"

namespace {

using kq::scanning::lowercased;

constexpr std::string_view kContainerMetadata = ".com.apple.containermanagerd.metadata.plist";
// Deep enough for ".../Application Support/Vendor/Product/Version/Tool.app", shallow
// enough not to walk a large support folder through.
constexpr std::size_t kApplicationSupportDepth = 4;

// Vendor-wide patterns and names are both lowercased: the knowledge base's own
// LIKE matching, case-insensitive.
constexpr kq::FoldOptions kCaseInsensitive{true, false};

std::optional<std::string> usableIdentifierOfBundle(const std::string& path) {
    const std::shared_ptr<kq::Bundle> bundle = kq::Bundle::bundleWithPath(path);
    if (!bundle) return std::nullopt;
    std::optional<std::string> identifier = bundle->bundleIdentifier();
    if (!identifier || !KQUIsUsableBundleIdentifier(*identifier)) return std::nullopt;
    return identifier;
}

void addBundlesIn(const std::string& folder, std::string_view extension, std::size_t depth, const char* what,
                  std::vector<KQULeftoversProtection::InstalledSoftware>& out) {
    const kq::FileManager& files = kq::FileManager::defaultManager();
    std::unique_ptr<kq::DirectoryEnumerator> walk = files.enumeratorAtPath(folder);
    if (!walk) return;
    while (std::optional<std::string> relative = walk->nextObject()) {
        if (walk->currentEntryType() != kq::FileType::Directory) continue;
        if (lowercased(kq::pathExtension(*relative)) == extension) {
            walk->skipDescendants();
            const std::string path = kq::stringByAppendingPathComponent(folder, *relative);
            if (std::optional<std::string> identifier = usableIdentifierOfBundle(path))
                out.push_back({std::move(*identifier), std::string(what) + " " + path});
        } else if (walk->level() >= depth) {
            walk->skipDescendants();
        }
    }
}

/// "x.plist" -> "x" for the extensions of files named after an identifier;
/// any other last part may be part of the identifier ("com.vendor.App").
std::string withoutFileExtension(std::string_view name) {
    static const std::vector<std::string> kFileExtensions{"plist", "savedstate", "binarycookies", "log", "lockfile"};
    const std::string extension = lowercased(kq::pathExtension(name));
    const bool isFile = std::find(kFileExtensions.begin(), kFileExtensions.end(), extension) != kFileExtensions.end();
    return isFile ? kq::stringByDeletingPathExtension(name) : std::string(name);
}

/// The name without "group." and, for a file, its extension: "group.com.vendor" -> "com.vendor".
std::vector<std::string> nameVariants(std::string_view name) {
    std::vector<std::string> variants{std::string(name)};
    if (lowercased(name).starts_with("group.")) variants.emplace_back(name.substr(6));
    const std::size_t count = variants.size();
    for (std::size_t i = 0; i < count; ++i) {
        std::string bare = withoutFileExtension(variants[i]);
        if (bare != variants[i]) variants.push_back(std::move(bare));
    }
    return variants;
}

}  // namespace

bool KQUIsUsableBundleIdentifier(std::string_view identifier) {
    const std::size_t dot = identifier.find('.');
    return dot != std::string_view::npos && dot > 0 && identifier.back() != '.' &&
           identifier.find_first_of(" \t\n/") == std::string_view::npos;
}

std::string KQUApplicationIdentifierForLeftoverName(std::string_view name) {
    if (lowercased(name).starts_with("group.")) name.remove_prefix(6);
    const std::string bare = withoutFileExtension(name);
    // Not named like an identifier ("Editor-2024-05-01-120000.ips"): the program's name.
    if (std::count(bare.begin(), bare.end(), '.') < 2) {
        const std::size_t cut = bare.find_first_of("-_");
        return cut < bare.find('.') ? bare.substr(0, cut) : bare;
    }
    std::size_t end = 0;
    for (int dots = 0; dots < 3; ++dots) {
        end = name.find('.', dots == 0 ? 0 : end + 1);
        // Three parts: the identifier itself, or one with a file's extension.
        if (end == std::string_view::npos) return bare;
    }
    return std::string(name.substr(0, end));
}

std::string KQUApplicationIdentifierForLeftover(const std::string& path) {
    if (std::optional<std::string> owner = KQULeftoversProtection::containerIdentifier(path)) return *owner;
    static const std::vector<std::string> kBundleExtensions{"app", "kext", "plugin", "bundle", "prefpane",
                                                            "systemextension", "driver", "saver"};
    const std::string name = kq::lastPathComponent(path);
    const std::string extension = lowercased(kq::pathExtension(name));
    if (std::find(kBundleExtensions.begin(), kBundleExtensions.end(), extension) != kBundleExtensions.end())
        if (std::optional<std::string> identifier = usableIdentifierOfBundle(path)) return *identifier;
    return KQUApplicationIdentifierForLeftoverName(name);
}

KQULeftoversProtection::KQULeftoversProtection(const std::vector<std::string>& applications,
                                               std::vector<VendorNames> vendorNames)
    : vendorNames_(std::move(vendorNames)) {
    for (const std::string& identifier : applications) installed_.push_back({identifier, "application"});
    applicationCount_ = installed_.size();
    for (InstalledSoftware& software : otherInstalledSoftware()) installed_.push_back(std::move(software));
}

std::vector<KQULeftoversProtection::VendorNames> KQULeftoversProtection::vendorNamesInKnowledgeBase(
    const kq::Array& document) {
    std::vector<VendorNames> result;
    for (const kq::Value& element : document) {
        const kq::Dictionary* entry = element.asDictionary();
        const kq::Array* vendors = entry ? entry->arrayValueForKey("VendorWideNames") : nullptr;
        if (!vendors) continue;
        for (const kq::Value& vendorValue : *vendors) {
            const kq::Dictionary* vendor = vendorValue.asDictionary();
            const std::string* name = vendor ? vendor->stringValueForKey("Vendor") : nullptr;
            const kq::Array* patterns = vendor ? vendor->arrayValueForKey("Patterns") : nullptr;
            if (!name || !KQUIsUsableBundleIdentifier(*name) || !patterns) {
                kq::log("KQULeftoversScanner: ignoring a VendorWideNames item without a usable \"Vendor\" or "
                        "\"Patterns\"");
                continue;
            }
            VendorNames names{lowercased(*name), {}};
            for (const kq::Value& pattern : *patterns)
                if (const std::string* text = pattern.asString(); text && !text->empty())
                    names.patterns.push_back(lowercased(*text));
            result.push_back(std::move(names));
        }
    }
    return result;
}

std::vector<KQULeftoversProtection::InstalledSoftware> KQULeftoversProtection::otherInstalledSoftware() {
    const kq::FileSystemLayout& layout = *kq::FileSystemLayout::current();
    std::vector<InstalledSoftware> found;
    const unsigned domains = kq::UserDomainMask | kq::LocalDomainMask;
    for (const std::string& folder : layout.pathsForDirectory(kq::SearchPathDirectory::PreferencePanes, domains))
        addBundlesIn(folder, "prefpane", 1, "preference pane", found);
    for (const std::string& folder : layout.pathsForDirectory(kq::SearchPathDirectory::ApplicationSupport, domains))
        addBundlesIn(folder, "app", kApplicationSupportDepth, "application", found);
    return found;
}

std::optional<std::string> KQULeftoversProtection::containerIdentifier(const std::string& path) {
    const std::optional<kq::Dictionary> metadata =
        kq::PropertyList::readDictionaryFile(kq::stringByAppendingPathComponent(path, kContainerMetadata));
    if (!metadata) return std::nullopt;
    const std::string* identifier = metadata->stringValueForKey("MCMMetadataIdentifier");
    if (!identifier || identifier->empty()) return std::nullopt;
    return *identifier;
}

std::optional<std::string> KQULeftoversProtection::reasonToKeep(const std::string& path) const {
    if (std::optional<std::string> reason = keptByLaunchProgram(path)) return reason;
    const std::string name = kq::lastPathComponent(path);
    // A container answers for itself: its metadata, not its folder name, says whose it is.
    if (std::optional<std::string> owner = containerIdentifier(path)) {
        if (std::optional<std::string> reason = keptByName(*owner, true))
            return "its container metadata names " + *owner + ", " + *reason;
        if (std::optional<std::string> reason = keptAsVendorWide(*owner))
            return "its container metadata names " + *owner + ", " + *reason;
        return std::nullopt;
    }
    const std::string lower = lowercased(name);
    constexpr std::string_view kHomebrewService = "homebrew.mxcl.";
    if (lower.starts_with(kHomebrewService)) {
        std::string formula = name.substr(kHomebrewService.size());
        if (lowercased(kq::pathExtension(formula)) == "plist") formula = kq::stringByDeletingPathExtension(formula);
        const kq::FileSystemLayout& layout = *kq::FileSystemLayout::current();
        for (const char* cellar : {"/usr/local/Cellar/", "/opt/homebrew/Cellar/"}) {
            const std::string installed = layout.resolve(cellar + formula);
            if (!formula.empty() && formula.find('/') == std::string::npos &&
                kq::FileManager::defaultManager().fileExistsAtPath(installed))
                return "the Homebrew formula " + formula + " is installed (" + std::string(cellar) + formula + ")";
        }
    }
    if (std::optional<std::string> reason = keptByName(name, false)) return reason;
    return keptAsVendorWide(name);
}

std::optional<std::string> KQULeftoversProtection::keptByLaunchProgram(const std::string& path) const {
    const std::string folder = kq::lastPathComponent(kq::stringByDeletingLastPathComponent(path));
    if (folder != "LaunchAgents" && folder != "LaunchDaemons") return std::nullopt;
    const std::optional<kq::Dictionary> job = kq::PropertyList::readDictionaryFile(path);
    if (!job) return std::nullopt;
    const std::string* program = job->stringValueForKey("Program");
    if (!program)
        if (const kq::Array* arguments = job->arrayValueForKey("ProgramArguments"); arguments && !arguments->empty())
            program = arguments->front().asString();
    if (!program || program->empty() || program->front() != '/') return std::nullopt;
    const kq::FileSystemLayout& layout = *kq::FileSystemLayout::current();
    // Lexically resolved, so that "/../.." cannot reach outside the inspected tree.
    const std::string resolved = kq::stringByStandardizingPath(layout.resolve(*program));
    if (!kq::isPathInsideFolder(resolved, layout.root()) ||
        !kq::FileManager::defaultManager().fileExistsAtPath(resolved))
        return std::nullopt;
    return "its program " + *program + " is installed";
}

std::optional<std::string> KQULeftoversProtection::keptByName(std::string_view name, bool includeApplications) const {
    std::string lower = lowercased(name);
    if (lower.starts_with("group.")) lower.erase(0, 6);  // group containers carry the identifier after it
    for (std::size_t i = includeApplications ? 0 : applicationCount_; i < installed_.size(); ++i)
        if (lower.starts_with(lowercased(installed_[i].identifier)))
            return "it belongs to the installed " + installed_[i].description + " (" + installed_[i].identifier + ")";
    return std::nullopt;
}

std::optional<std::string> KQULeftoversProtection::keptAsVendorWide(std::string_view name) const {
    const std::vector<std::string> variants = nameVariants(lowercased(name));
    for (const InstalledSoftware& software : installed_) {
        const std::string identifier = lowercased(software.identifier);
        for (const std::string& variant : variants)
            if (KQUIsUsableBundleIdentifier(variant) && identifier.size() > variant.size() &&
                identifier.starts_with(variant) && identifier[variant.size()] == '.')
                return "vendor-wide name of the installed " + software.identifier;
        for (const VendorNames& vendor : vendorNames_) {
            if (!identifier.starts_with(vendor.vendor + ".")) continue;
            for (const std::string& pattern : vendor.patterns)
                if (std::any_of(variants.begin(), variants.end(),
                                [&](const std::string& v) { return kq::matchesLikePatternFolded(v, pattern, kCaseInsensitive); }))
                    return "vendor-wide name (" + pattern + ") of " + vendor.vendor + ", installed as " +
                           software.identifier;
        }
    }
    return std::nullopt;
}
