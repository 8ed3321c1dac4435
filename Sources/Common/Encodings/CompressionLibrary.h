#pragma once
// The compression library, opened once per process at run time by path
// (KQ_COMPRESSION_LIBRARY_PATH) rather than linked. Its header only lends the
// types: every call goes through the pointers looked up here.
#include <zlib.h>

namespace kq::detail {

struct CompressionLibrary {
    decltype(&::deflateInit2_) deflateInit2_ = nullptr;
    decltype(&::deflate) deflate = nullptr;
    decltype(&::deflateEnd) deflateEnd = nullptr;
    decltype(&::inflateInit2_) inflateInit2_ = nullptr;
    decltype(&::inflate) inflate = nullptr;
    decltype(&::inflateEnd) inflateEnd = nullptr;
    decltype(&::crc32) crc32 = nullptr;
};

/// The library's entry points, or nullptr when the library or one of the
/// gzip entry points is missing (logged once). Thread-safe.
const CompressionLibrary* compressionLibrary();

}  // namespace kq::detail
