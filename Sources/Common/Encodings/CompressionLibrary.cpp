#include "Common/Encodings/CompressionLibrary.h"

#include <optional>
#include <string>

#include "KQFoundation/Foundation/Log.h"
#include "System/SharedLibrary.h"

namespace kq::detail {

namespace {

std::optional<CompressionLibrary> load() {
    std::string error;
    const auto library = SharedLibrary::open(KQ_COMPRESSION_LIBRARY_PATH, &error);
    if (!library) {
        log("Could not open the compression library %s: %s", KQ_COMPRESSION_LIBRARY_PATH, error);
        return std::nullopt;
    }
    CompressionLibrary z;
    z.deflateInit2_ = library->function<decltype(z.deflateInit2_)>("deflateInit2_");
    z.deflate = library->function<decltype(z.deflate)>("deflate");
    z.deflateEnd = library->function<decltype(z.deflateEnd)>("deflateEnd");
    z.inflateInit2_ = library->function<decltype(z.inflateInit2_)>("inflateInit2_");
    z.inflate = library->function<decltype(z.inflate)>("inflate");
    z.inflateEnd = library->function<decltype(z.inflateEnd)>("inflateEnd");
    z.crc32 = library->function<decltype(z.crc32)>("crc32");
    if (!z.deflateInit2_ || !z.deflate || !z.deflateEnd || !z.inflateInit2_ || !z.inflate || !z.inflateEnd ||
        !z.crc32) {
        log("The compression library %s lacks an entry point gzip needs", KQ_COMPRESSION_LIBRARY_PATH);
        return std::nullopt;
    }
    return z;
}

}  // namespace

const CompressionLibrary* compressionLibrary() {
    static const std::optional<CompressionLibrary> library = load();
    return library ? &*library : nullptr;
}

}  // namespace kq::detail
