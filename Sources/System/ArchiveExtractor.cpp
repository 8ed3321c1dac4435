#include "KQFoundation/System/ArchiveExtractor.h"

#include <archive.h>
#include <archive_entry.h>
#include <limits.h>
#include <locale.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <memory>
#include <string>
#include <vector>

namespace kq {

namespace {

using Components = std::vector<std::string>;

struct ReaderDeleter {
    void operator()(archive* a) const { archive_read_free(a); }
};
struct WriterDeleter {
    void operator()(archive* a) const { archive_write_free(a); }
};

std::error_code errc(std::errc e) { return std::make_error_code(e); }

// Empty data blocks in a row after which a stream counts as stuck.
constexpr int kMaximumEmptyBlocks = 1024;

// The components of a path inside the archive; nullopt for an absolute path
// or one with a ".." anywhere. "." and empty components drop out.
std::optional<Components> relativeComponents(std::string_view path) {
    if (path.empty() || path.front() == '/') return std::nullopt;
    Components components;
    while (!path.empty()) {
        std::size_t slash = path.find('/');
        std::string_view part = path.substr(0, slash);
        if (part == "..") return std::nullopt;
        if (!part.empty() && part != ".") components.emplace_back(part);
        path = slash == std::string_view::npos ? std::string_view() : path.substr(slash + 1);
    }
    return components;
}

std::string join(const std::string& folder, const Components& components, std::size_t count) {
    std::string path = folder;
    for (std::size_t i = 0; i < count; ++i) path += '/' + components[i];
    return path;
}

// A link's target may climb out of the link's own folder only with leading
// "..", and no higher than the extraction folder; what follows descends by
// names. With every link in the tree held to this and no folder on any
// entry's path allowed to be a link, following links can never leave the
// folder, whatever order the entries come in.
bool linkTargetStaysInside(std::string_view target, std::size_t depthOfLinkFolder) {
    if (target.empty() || target.front() == '/') return false;
    std::size_t climbs = 0;
    bool descending = false;
    while (!target.empty()) {
        std::size_t slash = target.find('/');
        std::string_view part = target.substr(0, slash);
        if (part == "..") {
            if (descending || ++climbs > depthOfLinkFolder) return false;
        } else if (!part.empty() && part != ".") {
            descending = true;
        }
        target = slash == std::string_view::npos ? std::string_view() : target.substr(slash + 1);
    }
    return true;
}

// Every folder on the way to the entry must be a real folder (or not exist
// yet), and the entry may not replace a folder with something else.
std::error_code checkDestination(const std::string& folder, const Components& components, bool isDirectory) {
    for (std::size_t i = 1; i <= components.size(); ++i) {
        struct stat info {};
        if (lstat(join(folder, components, i).c_str(), &info) != 0) {
            if (errno == ENOENT) return {};
            return {errno, std::generic_category()};
        }
        bool last = i == components.size();
        if (!last && !S_ISDIR(info.st_mode)) return errc(std::errc::operation_not_permitted);
        if (last && (S_ISDIR(info.st_mode) != isDirectory) && (S_ISDIR(info.st_mode) || S_ISLNK(info.st_mode)))
            return errc(std::errc::operation_not_permitted);
    }
    return {};
}

std::error_code archiveError(archive* a) {
    int code = archive_errno(a);
    // libarchive reports damaged and unknown data with its own codes.
    if (code <= 0 || code == EILSEQ)
        return errc(std::errc::illegal_byte_sequence);
    return {code, std::generic_category()};
}

class Extraction {
public:
    Extraction(std::string folder, const ArchiveExtractionLimits& limits) : folder_(std::move(folder)), limits_(limits) {}

