// Turning the leftovers knowledge base into files scanners and predicates.
#include <algorithm>
#include <cctype>
#include <unordered_map>

#include "KQFoundation/KQULeftoversScanner.h"
#include "KQFoundation/NSString+LikePredicateWrapping.h"
#include "KQFoundation/Foundation/Bundle.h"
#include "KQFoundation/Foundation/Exceptions.h"
#include "KQFoundation/System/FileSystemLayout.h"
#include "KQFoundation/Foundation/PathUtilities.h"
#include "KQFoundation/Foundation/PropertyList.h"
#include "KQFoundation/System/FileManager.h"

namespace {

constexpr std::string_view kTypeKey = "Type";

/// The library's own knowledge base, read once per process. A resource that
/// is there but unreadable gives no entries; a missing one is a broken
/// installation and raises every time it is asked for.
const kq::Array& builtInKnowledgeBase() {
    struct Resource {
        bool present = false;
        kq::Array entries;
    };
    static const Resource resource = [] {
        Resource r;
        const std::optional<kq::Data> bytes =
            kq::Bundle::libraryBundle()->dataForResource("LeftoversScanners", "plist");
        if (!bytes) return r;
        r.present = true;
        if (std::optional<kq::Value> document = kq::PropertyList::read(*bytes))
            if (kq::Array* entries = document->asArray()) r.entries = std::move(*entries);
        return r;
    }();
    if (!resource.present)
        throw kq::InvalidArgumentException("LeftoversScanners.plist is missing from the library's resources");
    return resource.entries;
}

const std::string& requiredFormat(const kq::Dictionary& params) {
    const std::string* format = params.stringValueForKey("Format");
    if (!format) throw kq::InvalidArgumentException("filter without a \"Format\" string");
    return *format;
}

bool containsIgnoringASCIICase(std::string_view text, std::string_view needle) {
    return std::search(text.begin(), text.end(), needle.begin(), needle.end(), [](char a, char b) {
               return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
           }) != text.end();
}

/// A source folder with "*" components ("/private/var/folders/*/*/C"): the
/// folders that exist there, each "*" standing for any one folder (not a
/// link, so the expansion stays inside the tree it started in). Other paths
/// are returned as they are.
std::vector<std::string> expandWildcardFolders(const std::string& path) {
    if (path.find('*') == std::string::npos) return {path};
    const kq::FileManager& fileManager = kq::FileManager::defaultManager();
    std::vector<std::string> prefixes{path.front() == '/' ? "/" : ""};
    for (const std::string& component : kq::pathComponents(path)) {
        if (component == "/") continue;
        std::vector<std::string> next;
        for (const std::string& prefix : prefixes) {
            if (component != "*") {
                next.push_back(kq::stringByAppendingPathComponent(prefix, component));
                continue;
            }
            for (const std::string& name : fileManager.contentsOfDirectoryAtPath(prefix)) {
                std::string child = kq::stringByAppendingPathComponent(prefix, name);
                const auto attributes = fileManager.attributesOfItemAtPath(child);
                if (attributes && attributes->type == kq::FileType::Directory) next.push_back(std::move(child));
            }
        }
        prefixes = std::move(next);
    }
    return prefixes;
}

std::vector<kq::URL> sourceDirectoryURLs(const kq::Dictionary& entry) {
    std::vector<kq::URL> urls;
    const kq::Array* paths = entry.arrayValueForKey("SourceDirectories");
    if (!paths) return urls;
    const std::shared_ptr<const kq::FileSystemLayout> layout = kq::FileSystemLayout::current();
    for (const kq::Value& path : *paths)
        if (const std::string* text = path.asString())
            for (const std::string& folder : expandWildcardFolders(layout->resolveResourcePath(*text)))
                urls.push_back(kq::URL::fileURLWithPath(folder));
    return urls;
}

/// Judges a bundle as if it were named by the identifier in its Info.plist:
/// kernel extensions and plug-ins carry product names ("VBoxDrv.kext") that
/// tie them to nothing, but their identifiers follow their vendor's. Items
/// without an identifier never pass.
class BundleIdentifierAsNamePredicate final : public kq::Predicate {
public:
    explicit BundleIdentifierAsNamePredicate(kq::PredicatePtr inner) : inner_(std::move(inner)) {}

