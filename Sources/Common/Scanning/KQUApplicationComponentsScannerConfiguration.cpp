#include "KQFoundation/KQUApplicationComponentsScannerConfiguration.h"

#include "KQFoundation/NSBundle+KQUThreadSafety.h"
#include "KQFoundation/Foundation/PathUtilities.h"
#include "LowercasedText.h"

KQUApplicationComponentsScannerConfiguration::KQUApplicationComponentsScannerConfiguration(
    std::optional<std::string> bundleID, std::optional<std::string> appName)
    : bundleID_(std::move(bundleID)), appName_(std::move(appName)) {}

std::shared_ptr<KQUApplicationComponentsScannerConfiguration>
KQUApplicationComponentsScannerConfiguration::configurationWithBundleID(std::optional<std::string> bundleID,
                                                                        std::optional<std::string> appName) {
    return std::make_shared<KQUApplicationComponentsScannerConfiguration>(std::move(bundleID), std::move(appName));
}

std::shared_ptr<KQUApplicationComponentsScannerConfiguration>
KQUApplicationComponentsScannerConfiguration::configurationWithAppPath(std::string_view appPath) {
    std::optional<std::string> bundleID;
    if (auto bundle = kq::Bundle::threadSafeBundleWithPath(appPath))
        if (auto identifier = (*bundle)->bundleIdentifier()) bundleID = kq::scanning::lowercased(*identifier);
    return configurationWithBundleID(std::move(bundleID),
                                     kq::stringByDeletingPathExtension(kq::lastPathComponent(appPath)));
}
