#pragma once
// Unpacking an archive (zip, xar) in process into a folder. Nothing is ever
// written outside that folder: entries with absolute paths or ".."
// components, and links pointing outside it, fail the extraction; so does
// unpacking more than the limits allow (a zip bomb fails instead of filling
// the disk).
#include <cstdint>
#include <string_view>
#include <system_error>

#include "KQFoundation/Export.h"

namespace kq {

enum class ArchiveFormat { Xar, Zip };

struct KQ_EXPORT ArchiveExtractionLimits {
    std::uint64_t maximumTotalBytes = 1ULL << 30;  // uncompressed, all entries together
    std::uint64_t maximumEntries = 100000;
};

/// Extracts the archive into `folder` (which must exist). An empty error on
/// success; on failure, an error saying why (what was written so far stays
/// for the caller to remove with the folder).
KQ_EXPORT std::error_code extractArchive(std::string_view archivePath, std::string_view folder, ArchiveFormat format,
                                         const ArchiveExtractionLimits& limits = {});

}  // namespace kq
