#pragma once
// KQUApplicationComponentsScanner: which files and folders belong to one
// application. Not a KQUScanner: one synchronous call returns the paths.
//
// It lists the direct entries of a fixed series of folders (each row below
// is one "scan argument") and keeps those named after the application's
// bundle identifier or name, then adds the paths that the
// "ApplicationsComponents" resource lists for the bundle identifier, and on
// request the application bundle itself. L, C and S are the Library, Caches
// and Application Support folders of every domain (user, local, network,
// system) through the current file-system layout:
//
//   1 L   2 L/Preferences   3 L/Saved Application State   4 L/Containers
//   5 L/Logs   6 C   7 C/com.apple.helpd/Generated   8 S
//   9 S/Growl/Tickets, extension "growlTicket", prefix rule (see below)
//  10 the four crash report folders, prefix rule
//  11 with shouldScanDownloadsFolder: ~/Downloads, extensions "dmg" and "pkg"
//
// An entry N qualifies when (N begins with the bundle identifier, ignoring
// case, or N matches the name) and, for rows with extensions, the lower-cased
// extension of N is in the set. The name rule: N equals the name, or does
// without its extension, ignoring case; in rows with the prefix rule N only
// has to begin with the name. Row 9's set keeps its capital "T", so that row
// never yields anything (the extension it is tested against is lower-cased).
// Nothing is de-duplicated: a path found twice is listed twice.
//
// Resource "ApplicationsComponents" (a dictionary keyed by bundle identifier):
//   { "<bundle id>": { "componentsPathsInLocalLibDirectory": [ "LaunchDaemons/x.plist", ... ],
//                      "componentsPathsInUserLibDirectory": [ ... ],
//                      "componentsPathsInSystemLibDirectory": [ ... ] } }
// Paths are relative to the last Library folder of that domain; one is listed
// when the item itself exists (a dangling symbolic link counts).
//
// A scanner object runs one scan at a time; the resource is read once per
// process, thread-safely.
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KQFoundation/Export.h"
#include "KQFoundation/KQUApplicationComponentsScannerConfiguration.h"
#include "KQFoundation/Foundation/Value.h"

class KQ_EXPORT KQUApplicationComponentsScanner {
public:
    /// nullptr when there is no configuration or it has no application name.
    static std::unique_ptr<KQUApplicationComponentsScanner> create(
        std::shared_ptr<KQUApplicationComponentsScannerConfiguration> configuration);
    /// Without a configuration: always nullptr.
    static std::unique_ptr<KQUApplicationComponentsScanner> create() { return create(nullptr); }

    const std::shared_ptr<KQUApplicationComponentsScannerConfiguration>& configuration() const {
        return configuration_;
    }

    /// The component paths: the folder scan's, then the additional ones.
    std::vector<std::string> scanForComponentPaths();

    // Building blocks of scanForComponentPaths.

    /// The scan arguments ({"path", "checkPartOfAppName", "extensions"?}
    /// dictionaries); present only during a scan.
    const std::optional<kq::Array>& scanArguments() const { return scanArguments_; }
    void setScanArguments(std::optional<kq::Array> arguments) { scanArguments_ = std::move(arguments); }
    /// Adds the eleven rows above (the eleventh only when asked for).
    void loadScanArguments();
    /// One argument per folder, in order: the folder with the component
    /// appended when one is given, the name rule, and the extensions when given.
    void addScanArgumentWithPaths(const std::vector<std::string>& paths, const std::optional<std::string>& component,
                                  const std::optional<std::vector<std::string>>& extensions, bool checkPartOfAppName);
    void addScanArgumentWithPaths(const std::vector<std::string>& paths, const std::optional<std::string>& component);
    void addScanArgumentWithPaths(const std::vector<std::string>& paths);
    /// The qualifying entries of every argument's folder, in argument and listing order.
    std::vector<std::string> startScanFromArguments() const;

    /// The "ApplicationsComponents" resource (empty when missing or unreadable).
    static const kq::Dictionary& predefinedDescriptionOfApplicationsComponents();
    /// The resource's paths for the bundle identifier, joined to their Library
    /// folders, without duplicates; nullopt when the identifier is not listed.
    std::optional<std::vector<std::string>> additionalComponents() const;
    /// The additional components that exist, then (with shouldAddAppInComponent)
    /// <Applications folder of each domain>/<name>.app where it exists.
    std::vector<std::string> startAdditionalScan() const;

private:
    explicit KQUApplicationComponentsScanner(std::shared_ptr<KQUApplicationComponentsScannerConfiguration> configuration)
        : configuration_(std::move(configuration)) {}

    std::shared_ptr<KQUApplicationComponentsScannerConfiguration> configuration_;
    std::optional<kq::Array> scanArguments_;
};
