#pragma once
// Where the Mac being inspected lives. Every absolute path the library takes
// from its knowledge (search-path folders, resource lists) resolves under
// `root`, and "~" expands to `home`. The default layout is the running
// machine: root "/" and $HOME.
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "KQFoundation/Export.h"

namespace kq {

/// The platform's search-path directory numbering.
enum class SearchPathDirectory : unsigned {
    Application = 1,
    DemoApplication = 2,
    DeveloperApplication = 3,
    AdminApplication = 4,
    Library = 5,
    Developer = 6,
    User = 7,
    Documentation = 8,
    Document = 9,
    CoreService = 10,
    AutosavedInformation = 11,
    Desktop = 12,
    Caches = 13,
    ApplicationSupport = 14,
    Downloads = 15,
    InputMethods = 16,
    Movies = 17,
    Music = 18,
    Pictures = 19,
    PrinterDescription = 20,
    SharedPublic = 21,
    PreferencePanes = 22,
    ApplicationScripts = 23,
    AllApplications = 100,
    AllLibraries = 101,
    Trash = 102,
};

/// The platform's domain masks.
enum SearchPathDomainMask : unsigned {
    UserDomainMask = 1,
    LocalDomainMask = 2,
    NetworkDomainMask = 4,
    SystemDomainMask = 8,
    AllDomainsMask = 0x0ffff,
};

class KQ_EXPORT FileSystemLayout {
public:
    /// root "/" and home $HOME (or the password database's home).
    FileSystemLayout();
    /// Both are made absolute (against the current directory) and lose any
    /// trailing slash; an empty root is "/". An empty home is the running
    /// user's home when the root is "/", else the root itself.
    FileSystemLayout(std::string root, std::string home);

    /// The layout in use, process-wide.
    static std::shared_ptr<const FileSystemLayout> current();
    /// Replaces the layout in use (the host or a test sets it before scanning).
    static void setCurrent(std::shared_ptr<const FileSystemLayout> layout);

    const std::string& root() const { return root_; }
    const std::string& home() const { return home_; }
    /// True for the running machine itself (root "/"), false for a Mac tree
    /// mounted or copied elsewhere.
    bool isHostRoot() const { return root_ == "/"; }

    /// An absolute path of the inspected Mac as a path on this machine:
    /// "/Library/Caches" -> root + "/Library/Caches". Relative paths are returned unchanged.
    std::string resolve(std::string_view macPath) const;
    /// "~" and "~/x" -> home (+ "/x"); anything else unchanged.
    std::string expandTilde(std::string_view path) const;
    /// Tilde expansion, then resolution of an absolute path under the root
    /// (paths already under the home are left alone).
    std::string resolveResourcePath(std::string_view path) const;

    /// The platform's URLsForDirectory:inDomains:, as paths on this machine,
    /// in domain order user, local, network, system and only for the domains
    /// in the mask. Existence is not checked. The mapping ("~" = home, "/" = root):
    ///
    ///   directory              user                         local / network (N = /Network)            system
    ///   1 Application          ~/Applications               /Applications, N/Applications             /System/Applications
    ///   2 DemoApplication      ~/Applications/Demos         /Applications/Demos, N/Applications/Demos -
    ///   3 DeveloperApplication ~/Developer/Applications     /Developer/Applications, N/Developer/Applications -
    ///   4 AdminApplication     ~/Applications/Utilities     /Applications/Utilities, N/Applications/Utilities /System/Applications/Utilities
    ///   5 Library              ~/Library                    /Library, N/Library                       /System/Library
    ///   6 Developer            ~/Developer                  /Developer, N/Developer                   -
    ///   7 User                 -                            /Users, N/Users                           -
    ///   8 Documentation        ~/Library/Documentation      /Library/Documentation, N/...             /System/Library/Documentation
    ///   9 Document             ~/Documents                  -                                         -
    ///  10 CoreService          -                            /Library/CoreServices, -                  /System/Library/CoreServices
    ///  11 AutosavedInformation ~/Library/Autosave Information -                                       -
    ///  12 Desktop              ~/Desktop                    -                                         -
    ///  13 Caches               ~/Library/Caches             /Library/Caches, -                        /System/Library/Caches
    ///  14 ApplicationSupport   ~/Library/Application Support /Library/Application Support, N/Library/Application Support -
    ///  15 Downloads            ~/Downloads                  -                                         -
    ///  16 InputMethods         ~/Library/Input Methods      /Library/Input Methods, N/Library/Input Methods /System/Library/Input Methods
    ///  17 Movies, 18 Music, 19 Pictures: ~/Movies, ~/Music, ~/Pictures (user only)
    ///  20 PrinterDescription   -                            /Library/Printers/PPDs, N/Library/Printers/PPDs /System/Library/Printers/PPDs
    ///  21 SharedPublic         ~/Public                     -                                         -
    ///  22 PreferencePanes      ~/Library/PreferencePanes    /Library/PreferencePanes, -               /System/Library/PreferencePanes
    ///  23 ApplicationScripts   ~/Library/Application Scripts -                                        -
    /// 100 AllApplications      directories 1, 2, 3, 4 of each domain
    /// 101 AllLibraries         directories 5, 6 of each domain
    /// 102 Trash                ~/.Trash                     -                                         -
    std::vector<std::string> pathsForDirectory(SearchPathDirectory directory, unsigned domainMask) const;

private:
    std::string root_;
    std::string home_;
};

}  // namespace kq
