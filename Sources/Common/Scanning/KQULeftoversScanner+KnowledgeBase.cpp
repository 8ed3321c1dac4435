// Turning the leftovers knowledge base into files scanners and predicates.
#include <algorithm>
#include <cctype>
#include <unordered_map>

#include "KQFoundation/KQULeftoversScanner.h"
#include "KQFoundation/NSString+LikePredicateWrapping.h"
#include "KQFoundation/Foundation/Bundle.h"
#include "KQFoundation/Foundation/Exceptions.h"
#include "KQFoundation/Foundation/Log.h"
#include "KQFoundation/Foundation/PathUtilities.h"
#include "KQFoundation/System/FileManager.h"
#include "KQFoundation/System/FileSystemLayout.h"
#include "KQFoundation/Foundation/PropertyList.h"

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

bool isInsideLayout(const kq::FileSystemLayout& layout, std::string_view path) {
    return kq::isPathInsideFolder(path, layout.root()) || kq::isPathInsideFolder(path, layout.home());
}

/// Whether a symbolic link below the root (or the home) leads the folder
/// outside them, followed the way the walker will (an absolute target is a
/// path of this machine). A copied or mounted Mac can hold links to
/// "/Volumes/..." or "/private/..." that would be the host's own folders here.
/// Returns where such a link leads.
std::optional<std::string> linkTargetOutsideLayout(const kq::FileSystemLayout& layout, const std::string& folder) {
    const kq::FileManager& files = kq::FileManager::defaultManager();
    std::string current;
    std::vector<std::string> pending;  // components still to follow, the next one last
    const auto restartAt = [&](const std::string& path) {
        // The root and the home are taken as given; only what lies below them is checked.
        const bool inHome =
            kq::isPathInsideFolder(path, layout.home()) &&
            (!kq::isPathInsideFolder(path, layout.root()) || layout.home().size() > layout.root().size());
        current = inHome ? layout.home() : layout.root();
        const std::string rest = path.size() > current.size() ? path.substr(current.size()) : std::string();
        pending.clear();
        for (const std::string& part : kq::pathComponents(rest))
            if (part != "/") pending.insert(pending.begin(), part);
    };
    restartAt(folder);
    for (int links = 0; !pending.empty();) {
        const std::string next = kq::stringByAppendingPathComponent(current, pending.back());
        pending.pop_back();
        const std::optional<kq::FileAttributes> attributes = files.attributesOfItemAtPath(next);
        if (!attributes) return std::nullopt;  // nothing there to walk
        if (attributes->type != kq::FileType::SymbolicLink) {
            current = next;
            continue;
        }
        const std::optional<std::string> target = files.destinationOfSymbolicLinkAtPath(next);
        if (!target || ++links > 40) return next;  // unreadable or a loop: do not go there
        const bool absolute = !target->empty() && target->front() == '/';
        std::string resolved = absolute ? *target : kq::stringByAppendingPathComponent(current, *target);
        for (auto part = pending.rbegin(); part != pending.rend(); ++part)
            resolved = kq::stringByAppendingPathComponent(resolved, *part);
        resolved = kq::stringByStandardizingPath(resolved);
        if (!isInsideLayout(layout, resolved)) return resolved;
        restartAt(resolved);
    }
    return std::nullopt;
}

