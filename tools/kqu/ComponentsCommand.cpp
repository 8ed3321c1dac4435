// kqu components: the files and folders that belong to one application.
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

#include "KQFoundation/Foundation/PathUtilities.h"
#include "Command.h"
#include "JsonOutput.h"
#include "KQFoundation/KQUApplicationComponentsScanner.h"
#include "KQFoundation/NSFileManager+KQFoundation.h"

namespace {

struct ComponentsOptions {
    kqu::LayoutOptions layout;
    std::string appPath;
    std::string bundleID;
    std::string name;
    bool withApp = false;
    bool downloads = false;
    bool json = false;
};

std::shared_ptr<KQUApplicationComponentsScannerConfiguration> configurationFor(const ComponentsOptions& options) {
    const bool byPath = !options.appPath.empty();
    if (byPath == !options.name.empty())
        throw kqu::CommandFailure{kqu::kExitUsage, "give either APP_PATH or --name (with --bundle-id if known)"};
    if (byPath && !options.bundleID.empty())
        throw kqu::CommandFailure{kqu::kExitUsage, "--bundle-id goes with --name, not with APP_PATH"};
    if (!byPath) {
        std::optional<std::string> bundleID;
        if (!options.bundleID.empty()) bundleID = options.bundleID;
        return KQUApplicationComponentsScannerConfiguration::configurationWithBundleID(bundleID, options.name);
    }
    std::error_code error;
    if (!std::filesystem::is_directory(options.appPath, error))
        throw kqu::CommandFailure{kqu::kExitInputFailure, "application not found: " + options.appPath};
    return KQUApplicationComponentsScannerConfiguration::configurationWithAppPath(
        kq::absolutePath(options.appPath));
}

int runComponents(const ComponentsOptions& options) {
    auto configuration = configurationFor(options);
    kqu::warnIfNoMacTree(*options.layout.apply());
    configuration->setShouldAddAppInComponent(options.withApp);
    configuration->setShouldScanDownloadsFolder(options.downloads);
    auto scanner = KQUApplicationComponentsScanner::create(configuration);
    if (!scanner) throw kqu::CommandFailure{kqu::kExitUsage, "the application needs a name"};

    const std::vector<std::string> paths = scanner->scanForComponentPaths();
    if (options.json) {
        kq::Array components(paths.begin(), paths.end());
        kqu::printJSON(kq::Dictionary{{"components", std::move(components)}});
    } else {
        const kq::FileManager& fileManager = kq::FileManager::defaultManager();
        for (const std::string& path : paths)
            std::printf("%s  %s\n", kqu::sizeText(fileManager.sizeOfItemAtPath(path), 10).c_str(), path.c_str());
    }
    return kqu::kExitSuccess;
}

const kqu::CommandRegistration registration{kqu::Command{
    "components",
    "List the files and folders that belong to an application (size and path per line)",
    [](CLI::App& app) -> std::function<int()> {
        auto options = std::make_shared<ComponentsOptions>();
        options->layout.addTo(app);
        app.add_option("APP_PATH", options->appPath, "The application bundle (.app)");
        app.add_option("--bundle-id", options->bundleID, "Bundle identifier, with --name instead of APP_PATH");
        app.add_option("--name", options->name, "Application name without .app, instead of APP_PATH");
        app.add_flag("--with-app", options->withApp, "Also list the bundle found in the Applications folders");
        app.add_flag("--downloads", options->downloads, "Also list its disk images and installers in Downloads");
        app.add_flag("--json", options->json, "One JSON document {\"components\":[...]} on stdout");
        return [options] { return runComponents(*options); };
    }}};

}  // namespace
