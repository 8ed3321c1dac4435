// kq::PropertyList: tells the formats apart, bounds what is read, and hands
// over to the format's own reader or writer (see PropertyListCoding.h).
#include "KQFoundation/Foundation/PropertyList.h"

#include <filesystem>
#include <fstream>

#include "Foundation/PropertyListCoding.h"
#include "Foundation/SystemHooks.h"

namespace kq {

namespace {

/// XML, in whatever encoding: the first characters after byte-order marks and
/// white space (ignoring the zero bytes of UTF-16) open a declaration, a
/// DOCTYPE, a comment or the plist element.
bool looksLikeXML(std::string_view bytes) {
    std::string head;
    for (std::size_t i = 0; i < bytes.size() && i < 64 && head.size() < 6; ++i) {
        const auto c = static_cast<unsigned char>(bytes[i]);
        if (c == 0 || c == 0xFE || c == 0xFF || c == 0xEF || c == 0xBB || c == 0xBF) continue;
        if (head.empty() && (c == ' ' || c == '\t' || c == '\n' || c == '\r')) continue;
        head += static_cast<char>(c);
    }
    return head.starts_with("<?xml") || head.starts_with("<!") || head.starts_with("<plist");
}

std::optional<Value> readAny(std::string_view bytes) {
    if (bytes.starts_with("bplist")) return plist::readBinary(bytes);
    if (looksLikeXML(bytes)) return plist::readXML(bytes);
    auto text = plist::decodeText(bytes);
    if (!text) return std::nullopt;
    return plist::readText(*text, false);
}

}  // namespace

std::optional<Value> PropertyList::read(std::string_view bytes) {
    if (bytes.empty() || bytes.size() > kMaximumInputSize) return std::nullopt;
    try {
        return readAny(bytes);
    } catch (...) {  // out of memory: a reader must not take the process down
        return std::nullopt;
    }
}

std::optional<Value> PropertyList::read(const Data& bytes) {
    return read(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

std::optional<Value> PropertyList::readFile(std::string_view path) {
    namespace fs = std::filesystem;
    try {
        std::error_code error;
        const fs::path file{std::string(path)};
        // Only regular files: a directory, FIFO or device has no end to read to.
        if (!fs::is_regular_file(fs::status(file, error)) || error) return std::nullopt;
        const auto size = fs::file_size(file, error);
        if (error || size > kMaximumInputSize) return std::nullopt;
        std::ifstream in(file, std::ios::binary);
        if (!in) return std::nullopt;
        // Read one byte past the limit, in case the file grew since.
        std::string bytes(static_cast<std::size_t>(size) + 1, '\0');
        in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        if (in.bad()) return std::nullopt;
        bytes.resize(static_cast<std::size_t>(in.gcount()));
        return read(std::string_view(bytes));
    } catch (...) {
        return std::nullopt;
    }
}

std::optional<Dictionary> PropertyList::readDictionaryFile(std::string_view path) {
    auto value = readFile(path);
    if (!value || !value->isDictionary()) return std::nullopt;
    return std::move(*value->asDictionary());
}

Data PropertyList::write(const Value& value, PropertyListFormat format) {
    try {
        auto bytes = format == PropertyListFormat::XML ? plist::writeXML(value) : plist::writeBinary(value);
        return bytes ? std::move(*bytes) : Data();
    } catch (...) {
        return {};
    }
}

bool PropertyList::writeFile(std::string_view path, const Value& value, PropertyListFormat format,
                             std::error_code* error) {
    const Data bytes = write(value, format);
    if (bytes.empty()) {
        if (error) *error = std::make_error_code(std::errc::invalid_argument);
        return false;
    }
    return detail::writeFileAtomically(path, bytes, error);
}

Value PropertyList::UID(std::uint32_t n) {
    return Dictionary{{"CF$UID", Value(static_cast<unsigned long long>(n))}};
}

std::optional<std::uint32_t> PropertyList::UIDValue(const Value& value) {
    const Dictionary* dictionary = value.asDictionary();
    if (!dictionary || dictionary->size() != 1) return std::nullopt;
    const Value* n = dictionary->objectForKey("CF$UID");
    if (!n || !n->isInteger() || n->isLargeUnsigned() || n->integerValue() < 0 || n->integerValue() > UINT32_MAX)
        return std::nullopt;
    return static_cast<std::uint32_t>(n->integerValue());
}

}  // namespace kq
