// kqu crc32 FILE [--seed N] [--polynomial N]: the CRC-32 of FILE ("-" =
// standard input) as 8 lower-case hexadecimal digits.
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "ByteInput.h"
#include "Command.h"
#include "KQFoundation/NSData+CRC32Hashing.h"

namespace {

struct Crc32Options {
    std::string file;
    std::optional<std::string> seed;
    std::optional<std::string> polynomial;
};

/// A 32-bit number in decimal or 0x-hexadecimal (no octal: "010" is ten).
std::optional<std::uint32_t> parseNumber(const std::string& text) {
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const std::string digits = hex ? text.substr(2) : text;
    if (digits.empty() || digits.size() > 10) return std::nullopt;
    std::uint64_t value = 0;
    for (const char c : digits) {
        int digit;
        if (c >= '0' && c <= '9') digit = c - '0';
        else if (hex && c >= 'a' && c <= 'f') digit = c - 'a' + 10;
        else if (hex && c >= 'A' && c <= 'F') digit = c - 'A' + 10;
        else return std::nullopt;
        value = value * (hex ? 16 : 10) + std::uint64_t(digit);
    }
    if (value > 0xFFFFFFFFu) return std::nullopt;
    return std::uint32_t(value);
}

std::uint32_t numberOption(const std::optional<std::string>& text, std::uint32_t fallback, const char* name) {
    if (!text) return fallback;
    const auto value = parseNumber(*text);
    if (!value)
        throw kqu::CommandFailure{kqu::kExitUsage, std::string("crc32: --") + name + " '" + *text +
                                                       "' is not a 32-bit number (decimal or 0x-hexadecimal)"};
    return *value;
}

int runCrc32(const Crc32Options& options) {
    const std::uint32_t polynomial = numberOption(options.polynomial, kq::kCRC32DefaultPolynomial, "polynomial");
    std::uint32_t crc = ~numberOption(options.seed, kq::kCRC32DefaultSeed, "seed");
    // Piece by piece: each piece continues from the complement of the result so far.
    kqu::readInputInPieces(options.file, std::size_t{4} << 20, [&](const std::uint8_t* bytes, std::size_t n) {
        crc = kq::CRC32ForBytes(bytes, n, ~crc, polynomial);
    });
    std::printf("%08x\n", crc);
    return kqu::kExitSuccess;
}

const kqu::CommandRegistration registration{{
    "crc32",
    "Print the CRC-32 of FILE (\"-\" = standard input) as 8 hexadecimal digits",
    [](CLI::App& app) -> std::function<int()> {
        auto options = std::make_shared<Crc32Options>();
        app.add_option("FILE", options->file, "File, \"-\" for standard input")->required();
        app.add_option("--seed", options->seed, "Start value of the register (default 0xFFFFFFFF); to continue a "
                                                "checksum pass its complement");
        app.add_option("--polynomial", options->polynomial, "Reflected polynomial (default 0xEDB88320)");
        app.footer("Numbers are decimal or 0x-hexadecimal. The result is the complement of the register.");
        return [options] { return runCrc32(*options); };
    },
}};

}  // namespace
