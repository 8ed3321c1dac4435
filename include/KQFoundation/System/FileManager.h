#pragma once
// kq::FileManager: the file-system questions the library asks (the platform's
// NSFileManager), plus the recursive directory enumerator the scanners walk.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "KQFoundation/Export.h"
#include "KQFoundation/System/FileSystemLayout.h"
#include "KQFoundation/Foundation/URL.h"
#include "KQFoundation/Foundation/Value.h"

namespace kq {

class MD5Context;

enum class FileType { Regular, Directory, SymbolicLink, Other };

struct KQ_EXPORT FileAttributes {
    FileType type = FileType::Other;
    std::uint64_t size = 0;            // st_size: logical bytes (a link's own length)
    std::uint32_t posixPermissions = 0;
    std::uint32_t ownerAccountID = 0;
    std::uint32_t groupOwnerAccountID = 0;
    std::uint64_t systemNumber = 0;    // device
    std::uint64_t systemFileNumber = 0;  // inode
    std::uint64_t referenceCount = 0;
    Date modificationDate{};
    Date accessDate{};
    Date statusChangeDate{};
    /// The Finder's "hide extension" flag from the com.apple.FinderInfo
    /// extended attribute; false where there is none.
    bool fileExtensionHidden = false;
};

/// Depth-first walk below one folder, yielding paths relative to it. The
/// entries of each folder come in byte order of their names, and a folder is
/// entered right after it is returned ("a", "a/x", "a/y", "b"). Never
/// follows symbolic links to folders, never enters a folder twice (loops by
/// device and inode), skips folders it cannot read. Memory grows with the
/// depth of the tree and the width of the folders on the current path, not
/// with the size of the tree; no descriptor stays open between calls.
class KQ_EXPORT DirectoryEnumerator {
public:
    virtual ~DirectoryEnumerator() = default;
    /// The next relative path, or nullopt at the end.
    virtual std::optional<std::string> nextObject() = 0;
    /// Do not enter the entry just returned (if it is a folder).
    virtual void skipDescendants() = 0;
    /// Depth of the entry just returned (1 = direct child).
    virtual std::size_t level() const = 0;
    /// Type of the entry just returned, from the directory listing where the
    /// file system gives it (no extra system call); symbolic links are links.
    virtual FileType currentEntryType() const = 0;
};

class KQ_EXPORT FileManager {
public:
    static FileManager& defaultManager();

    bool fileExistsAtPath(std::string_view path) const;
    /// Follows symbolic links, as the platform does.
    bool fileExistsAtPath(std::string_view path, bool& isDirectory) const;
    bool isReadableFileAtPath(std::string_view path) const;
    /// Names of the folder's entries ("." and ".." left out), sorted; empty
    /// with the error set when the folder cannot be read.
    std::vector<std::string> contentsOfDirectoryAtPath(std::string_view path,
                                                       std::error_code* error = nullptr) const;
    /// Attributes of the item itself (links not followed).
    std::optional<FileAttributes> attributesOfItemAtPath(std::string_view path,
                                                         std::error_code* error = nullptr) const;
    /// nullptr when the path is not a readable folder.
    std::unique_ptr<DirectoryEnumerator> enumeratorAtPath(std::string_view path) const;

    std::optional<Data> contentsAtPath(std::string_view path) const;
    /// Writes through a temporary file and a rename, so a reader never sees half a file.
    bool createFileAtPath(std::string_view path, const Data& contents, std::error_code* error = nullptr) const;
    bool createDirectoryAtPath(std::string_view path, bool withIntermediateDirectories,
                               std::error_code* error = nullptr) const;
    /// One rename that never replaces an existing destination. Nothing is
    /// ever copied: across file systems or mounts it fails with EXDEV
    /// (std::errc::cross_device_link) and both places stay as they were.
    bool moveItemAtPath(std::string_view from, std::string_view to, std::error_code* error = nullptr) const;
    /// Removes the item and, for a folder, everything in it (links are not followed).
    bool removeItemAtPath(std::string_view path, std::error_code* error = nullptr) const;
    std::optional<std::string> destinationOfSymbolicLinkAtPath(std::string_view path) const;
    std::string currentDirectoryPath() const;

    /// The search-path folders through the current file-system layout.
    std::vector<URL> URLsForDirectory(SearchPathDirectory directory, unsigned domainMask) const;

    /// Value of an extended attribute of the item (links not followed). A name
    /// without a namespace is read as "user." + name, then as given.
    std::optional<Data> extendedAttribute(std::string_view path, std::string_view name) const;
    /// Sets an extended attribute of the item ("user." + name unless the name has a namespace).
    bool setExtendedAttribute(std::string_view path, std::string_view name, const Data& value,
                              std::error_code* error = nullptr) const;
    /// Sets or clears the Finder's "hide extension" flag (the platform's
    /// setAttributes: with NSFileExtensionHidden), keeping the other Finder info.
    bool setFileExtensionHidden(std::string_view path, bool hidden, std::error_code* error = nullptr) const;

    // ---- Category NSFileManager(KQFoundation): NSFileManager+KQFoundation.h/.cpp (+Trash, +Volumes) ----
    std::uint64_t sizeOfItemAtPath(std::string_view path) const;
    std::vector<std::string> crashReportFolders() const;
    std::string crashReportFolderInDomain(unsigned domainMask) const;
    std::string crashReportHistoryFolderInDomain(unsigned domainMask) const;
    std::optional<Date> lastUsedDateOfTimeAtPath(std::string_view path) const;
    std::vector<std::string> trashFolders() const;
    int vMExtendedAttributes(std::uint32_t& flags, std::string_view path) const;
    bool isPathOnEjectableDiskDrive(std::string_view path) const;
    bool isPathOnInternalDevice(std::string_view path) const;
    bool isPathOnExternalDevice(std::string_view path) const;
    bool isPathOnStorageDevice(std::string_view path) const;
    bool isPathInTrash(std::string_view path) const;
    bool isPathInFilePackage(std::string_view path) const;
    bool moveItemAtPathToTrash(std::string_view path, std::string* destination = nullptr,
                               std::error_code* error = nullptr) const;
    // ---- end of category ----

    // ---- Category NSFileManager(MD5HashCalculation): NSFileManager+MD5HashCalculation.h/.cpp ----
    std::optional<std::string> md5HashStringForItemAtURL(const URL& url) const;
    std::optional<std::string> md5HashStringForItemAtURL(const URL& url, std::size_t chunkSize) const;
    bool updateHash(MD5Context* context, const URL& url, std::size_t chunkSize) const;
    // ---- end of category ----
};

/// Why moveItemAtPathToTrash refused an item (errno values cover the rest).
enum class TrashError {
    RootFolder = 1,   // the file system's root
    DotPath,          // a path ending in "." or "..", whatever folder it names
    HomeFolder,       // the home folder, or a folder holding it
    LayoutRoot,       // the root of the inspected tree
    OutsideLayout,    // outside the inspected tree
    HomeMissing,      // the layout's home folder does not exist
    AlreadyInTrash,
    CrossesMount,     // the trash is on another mount of the same device (a bind mount)
    NoTrashForVolume, // no trash can be made on the item's own volume
    NamesExhausted,   // every candidate name in the trash is taken
};

KQ_EXPORT const std::error_category& trashErrorCategory();
inline std::error_code make_error_code(TrashError error) {
    return {static_cast<int>(error), trashErrorCategory()};
}

}  // namespace kq

template <>
struct std::is_error_code_enum<kq::TrashError> : std::true_type {};
