#pragma once
// The few file-system calls the trash and the size questions of
// NSFileManager(KQFoundation) make beyond kq::FileManager: exact folder modes,
// exclusive record files, resolved paths and the tree size walk. Linux answers
// in Linux/FileSystemCalls.cpp. Failures are errno values (0 = success).
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "KQFoundation/System/FileManager.h"

namespace kq::platform {

struct ItemStatus {
    FileType type = FileType::Other;
    std::uint64_t device = 0;
    std::uint32_t owner = 0;
    /// The sticky bit (only owners may remove or rename entries of the folder).
    bool sticky = false;
};

/// The type of an item with this st_mode.
FileType fileTypeFromMode(unsigned mode);

/// The item's status, following a final symbolic link or not; nullopt with
/// `error` set when it cannot be examined.
std::optional<ItemStatus> statusOfItem(const std::string& path, bool followLinks, int* error = nullptr);

/// Creates a folder with exactly `mode` (the umask does not apply). EEXIST
/// when something is already there.
int makeFolder(const std::string& path, unsigned mode);

/// Creates a new file (never an existing one) holding `contents`, flushed to
/// disk before returning. On failure nothing is left behind.
int createFileExclusively(const std::string& path, std::string_view contents);

/// Removes a file (not a folder).
int removeFile(const std::string& path);

/// The absolute path with every symbolic link and "."/".." resolved; nullopt
/// with `error` set when some part does not exist.
std::optional<std::string> resolvedPath(const std::string& path, int* error = nullptr);

/// The user id the process runs as.
std::uint32_t currentUserID();

/// The present local time as "YYYY-MM-DDThh:mm:ss".
std::string localDateTimeNow();

/// Logical bytes of a file, or of every entry of a tree that is not a folder;
/// links are not followed and count with their own length. 0 when the path
/// cannot be opened; unreadable entries are skipped.
std::uint64_t logicalSizeOfTree(const std::string& path);

}  // namespace kq::platform
