// kqu gunzip FILE: FILE ("-" = standard input) inflated, to standard output.
// A damaged stream is written as the library returns it (the untrimmed
// buffer), with a warning and exit status 2.
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "ByteInput.h"
#include "Command.h"
#include "KQFoundation/NSData+CRC32Hashing.h"
#include "KQFoundation/NSData+GZIP.h"

namespace {

std::uint32_t littleEndian32(const kq::Data& data, std::size_t at) {
    return data[at] | data[at + 1] << 8 | data[at + 2] << 16 | std::uint32_t(data[at + 3]) << 24;
}

/// True when the output matches the CRC and length in the input's trailer
/// (the trailer of a single-member gzip file).
bool matchesTrailer(const kq::Data& input, const kq::Data& output) {
    if (input.size() < 18) return false;
    return littleEndian32(input, input.size() - 8) == kq::CRC32(output) &&
           littleEndian32(input, input.size() - 4) == std::uint32_t(output.size());
}

int runGunzip(const std::string& file) {
    const kq::Data input = kqu::readInput(file);
    const auto output = kq::gunzippedData(input);
    if (!output) {
        throw kqu::CommandFailure{kqu::kExitInputFailure,
                                  file + ": cannot be decompressed (" +
                                      (kq::isCompressionLibraryAvailable()
                                           ? "it inflates to more than " +
                                                 std::to_string(kq::kMaximumGunzippedSize >> 20) + " MiB"
                                           : std::string("the compression library is missing")) +
                                      ")"};
    }
    kqu::writeOutput(*output);
    if (input.empty() || !kq::isGzippedData(input)) {
        kqu::warn(file + ": not gzip data, written unchanged");
    } else if (!matchesTrailer(input, *output)) {
        std::fprintf(stderr, "kqu: %s: damaged, truncated or multi-member gzip data; the output is the "
                             "decompressor's untrimmed buffer\n", file.c_str());
        return kqu::kExitInputFailure;
    }
    return kqu::kExitSuccess;
}

const kqu::CommandRegistration registration{{
    "gunzip",
    "Decompress gzip FILE (\"-\" = standard input) to standard output",
    [](CLI::App& app) -> std::function<int()> {
        auto file = std::make_shared<std::string>();
        app.add_option("FILE", *file, "gzip file, \"-\" for standard input")->required();
        app.footer("Input that is not gzip is written unchanged (with a warning). Only the first member of a\n"
                   "multi-member file is read. A damaged or truncated stream is written as the library returns\n"
                   "it, padded with zero bytes, and ends with status 2.");
        return [file] { return runGunzip(*file); };
    },
}};

}  // namespace