    bool evaluateWithObject(const kq::Value& object) const override { return inner_->evaluateWithObject(object); }
    bool evaluateWithObject(const kq::Value& object, const kq::Dictionary& variables) const override {
        return inner_->evaluateWithObject(object, variables);
    }
    bool evaluateWithObject(const kq::URL& object) const override {
        const std::shared_ptr<kq::Bundle> bundle = kq::Bundle::bundleWithURL(object);
        const std::optional<std::string> identifier = bundle ? bundle->bundleIdentifier() : std::nullopt;
        if (!identifier || identifier->empty() || identifier->find('/') != std::string::npos) return false;
        const std::string folder = kq::stringByDeletingLastPathComponent(object.path());
        return inner_->evaluateWithObject(kq::URL::fileURLWithPath(kq::stringByAppendingPathComponent(folder, *identifier)));
    }
    kq::PredicatePtr predicateWithSubstitutionVariables(const kq::Dictionary& variables) const override {
        return std::make_shared<BundleIdentifierAsNamePredicate>(inner_->predicateWithSubstitutionVariables(variables));
    }
    std::string predicateFormat() const override { return inner_->predicateFormat(); }

private:
    kq::PredicatePtr inner_;
};

/// The AND of an entry's filters, judged by bundle identifier when the entry
/// asks for it ("MatchBundleIdentifier").
kq::PredicatePtr entryPredicate(const kq::Dictionary& entry, std::vector<kq::PredicatePtr> filters) {
    kq::PredicatePtr predicate = kq::Predicate::andPredicateWithSubpredicates(std::move(filters));
    if (!entry.boolValueForKey("MatchBundleIdentifier", false)) return predicate;
    return std::make_shared<BundleIdentifierAsNamePredicate>(std::move(predicate));
}

/// The AND of `format` applied to each value, escaped for a plain
/// case-insensitive LIKE as identifiers are.
kq::PredicatePtr compoundOverValues(const kq::Dictionary& params, const std::vector<std::string>& values) {
    const std::string& format = requiredFormat(params);
    const bool escapeForLike = containsIgnoringASCIICase(format, "LIKE[C] %@");
    const kq::Dictionary* variables = params.dictioniaryValueForKey("Variables");
    std::vector<kq::PredicatePtr> predicates;
    for (const std::string& value : values) {
        kq::Value argument(escapeForLike ? kq::stringWrappedForLikePredicate(value) : value);
        kq::PredicatePtr predicate = kq::Predicate::predicateWithFormat(format, {std::move(argument)});
        if (predicate && variables) predicate = predicate->predicateWithSubstitutionVariables(*variables);
        if (predicate) predicates.push_back(std::move(predicate));
    }
    return kq::Predicate::andPredicateWithSubpredicates(std::move(predicates));
}

}  // namespace

