#pragma once
// Archives for the extraction tests, written with libarchive.
#include <archive.h>
#include <archive_entry.h>
#include <gtest/gtest.h>
#include <locale.h>

#include <string>
#include <vector>

#include "KQFoundation/System/ArchiveExtractor.h"

namespace kqtest {

struct ArchiveEntry {
    std::string name;
    mode_t type = AE_IFREG;
    std::string contents;  // file data, or a link's target
    mode_t permissions = 0644;
    bool hardlink = false;  // contents names the original (hand-written xar only)
};

inline std::string writeArchive(const std::string& path, kq::ArchiveFormat format,
                                const std::vector<ArchiveEntry>& entries) {
    // libarchive converts names through the thread's locale.
    locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(nullptr));
    locale_t previous = uselocale(utf8);
    archive* a = archive_write_new();
    if (format == kq::ArchiveFormat::Zip) archive_write_set_format_zip(a);
    else archive_write_set_format_xar(a);
    EXPECT_EQ(archive_write_open_filename(a, path.c_str()), ARCHIVE_OK) << archive_error_string(a);
    for (const ArchiveEntry& e : entries) {
        archive_entry* entry = archive_entry_new();
        archive_entry_set_pathname_utf8(entry, e.name.c_str());
        archive_entry_set_filetype(entry, e.type);
        archive_entry_set_perm(entry, e.permissions);
        if (e.type == AE_IFLNK) archive_entry_set_symlink(entry, e.contents.c_str());
        bool hasData = e.type == AE_IFREG;
        archive_entry_set_size(entry, hasData ? static_cast<la_int64_t>(e.contents.size()) : 0);
        EXPECT_GE(archive_write_header(a, entry), ARCHIVE_WARN) << e.name << ": " << archive_error_string(a);
        if (hasData) archive_write_data(a, e.contents.data(), e.contents.size());
        archive_entry_free(entry);
    }
    archive_write_close(a);
    archive_write_free(a);
    uselocale(previous);
    freelocale(utf8);
    return path;
}

}  // namespace kqtest
