// kq::Bundle: which localizations the user gets, and localized strings.
#include <algorithm>
#include <cstdlib>

#include "KQFoundation/Foundation/Bundle.h"
#include "Foundation/BundleCache.h"
#include "Foundation/BundleStorage.h"

namespace kq {
namespace {

constexpr std::string_view kBaseLocalization = "Base";
constexpr std::string_view kDefaultTable = "Localizable";

/// Old bundles name their folders by language name instead of code.
struct LegacyLocalizationName {
    std::string_view code;
    std::string_view name;
};
constexpr LegacyLocalizationName kLegacyNames[] = {
    {"en", "English"}, {"de", "German"},   {"fr", "French"}, {"it", "Italian"},
    {"ja", "Japanese"}, {"es", "Spanish"}, {"nl", "Dutch"},
};

char lowerASCII(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

/// Case and "_" versus "-" do not tell localizations apart.
bool sameTag(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        char x = a[i] == '_' ? '-' : lowerASCII(a[i]);
        char y = b[i] == '_' ? '-' : lowerASCII(b[i]);
        if (x != y) return false;
    }
    return true;
}

void appendUnique(std::vector<std::string>& list, std::string_view item) {
    if (std::find(list.begin(), list.end(), item) == list.end()) list.emplace_back(item);
}

/// "de_DE.UTF-8@euro" -> "de-DE", "de"; "C" and "POSIX" -> nothing.
void appendLanguagesOfLocale(std::vector<std::string>& languages, std::string_view locale) {
    locale = locale.substr(0, locale.find_first_of(".@"));
    if (locale.empty() || locale == "C" || locale == "POSIX") return;
    std::string tag(locale);
    std::replace(tag.begin(), tag.end(), '_', '-');
    appendUnique(languages, tag);
    auto dash = tag.find('-');
    if (dash != std::string::npos && dash > 0) appendUnique(languages, tag.substr(0, dash));
}

/// Adds the bundle's localizations that the language tag (or legacy name) stands for.
void appendMatches(std::vector<std::string>& result, std::string_view tag,
                   const std::vector<std::string>& localizations) {
    std::vector<std::string_view> wanted{tag};
    for (const auto& legacy : kLegacyNames) {
        if (sameTag(tag, legacy.code)) wanted.push_back(legacy.name);
        if (sameTag(tag, legacy.name)) wanted.push_back(legacy.code);
    }
    for (auto want : wanted) {
        for (const auto& localization : localizations) {
            if (localization != kBaseLocalization && sameTag(localization, want)) {
                appendUnique(result, localization);
            }
        }
    }
}

}  // namespace

const std::vector<std::string>& Bundle::cachedLocalizations() const {
    std::call_once(cache_->localizationsOnce, [this] { cache_->localizations = storage_->localizationNames(); });
    return cache_->localizations;
}

std::vector<std::string> Bundle::localizations() const { return cachedLocalizations(); }

std::vector<std::string> Bundle::preferredLanguages() {
    std::vector<std::string> languages;
    if (const char* list = std::getenv("LANGUAGE")) {
        std::string_view rest = list;
        while (!rest.empty()) {
            auto colon = rest.find(':');
            appendLanguagesOfLocale(languages, rest.substr(0, colon));
            rest = colon == std::string_view::npos ? std::string_view() : rest.substr(colon + 1);
        }
    }
    // The first of these that is set decides the locale, as in the C library.
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(variable);
        if (value && *value) {
            appendLanguagesOfLocale(languages, value);
            break;
        }
    }
    return languages;
}

std::vector<std::string> Bundle::preferredLocalizations() const {
    const auto& available = cachedLocalizations();
    std::vector<std::string> result;
    if (available.empty()) return result;

    for (const auto& language : preferredLanguages()) appendMatches(result, language, available);
    const Value* region = objectForInfoDictionaryKey("CFBundleDevelopmentRegion");
    if (region && region->isString()) {
        std::vector<std::string> regionLanguages;
        appendLanguagesOfLocale(regionLanguages, *region->asString());
        for (const auto& language : regionLanguages) appendMatches(result, language, available);
    }
    appendMatches(result, "en", available);

    if (result.empty()) {
        // Nothing the user reads: any real language beats Base.
        auto other = std::find_if(available.begin(), available.end(),
                                  [](const std::string& l) { return l != kBaseLocalization; });
        result.push_back(other != available.end() ? *other : std::string(kBaseLocalization));
    }
    return result;
}

std::vector<std::string> Bundle::searchLocalizations() const {
    auto search = preferredLocalizations();
    const auto& available = cachedLocalizations();
    if (std::find(available.begin(), available.end(), kBaseLocalization) != available.end()) {
        appendUnique(search, kBaseLocalization);
    }
    return search;
}

const Dictionary* Bundle::stringsTable(const std::string& relativePath) const {
    std::lock_guard lock(cache_->tablesMutex);
    auto found = cache_->tables.find(relativePath);
    if (found == cache_->tables.end()) {
        std::optional<Dictionary> table;
        if (auto bytes = storage_->readResource(relativePath)) table = parseStringsFile(*bytes);
        found = cache_->tables.emplace(relativePath, std::move(table)).first;
    }
    return found->second ? &*found->second : nullptr;
}

std::string Bundle::localizedString(std::string_view key, std::string_view value, std::string_view table) const {
    std::string file = std::string(table.empty() ? kDefaultTable : table) + ".strings";
    auto lookUp = [&](const std::string& relativePath) -> const std::string* {
        const Dictionary* strings = stringsTable(relativePath);
        const Value* found = strings ? strings->objectForKey(key) : nullptr;
        return found ? found->asString() : nullptr;
    };
    for (const auto& localization : searchLocalizations()) {
        if (const std::string* text = lookUp(localization + ".lproj/" + file)) return *text;
    }
    if (const std::string* text = lookUp(file)) return *text;
    return std::string(value.empty() ? key : value);
}

}  // namespace kq
