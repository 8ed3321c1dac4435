#include "KQFoundation/NSBundle+KQFoundation.h"

#include "KQFoundation/Foundation/Exceptions.h"

const char* const kKQBundleShortVersionStringKey = "CFBundleShortVersionString";

namespace kq {
namespace {

std::optional<std::string> infoString(const Bundle& bundle, std::string_view key) {
    const Value* value = bundle.objectForInfoDictionaryKey(key);
    if (!value || !value->isString()) return std::nullopt;
    return *value->asString();
}

}  // namespace

std::optional<std::string> Bundle::shortVersion() const { return infoString(*this, kKQBundleShortVersionStringKey); }

std::optional<std::string> Bundle::bundleVersion() const { return infoString(*this, kBundleVersionKey); }

std::optional<std::string> Bundle::humanReadableCopyright() const {
    return infoString(*this, "NSHumanReadableCopyright");
}

std::string Bundle::preferredLocalization() const {
    auto preferred = preferredLocalizations();
    if (preferred.empty()) {
        throw RangeException("preferredLocalization: the bundle at \"" + bundlePath() + "\" has no localizations");
    }
    // Old bundles name the English folder "English"; callers compare language codes.
    if (preferred.front() == "English") return "en";
    return preferred.front();
}

std::string Bundle::preferredApplicationLocalization() {
    auto main = mainBundle();
    if (!main) throw RangeException("preferredApplicationLocalization: there is no main bundle");
    return main->preferredLocalization();
}

}  // namespace kq
