#include "KQFoundation/NSData+GZIP.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include "Common/Encodings/CompressionLibrary.h"
#include "Common/Encodings/GZIP.h"

namespace kq {

namespace {

// Handed to the init functions, which check only its first character
// against their own major version.
constexpr const char* kZlibVersion = "1.2.11";
constexpr std::size_t kDeflateGrowth = 16384;
// avail_in and avail_out are 32-bit: larger buffers are handed over in pieces.
constexpr std::size_t kMaximumPiece = UINT_MAX;

uInt piece(std::size_t n) {
    return static_cast<uInt>(std::min(n, kMaximumPiece));
}

// Hands the stream the next piece of input once it has used up the last one.
class InputFeeder {
public:
    explicit InputFeeder(const Data& data) : data_(data) {}
    void feed(z_stream& stream) {
        if (stream.avail_in != 0 || offset_ == data_.size()) return;
        stream.next_in = const_cast<Bytef*>(data_.data() + offset_);
        stream.avail_in = piece(data_.size() - offset_);
        offset_ += stream.avail_in;
    }
    /// Input not yet handed to the stream.
    bool pending() const { return offset_ < data_.size(); }

private:
    const Data& data_;
    std::size_t offset_ = 0;
};

}  // namespace

bool isGzippedData(const Data& data) {
    return data.size() >= 2 && data[0] == 0x1F && data[1] == 0x8B;
}

bool isCompressionLibraryAvailable() {
    return detail::compressionLibrary() != nullptr;
}

std::optional<Data> gzippedData(const Data& data) {
    return gzippedDataWithCompressionLevel(data, -1.0f);
}

std::optional<Data> gzippedDataWithCompressionLevel(const Data& data, float level) {
    if (data.empty() || isGzippedData(data)) return data;
    const auto* z = detail::compressionLibrary();
    if (!z || std::isnan(level)) return std::nullopt;
    // Anything above 10 is refused by zlib just like 10; clamping keeps lround defined.
    const int zlibLevel = level < 0 ? Z_DEFAULT_COMPRESSION : int(std::lround(std::min(level * 9.0f, 10.0f)));

    z_stream stream{};
    if (z->deflateInit2_(&stream, zlibLevel, Z_DEFLATED, 31, 8, Z_DEFAULT_STRATEGY, kZlibVersion,
                        int(sizeof(z_stream))) != Z_OK)
        return std::nullopt;
    InputFeeder input(data);
    Data output(kDeflateGrowth);
    std::size_t written = 0;
    do {
        if (written >= output.size()) output.resize(output.size() + kDeflateGrowth);
        input.feed(stream);
        stream.next_out = output.data() + written;
        stream.avail_out = piece(output.size() - written);
        // Finishing is only allowed once the last input is in the stream.
        const int status = z->deflate(&stream, input.pending() ? Z_NO_FLUSH : Z_FINISH);
        written = std::size_t(stream.next_out - output.data());
        if (status == Z_STREAM_ERROR) break;  // cannot happen on a good stream; never spin
    } while (stream.avail_out == 0 || input.pending());
    z->deflateEnd(&stream);
    output.resize(written);
    return output;
}

std::optional<Data> gunzippedData(const Data& data) {
    return detail::gunzippedData(data, kMaximumGunzippedSize);
}

std::optional<Data> detail::gunzippedData(const Data& data, std::size_t maximumSize) {
    if (data.empty() || !isGzippedData(data)) return data;
    const auto* z = detail::compressionLibrary();
    if (!z) return std::nullopt;

    z_stream stream{};
    // 15 + 32: a 32 KB window, zlib or gzip header detected.
    if (z->inflateInit2_(&stream, 47, kZlibVersion, int(sizeof(z_stream))) != Z_OK) return std::nullopt;
    InputFeeder input(data);
    const std::size_t growth = data.size() / 2;
    Data output;
    output.reserve(std::min(data.size() * 2, maximumSize));
    std::size_t written = 0;
    int status = Z_OK;
    do {
        if (written >= output.size()) {
            if (output.size() >= maximumSize) {
                z->inflateEnd(&stream);
                return std::nullopt;
            }
            output.resize(std::min(output.size() + growth, maximumSize));
        }
        input.feed(stream);
        stream.next_out = output.data() + written;
        stream.avail_out = piece(output.size() - written);
        status = z->inflate(&stream, Z_SYNC_FLUSH);
        written = std::size_t(stream.next_out - output.data());
    } while (status == Z_OK);
    // A damaged stream keeps its untrimmed buffer, zero tail included.
    if (z->inflateEnd(&stream) == Z_OK && status == Z_STREAM_END) output.resize(written);
    return output;
}

}  // namespace kq