const std::vector<std::unique_ptr<KQUFilesScanner>>& KQULeftoversScanner::scanners() {
    if (scanners_) return *scanners_;

    const kq::Array& document = knowledgeBase_ ? *knowledgeBase_ : builtInKnowledgeBase();
    std::vector<std::unique_ptr<KQUFilesScanner>> built;
    // Keyed by value: entries that share a filter share its predicate, so the
    // costly per-identifier compound is built once for the whole document.
    std::unordered_map<kq::Dictionary, kq::PredicatePtr> filterCache;

    for (const kq::Value& entryValue : document) {
        const kq::Dictionary* entry = entryValue.asDictionary();
        if (!entry) continue;
        const std::string* type = entry->stringValueForKey(kTypeKey);
        if (!type || type->empty()) continue;

        auto scanner = std::make_unique<KQUFilesScanner>(sourceDirectoryURLs(*entry));
        std::vector<kq::PredicatePtr> predicates;
        if (const kq::Array* filters = entry->arrayValueForKey("Filters")) {
            for (const kq::Value& filterValue : *filters) {
                const kq::Dictionary* filter = filterValue.asDictionary();
                if (!filter) continue;
                if (auto cached = filterCache.find(*filter); cached != filterCache.end()) {
                    predicates.push_back(cached->second);
                    continue;
                }
                const std::string* filterType = filter->stringValueForKey(kTypeKey);
                const kq::Dictionary* params = filter->dictioniaryValueForKey("Params");
                kq::PredicatePtr predicate =
                    filterWithType(filterType ? *filterType : std::string(), params ? *params : kq::Dictionary());
                if (!predicate) continue;
                filterCache.emplace(*filter, predicate);
                predicates.push_back(std::move(predicate));
            }
        }
        scanner->setPredicate(entryPredicate(*entry, std::move(predicates)));
        scanner->setDelegate(this);
        scanner->userInfo().setObject(kTypeKey, kq::Value(*type));
        scanner->setSkipSubdirectoryDescendants(entry->boolValueForKey("SkipSubdirectoryDescendants", false));
        built.push_back(std::move(scanner));
    }
    scanners_ = std::move(built);
    return *scanners_;
}

kq::PredicatePtr KQULeftoversScanner::filterWithType(std::string_view type, const kq::Dictionary& params) {
    using Builder = kq::PredicatePtr (KQULeftoversScanner::*)(const kq::Dictionary&);
    static const std::unordered_map<std::string_view, Builder> builders{
        {"Predicate", &KQULeftoversScanner::predicateFilterWithParams},
        {"InstalledApplicationIdentifiers", &KQULeftoversScanner::installedApplicationIdentifiersFilterWithParams},
        {"InstalledApplicationNames", &KQULeftoversScanner::installedApplicationNamesFilterWithParams},
        {"InstalledApplicationVendors", &KQULeftoversScanner::installedApplicationVendorsFilterWithParams},
    };
    const auto builder = builders.find(type);
    if (builder == builders.end()) return nullptr;
    return (this->*(builder->second))(params);
}

kq::PredicatePtr KQULeftoversScanner::predicateFilterWithParams(const kq::Dictionary& params) {
    kq::PredicatePtr predicate = kq::Predicate::predicateWithFormat(requiredFormat(params));
    if (const kq::Dictionary* variables = params.dictioniaryValueForKey("Variables"); variables && predicate)
        predicate = predicate->predicateWithSubstitutionVariables(*variables);
    return predicate;
}

kq::PredicatePtr KQULeftoversScanner::installedApplicationIdentifiersFilterWithParams(const kq::Dictionary& params) {
    const std::string& format = requiredFormat(params);
    // Only a plain case-insensitive LIKE takes the identifier as a pattern;
    // "LIKE[cd] %@" is left as written.
    const bool escapeForLike = containsIgnoringASCIICase(format, "LIKE[C] %@");
    const kq::Dictionary* variables = params.dictioniaryValueForKey("Variables");

    std::vector<kq::PredicatePtr> predicates;
    for (const std::string& identifier : installedApplicationIdentifiers()) {
        kq::Value argument(escapeForLike ? kq::stringWrappedForLikePredicate(identifier) : identifier);
        kq::PredicatePtr predicate = kq::Predicate::predicateWithFormat(format, {std::move(argument)});
        if (predicate && variables) predicate = predicate->predicateWithSubstitutionVariables(*variables);
        if (predicate) predicates.push_back(std::move(predicate));
    }
    return kq::Predicate::andPredicateWithSubpredicates(std::move(predicates));
}

kq::PredicatePtr KQULeftoversScanner::installedApplicationNamesFilterWithParams(const kq::Dictionary& params) {
    return compoundOverValues(params, installedApplicationNames());
}

kq::PredicatePtr KQULeftoversScanner::installedApplicationVendorsFilterWithParams(const kq::Dictionary& params) {
    return compoundOverValues(params, installedApplicationVendors());
}
