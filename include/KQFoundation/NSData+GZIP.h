#pragma once
// NSData(GZIP): gzip compression and decompression of a byte buffer. The
// platform's data objects are kq::Data here, so these are free functions;
// "the data itself" below means an equal copy.
//
// The compression library is not linked: it is opened once per process at run
// time by the path fixed at build time (KQ_COMPRESSION_LIBRARY, "libz.so.1" on
// Linux). When it or one of its entry points is missing, a line is logged once
// and both directions return nullopt; nothing crashes.
#include <cstddef>
#include <optional>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Value.h"

namespace kq {

/// gunzippedData never inflates to more than this (1 GiB); a stream that
/// would gives nullopt, so a small crafted file cannot exhaust memory.
inline constexpr std::size_t kMaximumGunzippedSize = std::size_t{1} << 30;

/// gzip of `data` at `level` from 0.0 to 1.0 (times 9, rounded half away from
/// zero: 0.5 gives zlib level 5); a negative level is zlib's default. Empty
/// data and data that is already gzip come back unchanged. nullopt when the
/// stream cannot be set up (also for a level above about 1.05 or NaN, which
/// zlib refuses) or the library is missing.
KQ_EXPORT std::optional<Data> gzippedDataWithCompressionLevel(const Data& data, float level);
/// gzippedDataWithCompressionLevel(data, -1.0).
KQ_EXPORT std::optional<Data> gzippedData(const Data& data);

/// The inflated data. Empty data and data without the gzip magic bytes come
/// back unchanged (even a valid zlib stream). A damaged or truncated stream is
/// not an error: the result is the output buffer as it stands, including the
/// unwritten zero bytes at its end (it grows in steps of half the input size).
/// nullopt only when the stream cannot be set up, the library is missing, or
/// the output would exceed kMaximumGunzippedSize.
KQ_EXPORT std::optional<Data> gunzippedData(const Data& data);

/// True when `data` starts with the gzip magic bytes 0x1F 0x8B.
KQ_EXPORT bool isGzippedData(const Data& data);

/// True when the compression library could be opened with every entry point
/// gzip needs (so a nullopt from the functions above has another cause).
KQ_EXPORT bool isCompressionLibraryAvailable();

}  // namespace kq
