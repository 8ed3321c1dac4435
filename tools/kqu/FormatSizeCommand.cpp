// kqu format-size BYTES: a byte count as the library shows file sizes.
#include <charconv>
#include <cstdio>
#include <memory>
#include <string>

#include "Command.h"
#include "KQFoundation/KQUFileSize.h"
#include "KQFoundation/NSString+KQFoundation.h"

namespace {

struct FormatSizeOptions {
    std::string bytes;
    std::string minLength = "1";
    bool compact = false;
    bool metric = false;
};

/// A plain decimal number of at most 64 bits, or a usage failure naming it.
std::uint64_t decimalOrFail(const std::string& text, const char* what) {
    std::uint64_t value = 0;
    const char* end = text.data() + text.size();
    auto [stop, error] = std::from_chars(text.data(), end, value);
    if (text.empty() || error != std::errc() || stop != end) {
        const char* why = error == std::errc::result_out_of_range ? "does not fit in 64 bits"
                                                                  : "is not a decimal number";
        throw kqu::CommandFailure{kqu::kExitUsage, std::string(what) + " '" + text + "' " + why};
    }
    return value;
}

int runFormatSize(const FormatSizeOptions& options) {
    const std::uint64_t bytes = decimalOrFail(options.bytes, "BYTES");
    std::string text;
    if (options.compact) {
        text = kq::compactFileSizeString(bytes, true, true).value_or("");
    } else {
        text = KQUFileSize(bytes, decimalOrFail(options.minLength, "--min-length"), options.metric).description();
    }
    std::printf("%s\n", text.c_str());
    return kqu::kExitSuccess;
}

const kqu::CommandRegistration registration{kqu::Command{
    "format-size",
    "Print a byte count as a file size (1.5 KB), in the user's language and number locale",
    [](CLI::App& app) -> std::function<int()> {
        auto options = std::make_shared<FormatSizeOptions>();
        app.add_option("BYTES", options->bytes, "Byte count (decimal, up to 18446744073709551615)")->required();
        auto* compact = app.add_flag("--compact", options->compact,
                                     "The compact form: whole KB or MB, tenths of GB and TB (1.5 GB)");
        app.add_flag("--metric", options->metric, "Steps of 1000 instead of 1024")->excludes(compact);
        app.add_option("--min-length", options->minLength,
                       "Digits a number may reach before the next unit is taken (default 1; 0 keeps bytes)")
            ->excludes(compact);
        return [options] { return runFormatSize(*options); };
    }}};

}  // namespace