    std::error_code run(const std::string& archivePath, ArchiveFormat format) {
        std::unique_ptr<archive, ReaderDeleter> reader(archive_read_new());
        std::unique_ptr<archive, WriterDeleter> writer(archive_write_disk_new());
        if (!reader || !writer) return errc(std::errc::not_enough_memory);
        if (format == ArchiveFormat::Zip) archive_read_support_format_zip(reader.get());
        else archive_read_support_format_xar(reader.get());
        archive_read_support_filter_none(reader.get());
        // Our own checks come first; these are the second line. Owners,
        // permissions beyond the plain mode bits, and times are not restored.
        archive_write_disk_set_options(writer.get(), ARCHIVE_EXTRACT_SECURE_SYMLINKS | ARCHIVE_EXTRACT_SECURE_NODOTDOT);
        if (archive_read_open_filename(reader.get(), archivePath.c_str(), 1 << 16) != ARCHIVE_OK)
            return archiveError(reader.get());

        for (;;) {
            archive_entry* entry = nullptr;
            int status = archive_read_next_header(reader.get(), &entry);
            if (status == ARCHIVE_EOF) break;
            if (status < ARCHIVE_WARN) return archiveError(reader.get());
            if (++entries_ > limits_.maximumEntries) return errc(std::errc::value_too_large);
            if (auto error = extractEntry(reader.get(), writer.get(), entry)) return error;
        }
        if (archive_write_close(writer.get()) != ARCHIVE_OK) return archiveError(writer.get());
        return {};
    }

private:
    std::error_code extractEntry(archive* reader, archive* writer, archive_entry* entry) {
        const char* name = archive_entry_pathname_utf8(entry);
        if (!name) name = archive_entry_pathname(entry);
        if (!name) return errc(std::errc::illegal_byte_sequence);
        auto components = relativeComponents(name);
        if (!components) return errc(std::errc::operation_not_permitted);
        if (components->empty()) return {};  // "./" itself

        const mode_t type = archive_entry_filetype(entry);
        const char* hardlink = archive_entry_hardlink(entry);
        if (hardlink) {
            auto target = relativeComponents(hardlink);
            if (!target || target->empty()) return errc(std::errc::operation_not_permitted);
            // Only to a plain file already extracted, reached through real folders.
            if (auto error = checkDestination(folder_, *target, false)) return error;
            struct stat info {};
            if (lstat(join(folder_, *target, target->size()).c_str(), &info) != 0 || !S_ISREG(info.st_mode))
                return errc(std::errc::operation_not_permitted);
            archive_entry_copy_hardlink(entry, join(folder_, *target, target->size()).c_str());
        } else if (type == AE_IFLNK) {
            const char* target = archive_entry_symlink(entry);
            if (!target || !linkTargetStaysInside(target, components->size() - 1))
                return errc(std::errc::operation_not_permitted);
        } else if (type != AE_IFREG && type != AE_IFDIR) {
            return errc(std::errc::not_supported);  // devices, fifos, sockets
        }
        if (auto error = checkDestination(folder_, *components, type == AE_IFDIR)) return error;

        // Known sizes are counted before anything is written; the data read
        // is counted again below, so a lying header gains nothing.
        if (!hardlink && type == AE_IFREG && archive_entry_size_is_set(entry)) {
            auto size = static_cast<std::uint64_t>(std::max<la_int64_t>(0, archive_entry_size(entry)));
            if (size > limits_.maximumTotalBytes - std::min(total_, limits_.maximumTotalBytes))
                return errc(std::errc::file_too_large);
        }

        archive_entry_copy_pathname(entry, join(folder_, *components, components->size()).c_str());
        // Plain permission bits only, and always readable and writable by
        // us, so the caller can read and remove everything.
        mode_t permissions = archive_entry_perm(entry) & 0777;
        archive_entry_set_perm(entry, permissions | (type == AE_IFDIR ? 0700 : 0600));

        if (archive_write_header(writer, entry) < ARCHIVE_WARN) return archiveError(writer);
        if (!hardlink && type == AE_IFREG) {
            const void* block = nullptr;
            size_t size = 0;
            la_int64_t offset = 0;
            // A damaged stream can make the reader hand out empty blocks forever.
            int emptyBlocks = 0;
            for (;;) {
                int status = archive_read_data_block(reader, &block, &size, &offset);
                if (status == ARCHIVE_EOF) break;
                if (status < ARCHIVE_WARN) return archiveError(reader);
                if (size == 0 && ++emptyBlocks > kMaximumEmptyBlocks) return errc(std::errc::illegal_byte_sequence);
                if (size != 0) emptyBlocks = 0;
                total_ += size;
                // A far offset would make a sparse file of any apparent size.
                if (total_ > limits_.maximumTotalBytes || offset < 0 ||
                    static_cast<std::uint64_t>(offset) + size > limits_.maximumTotalBytes)
                    return errc(std::errc::file_too_large);
                if (archive_write_data_block(writer, block, size, offset) < ARCHIVE_WARN) return archiveError(writer);
            }
        }
        if (archive_write_finish_entry(writer) < ARCHIVE_WARN) return archiveError(writer);
        return {};
    }

    std::string folder_;
    ArchiveExtractionLimits limits_;
    std::uint64_t entries_ = 0;
    std::uint64_t total_ = 0;
};

// Archive names are UTF-8 (xar always, zip mostly); libarchive converts them
// to the thread's locale, which in a program that never called setlocale is
// ASCII and fails on any other name. A UTF-8 locale for this thread only,
// for the time of one extraction, keeps the names as they are.
class ScopedUTF8Locale {
public:
    ScopedUTF8Locale() {
        utf8_ = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(nullptr));
        if (utf8_) previous_ = uselocale(utf8_);
    }
    ~ScopedUTF8Locale() {
        if (!utf8_) return;
        uselocale(previous_);
        freelocale(utf8_);
    }
    ScopedUTF8Locale(const ScopedUTF8Locale&) = delete;
    ScopedUTF8Locale& operator=(const ScopedUTF8Locale&) = delete;

private:
    locale_t utf8_ = static_cast<locale_t>(nullptr);
    locale_t previous_ = static_cast<locale_t>(nullptr);
};

}  // namespace

std::error_code extractArchive(std::string_view archivePath, std::string_view folder, ArchiveFormat format,
                               const ArchiveExtractionLimits& limits) {
    if (archivePath.empty() || folder.empty()) return errc(std::errc::invalid_argument);
    // Entries are written by full path below the folder's real path, so a
    // link among the folder's own ancestors does not trip the link checks.
    char resolved[PATH_MAX];
    if (!realpath(std::string(folder).c_str(), resolved)) return {errno, std::generic_category()};
    struct stat info {};
    if (stat(resolved, &info) != 0) return {errno, std::generic_category()};
    if (!S_ISDIR(info.st_mode)) return errc(std::errc::not_a_directory);
    std::string base(resolved);
    if (base == "/") base.clear();
    ScopedUTF8Locale locale;
    return Extraction(std::move(base), limits).run(std::string(archivePath), format);
}

}  // namespace kq
