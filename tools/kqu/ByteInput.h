#pragma once
// Input and output of the byte-level subcommands (gzip, gunzip, crc32, rsa, form): FILE
// or "-" for standard input, raw bytes to standard output.
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "KQFoundation/Foundation/Value.h"

namespace kqu {

/// Hands the input to `consume` in pieces of at most `pieceSize` bytes; a
/// CommandFailure (exit 2) saying why when it cannot be read.
void readInputInPieces(const std::string& file, std::size_t pieceSize,
                       const std::function<void(const std::uint8_t*, std::size_t)>& consume);
/// The whole input.
kq::Data readInput(const std::string& file);
/// The whole input as text; the failure names what was being read
/// ("KEY.pem: No such file or directory (cannot read the key file)").
std::string readInputText(const std::string& file, const std::string& what);
/// Writes the bytes to standard output; a CommandFailure when that fails.
void writeOutput(const kq::Data& data);
/// Writes all the bytes to the descriptor, waiting whenever it is full (a
/// pipe we were handed may be non-blocking); false on any other failure.
bool writeAllToDescriptor(int fd, const std::uint8_t* bytes, std::size_t size);

}  // namespace kqu
