// gzip streams from arbitrary bytes: inflating never crashes, an intact
// result survives a round trip, and the CRC-32 fast path agrees with the table.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "Common/Encodings/CRC32.h"
#include "KQFoundation/NSData+CRC32Hashing.h"
#include "KQFoundation/NSData+GZIP.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const kq::Data input(data, data + size);
    const auto output = kq::gunzippedData(input);
    if (!output) std::abort();  // the library is there and no input this small inflates past the limit
    if (!output->empty() && !kq::isGzippedData(*output)) {
        const float level = size ? float(data[size - 1] % 11) / 10.0f : -1.0f;
        const auto again = kq::gzippedDataWithCompressionLevel(*output, level);
        if (!again || kq::gunzippedData(*again) != *output) std::abort();
    }
    const std::uint32_t seed = size >= 4 ? std::uint32_t(data[0] | data[1] << 8 | data[2] << 16 | data[3] << 24) : 0;
    if (kq::CRC32ForBytes(data, size, seed, kq::kCRC32DefaultPolynomial) !=
        kq::detail::tableCRC32(data, size, seed, kq::kCRC32DefaultPolynomial))
        std::abort();
    return 0;
}
