#include "KQFoundation/NSFileManager+MD5HashCalculation.h"

#include <algorithm>
#include <new>

#include "System/FileInputStream.h"

namespace kq {

namespace {

constexpr std::size_t kDefaultBufferSize = 4096;
// Larger chunks read in pieces of this size: the digest is the same and a
// huge chunk size cannot exhaust memory.
constexpr std::size_t kMaximumBufferSize = std::size_t{16} << 20;

}  // namespace

std::optional<std::string> FileManager::md5HashStringForItemAtURL(const URL& url) const {
    return md5HashStringForItemAtURL(url, 0);
}

std::optional<std::string> FileManager::md5HashStringForItemAtURL(const URL& url, std::size_t chunkSize) const {
    if (!url.isFileURL()) return std::nullopt;
    const std::string path = url.path();
    if (!fileExistsAtPath(path)) return std::nullopt;
    // The item itself: a link to a folder is fed as a file (and fails to read).
    const auto attributes = attributesOfItemAtPath(path);
    if (!attributes) return std::nullopt;
    auto context = MD5Context::create();
    if (!context) return std::nullopt;

    if (attributes->type == FileType::Directory) {
        auto enumerator = enumeratorAtPath(path);
        if (!enumerator) return std::nullopt;
        bool fedAny = false;
        while (auto relative = enumerator->nextObject()) {
            if (enumerator->currentEntryType() != FileType::Regular) continue;
            if (!updateHash(context.get(), URL::fileURLWithPath(path + "/" + *relative, false), chunkSize))
                return std::nullopt;
            fedAny = true;
        }
        if (!fedAny) return std::nullopt;
    } else if (!updateHash(context.get(), url, chunkSize)) {
        return std::nullopt;
    }
    return context->finishHex();
}

bool FileManager::updateHash(MD5Context* context, const URL& url, std::size_t chunkSize) const {
    if (!context || !url.isFileURL()) return false;
    auto stream = platform::FileInputStream::open(url.path());
    if (!stream) return false;
    const std::size_t request = std::min(chunkSize, kMaximumBufferSize);
    std::unique_ptr<std::uint8_t[]> buffer(new (std::nothrow) std::uint8_t[request ? request : kDefaultBufferSize]);
    if (!buffer) return false;
    // Each read asks for the chunk size as given: 0 reads nothing and counts as the end.
    long count;
    while ((count = stream->read(buffer.get(), request)) > 0)
        if (!context->update(buffer.get(), std::size_t(count))) return false;
    return count == 0;
}

}  // namespace kq
