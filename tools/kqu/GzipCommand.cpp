// kqu gzip FILE [--level L]: FILE ("-" = standard input) compressed as gzip, to
// standard output.
#include <unistd.h>

#include <memory>
#include <string>

#include "ByteInput.h"
#include "Command.h"
#include "KQFoundation/NSData+GZIP.h"

namespace {

struct GzipOptions {
    std::string file;
    float level = -1.0f;
};

int runGzip(const GzipOptions& options) {
    if (isatty(STDOUT_FILENO))
        throw kqu::CommandFailure{kqu::kExitUsage, "gzip: compressed data is not written to a terminal; redirect it"};
    const kq::Data input = kqu::readInput(options.file);
    if (kq::isGzippedData(input)) kqu::warn(options.file + ": already gzip data, written unchanged");
    const auto output = kq::gzippedDataWithCompressionLevel(input, options.level);
    if (!output) {
        throw kqu::CommandFailure{kqu::kExitInputFailure,
                                  options.file + ": cannot be compressed (" +
                                      (kq::isCompressionLibraryAvailable() ? "the compressor refused the level"
                                                                           : "the compression library is missing") +
                                      ")"};
    }
    kqu::writeOutput(*output);
    return kqu::kExitSuccess;
}

const kqu::CommandRegistration registration{{
    "gzip",
    "Compress FILE (\"-\" = standard input) as gzip to standard output",
    [](CLI::App& app) -> std::function<int()> {
        auto options = std::make_shared<GzipOptions>();
        app.add_option("FILE", options->file, "File to compress, \"-\" for standard input")->required();
        app.add_option("--level", options->level,
                       "Compression level from 0 (stored) to 1 (best), in ninths; default: the library's own")
            ->check(CLI::Range(0.0f, 1.0f));
        app.footer("Empty input and input that is already gzip are written unchanged.");
        return [options] { return runGzip(*options); };
    },
}};

}  // namespace
