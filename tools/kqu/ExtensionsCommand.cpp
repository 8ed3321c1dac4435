// kqu extensions: the Safari, Chrome (and other Chromium browsers') and
// Firefox extensions of the user, one line each or one JSON document.
#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "Command.h"
#include "JsonOutput.h"
#include "KQFoundation/KQUBrowserExtensionsScanner.h"

namespace {

struct ExtensionsOptions {
    kqu::LayoutOptions layout;
    std::vector<std::string> browsers;
    bool googleChromeOnly = false;
    bool json = false;
};

/// The browsers asked for, in the scanner's own order (Safari, Chrome, Firefox).
std::vector<std::uint64_t> typesFor(const std::vector<std::string>& browsers) {
    const std::vector<std::pair<std::string, std::uint64_t>> order = {{"safari", KQUBrowserExtensionTypeSafari},
                                                                      {"chrome", KQUBrowserExtensionTypeChrome},
                                                                      {"firefox", KQUBrowserExtensionTypeFirefox}};
    std::vector<std::uint64_t> types;
    for (const auto& [name, type] : order)
        if (browsers.empty() || std::find(browsers.begin(), browsers.end(), name) != browsers.end())
            types.push_back(type);
    return types;
}

const char* originText(std::uint64_t sourceType) {
    switch (sourceType) {
        case KQUBrowserExtensionSourceKindDefault: return "default";
        case KQUBrowserExtensionSourceKindStore: return "store";
        case KQUBrowserExtensionSourceKindApplicationWide: return "application-wide";
        default: return "unknown";
    }
}

std::size_t characterCount(const std::string& text) {
    std::size_t characters = 0;
    for (unsigned char c : text) characters += (c & 0xC0) != 0x80;
    return characters;
}

std::string padded(const std::string& text, std::size_t width) {
    const std::size_t characters = characterCount(text);
    return characters < width ? text + std::string(width - characters, ' ') : text;
}

kq::Dictionary jsonOf(const KQUBrowserExtension& extension) {
    const KQUBrowserExtentionPermissionsInfo& permissions = extension.permissionsInfo();
    kq::Array leftovers;
    if (extension.leftovers())
        for (const kq::URL& url : *extension.leftovers()) leftovers.push_back(url.path());
    kq::Value websites;  // null when the record has no list
    if (permissions.accessibleWebsites()) websites = *permissions.accessibleWebsites();
    return kq::Dictionary{
        {"type", kq::Value(extension.type())},
        {"browser", extension.browser()},
        {"name", extension.name()},
        {"path", extension.URL() ? kq::Value(extension.URL()->path()) : kq::Value()},
        {"sourceType", kq::Value(extension.sourceType())},
        {"size", kq::Value(extension.size())},
        {"leftovers", std::move(leftovers)},
        {"hasIcon", extension.icon() && !extension.icon()->empty()},
        {"permissions", kq::Dictionary{{"hasAccessToAllWebsites", permissions.hasAccessToAllWebsites()},
                                       {"accessibleWebsites", std::move(websites)},
                                       {"APIUsage", kq::Value(permissions.APIUsage())}}},
    };
}

void printLines(const std::vector<KQUBrowserExtension>& extensions) {
    std::size_t browserWidth = 0, nameWidth = 0, originWidth = 0;
    for (const KQUBrowserExtension& extension : extensions) {
        browserWidth = std::max(browserWidth, characterCount(extension.browser()));
        nameWidth = std::max(nameWidth, characterCount(extension.name()));
        originWidth = std::max(originWidth, characterCount(originText(extension.sourceType())));
    }
    for (const KQUBrowserExtension& extension : extensions) {
        std::printf("%s  %s  %s  %s  %s\n", padded(extension.browser(), browserWidth).c_str(),
                    padded(extension.name(), nameWidth).c_str(),
                    padded(originText(extension.sourceType()), originWidth).c_str(),
                    kqu::sizeText(extension.size(), 10).c_str(),
                    extension.URL() ? extension.URL()->path().c_str() : "");
    }
}

int runExtensions(const ExtensionsOptions& options) {
    options.layout.apply();
    KQUBrowserExtensionsScanner scanner;
    scanner.setIncludesOtherBrowsers(!options.googleChromeOnly);
    const std::vector<KQUBrowserExtension> extensions =
        scanner.scanBrowserExtensionsOfTypes(typesFor(options.browsers)).value_or(std::vector<KQUBrowserExtension>{});
    if (options.json) {
        kq::Array records;
        for (const KQUBrowserExtension& extension : extensions) records.push_back(jsonOf(extension));
        kqu::printJSON(kq::Dictionary{{"extensions", std::move(records)}});
    } else {
        printLines(extensions);
    }
    return kqu::kExitSuccess;
}

const kqu::CommandRegistration registration{kqu::Command{
    "extensions",
    "List the browser extensions of the user (browser, name, origin, size and path per line)",
    [](CLI::App& app) -> std::function<int()> {
        auto options = std::make_shared<ExtensionsOptions>();
        options->layout.addTo(app);
        app.add_option("--browser", options->browsers, "Only this browser (repeatable): safari, chrome or firefox")
            ->check(CLI::IsMember({"safari", "chrome", "firefox"}));
        app.add_flag("--google-chrome-only", options->googleChromeOnly,
                     "Chrome rows from Google Chrome alone, without the other Chromium browsers (and Firefox's "
                     "snap and flatpak folders)");
        app.add_flag("--json", options->json, "One JSON document {\"extensions\":[...]} on stdout");
        return [options] { return runExtensions(*options); };
    }}};

}  // namespace
