#pragma once
// KQULeftoversProtection: the second look at what the knowledge base reports.
// The knowledge base ties an item to an application by the item's name; this
// keeps what still belongs to installed software although its name says
// otherwise:
//   * a launch agent or daemon whose program (Program, or ProgramArguments[0])
//     still exists under the layout's root;
//   * items named after installed software that is not an application bundle
//     the scanner was given: preference panes (~/Library/PreferencePanes,
//     /Library/PreferencePanes), applications inside the Application Support
//     folders, Homebrew services ("homebrew.mxcl.NAME" while Cellar/NAME exists
//     in /usr/local or /opt/homebrew);
//   * containers whose metadata (.com.apple.containermanagerd.metadata.plist,
//     MCMMetadataIdentifier) names installed software, whatever the folder is called;
//   * vendor-wide items while an application of that vendor is installed: a
//     name that is a proper prefix of an installed identifier ("com.vendor" and
//     "group.com.vendor" for com.vendor.App), and the knowledge base's explicit
//     vendor-wide name patterns. Another application of the same vendor stays a leftover.
//
// Vendor-wide patterns live in the knowledge-base document as one element
// without "Type" (so the scanner-building pass ignores it):
//   { "VendorWideNames": [ { "Vendor": "com.vendor", "Patterns": [ "com.vendor.shared.*" ] } ] }
// Patterns are case-insensitive, with "*" and "?" wildcards.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KQFoundation/Foundation/Value.h"

/// Bundle identifiers that can name an application: non-empty, with at least
/// one dot between two non-empty parts. An empty or one-word identifier would
/// make every name "begin with" it.
bool KQUIsUsableBundleIdentifier(std::string_view identifier);

/// The bundle identifier a leftover most likely belongs to, from its name:
/// without a "group." prefix and a file extension (".plist", ".log"...), the
/// first three dot-separated parts; a crash report's name with fewer gives
/// the program name before its first "-" or "_" ("Editor-2024-05-01.ips" -> "Editor").
std::string KQUApplicationIdentifierForLeftoverName(std::string_view name);
/// The same for an item: a container's metadata identifier, a bundle's
/// (".kext", ".plugin"...) own identifier, else the name's.
std::string KQUApplicationIdentifierForLeftover(const std::string& path);

class KQULeftoversProtection {
public:
    struct VendorNames {
        std::string vendor;                 // "com.vendor"
        std::vector<std::string> patterns;  // "com.vendor.shared.*"
    };
    struct InstalledSoftware {
        std::string identifier;
        std::string description;  // "application", "preference pane /Library/PreferencePanes/X.prefPane"...
    };

    /// `applications`: identifiers of the installed applications (usable ones).
    /// Other installed software is looked up through the current layout.
    KQULeftoversProtection(const std::vector<std::string>& applications, std::vector<VendorNames> vendorNames);

    /// The "VendorWideNames" of a knowledge-base document; malformed parts are skipped.
    static std::vector<VendorNames> vendorNamesInKnowledgeBase(const kq::Array& document);
    /// Preference panes and applications in Application Support folders of the current layout.
    static std::vector<InstalledSoftware> otherInstalledSoftware();
    /// MCMMetadataIdentifier of the container folder at `path`, when it has one.
    static std::optional<std::string> containerIdentifier(const std::string& path);

    /// Why the item still belongs to installed software, or nullopt when it is a leftover.
    std::optional<std::string> reasonToKeep(const std::string& path) const;

    const std::vector<InstalledSoftware>& installedSoftware() const { return installed_; }

private:
    std::optional<std::string> keptByLaunchProgram(const std::string& path) const;
    std::optional<std::string> keptByName(std::string_view name, bool includeApplications) const;
    std::optional<std::string> keptAsVendorWide(std::string_view name) const;

    std::vector<InstalledSoftware> installed_;  // applications first, then other software
    std::size_t applicationCount_ = 0;
    std::vector<VendorNames> vendorNames_;
};
