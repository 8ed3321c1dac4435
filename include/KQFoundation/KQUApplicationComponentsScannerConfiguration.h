#pragma once
// KQUApplicationComponentsScannerConfiguration: what the components scanner
// looks for: an application's bundle identifier (optional) and name (without
// ".app"), and whether to add the bundle itself and installers in Downloads.
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "KQFoundation/Export.h"

class KQ_EXPORT KQUApplicationComponentsScannerConfiguration {
public:
    /// No identifier and no name: the scanner refuses such a configuration.
    KQUApplicationComponentsScannerConfiguration() = default;
    /// The identifier (or nullopt) and the name, as given.
    KQUApplicationComponentsScannerConfiguration(std::optional<std::string> bundleID,
                                                 std::optional<std::string> appName);

    static std::shared_ptr<KQUApplicationComponentsScannerConfiguration> configurationWithBundleID(
        std::optional<std::string> bundleID, std::optional<std::string> appName);
    /// For the ".app" at the path: its bundle identifier in lower case (read
    /// through the thread-safe bundle accessor; nullopt when it has none) and
    /// its file name without the extension.
    static std::shared_ptr<KQUApplicationComponentsScannerConfiguration> configurationWithAppPath(
        std::string_view appPath);

    const std::optional<std::string>& bundleID() const { return bundleID_; }
    const std::optional<std::string>& appName() const { return appName_; }

    /// Also return the application bundle found in the Applications folders.
    bool shouldAddAppInComponent() const { return shouldAddAppInComponent_; }
    void setShouldAddAppInComponent(bool add) { shouldAddAppInComponent_ = add; }
    /// Also look for the application's disk images and installer packages in Downloads.
    bool shouldScanDownloadsFolder() const { return shouldScanDownloadsFolder_; }
    void setShouldScanDownloadsFolder(bool scan) { shouldScanDownloadsFolder_ = scan; }

private:
    std::optional<std::string> bundleID_;
    std::optional<std::string> appName_;
    bool shouldAddAppInComponent_ = false;
    bool shouldScanDownloadsFolder_ = false;
};