/// A folder of the knowledge base as a path on this machine, or nullopt (with
/// a log line) when it is relative or its ".." reach outside the inspected
/// tree: a knowledge base must never list the host's own files.
std::optional<std::string> resolvedSourceDirectory(const kq::FileSystemLayout& layout, const std::string& written) {
    const bool fromHome = written == "~" || written.rfind("~/", 0) == 0;
    if (!fromHome && (written.empty() || written.front() != '/')) {
        kq::log("KQULeftoversScanner: skipping the source folder \"%@\": not absolute and not in \"~/\"", written);
        return std::nullopt;
    }
    std::string resolved = kq::stringByStandardizingPath(layout.resolveResourcePath(written));
    if (!isInsideLayout(layout, resolved)) {
        kq::log("KQULeftoversScanner: skipping the source folder \"%@\": it resolves to %@, outside %@", written,
                resolved, layout.root());
        return std::nullopt;
    }
    return resolved;
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

/// The entry's folders: resolved path and the text the knowledge base gives.
std::vector<std::pair<std::string, std::string>> sourceDirectories(const kq::Dictionary& entry) {
    std::vector<std::pair<std::string, std::string>> folders;
    const kq::Array* paths = entry.arrayValueForKey("SourceDirectories");
    if (!paths) return folders;
    const std::shared_ptr<const kq::FileSystemLayout> layout = kq::FileSystemLayout::current();
    for (const kq::Value& path : *paths)
        if (const std::string* text = path.asString())
            if (std::optional<std::string> resolved = resolvedSourceDirectory(*layout, *text))
                for (std::string& folder : expandWildcardFolders(*resolved)) {
                    // Every folder, written out or found by a "*", must not lead out of the tree.
                    if (std::optional<std::string> outside = linkTargetOutsideLayout(*layout, folder)) {
                        kq::log("KQULeftoversScanner: skipping the source folder \"%@\" (%@): a symbolic link "
                                "leads to %@, outside %@",
                                *text, folder, *outside, layout->root());
                        continue;
                    }
                    folders.emplace_back(std::move(folder), *text);
                }
    return folders;
}

/// How a filter reads in a reason; nullopt for filters that are dropped.
std::optional<std::string> filterDescription(std::string_view type, const kq::Dictionary& params) {
    const std::string* format = params.stringValueForKey("Format");
    if (!format) return std::nullopt;
    static const std::vector<std::pair<std::string_view, std::string_view>> kArguments{
        {"InstalledApplicationIdentifiers", "<each installed identifier>"},
        {"InstalledApplicationNames", "<each installed application name>"},
        {"InstalledApplicationVendors", "<each installed vendor>"}};
    if (type == "Predicate") return *format;
    for (const auto& [filterType, argument] : kArguments) {
        if (type != filterType) continue;
        std::string text = *format;
        if (const std::size_t at = text.find("%@"); at != std::string::npos) text.replace(at, 2, argument);
        return text;
    }
    return std::nullopt;
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

/// The AND of `format` applied to each value. Only a plain case-insensitive
/// LIKE takes the value as a pattern, so it is escaped there; "LIKE[cd] %@" is
/// left as written.
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

    entries_.clear();
    vendorNames_ = KQULeftoversProtection::vendorNamesInKnowledgeBase(document);
    std::size_t position = 0;
    for (const kq::Value& entryValue : document) {
        const std::size_t index = position++;
        const kq::Dictionary* entry = entryValue.asDictionary();
        if (!entry) continue;
        const std::string* type = entry->stringValueForKey(kTypeKey);
        if (!type || type->empty()) continue;

        EntryInfo info;
        info.reason.entryIndex = index;
        info.reason.type = *type;
        info.folders = sourceDirectories(*entry);
        std::vector<kq::URL> urls;
        for (const auto& folder : info.folders) urls.push_back(kq::URL::fileURLWithPath(folder.first));
        auto scanner = std::make_unique<KQUFilesScanner>(std::move(urls));
        std::vector<kq::PredicatePtr> predicates;
        if (const kq::Array* filters = entry->arrayValueForKey("Filters")) {
            for (const kq::Value& filterValue : *filters) {
                const kq::Dictionary* filter = filterValue.asDictionary();
                if (!filter) continue;
                const std::string* filterType = filter->stringValueForKey(kTypeKey);
                const kq::Dictionary* params = filter->dictioniaryValueForKey("Params");
                const std::string typeText = filterType ? *filterType : std::string();
                const kq::Dictionary noParams;
                if (auto cached = filterCache.find(*filter); cached != filterCache.end()) {
                    predicates.push_back(cached->second);
                } else {
                    kq::PredicatePtr predicate = filterWithType(typeText, params ? *params : noParams);
                    if (!predicate) continue;
                    filterCache.emplace(*filter, predicate);
                    predicates.push_back(std::move(predicate));
                }
                if (std::optional<std::string> text = filterDescription(typeText, params ? *params : noParams))
                    info.reason.filters.push_back(std::move(*text));
            }
        }
        scanner->setPredicate(entryPredicate(*entry, std::move(predicates)));
        scanner->setDelegate(this);
        scanner->userInfo().setObject(kTypeKey, kq::Value(*type));
        scanner->setSkipSubdirectoryDescendants(entry->boolValueForKey("SkipSubdirectoryDescendants", false));
        built.push_back(std::move(scanner));
        entries_.push_back(std::move(info));
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
    return compoundOverValues(params, installedApplicationIdentifiers());
}

kq::PredicatePtr KQULeftoversScanner::installedApplicationNamesFilterWithParams(const kq::Dictionary& params) {
    return compoundOverValues(params, installedApplicationNames());
}

kq::PredicatePtr KQULeftoversScanner::installedApplicationVendorsFilterWithParams(const kq::Dictionary& params) {
    return compoundOverValues(params, installedApplicationVendors());
}
