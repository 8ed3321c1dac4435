#pragma once
// Property lists to and from kq::Value: binary ("bplist00"), XML and the old
// text style (read only). Every value survives a round trip: dates as the
// exact double of seconds since 2001, integers from -2^63 to 2^64-1, strings
// with NULs and any Unicode.
//
// Readers never throw and never abort: anything they cannot read whole, or
// that passes one of the limits below, gives nullopt.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <system_error>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Value.h"

namespace kq {

enum class PropertyListFormat { XML, Binary };

class KQ_EXPORT PropertyList {
public:
    /// Larger inputs (and files) are refused before they are read.
    static constexpr std::size_t kMaximumInputSize = 64u << 20;
    /// Arrays and dictionaries nested deeper than this are refused while
    /// parsing. (XML is also bound by libxml2's own limit of 256 elements.)
    static constexpr std::size_t kMaximumDepth = 512;
    /// Values built from one input at the most: a binary list may refer to
    /// one object many times, and each reference becomes a copy.
    static constexpr std::size_t kMaximumValueCount = 2u << 20;
    /// Bytes of strings and data built from one input at the most.
    static constexpr std::size_t kMaximumDecodedBytes = 256u << 20;

    /// Binary, XML or old-style text, told apart by their first bytes.
    static std::optional<Value> read(const Data& bytes);
    static std::optional<Value> read(std::string_view bytes);
    /// nullopt for a missing file, a directory, a FIFO or a device, and for a
    /// file larger than kMaximumInputSize.
    static std::optional<Value> readFile(std::string_view path);
    /// The dictionary at the root of the file, or nullopt.
    static std::optional<Dictionary> readDictionaryFile(std::string_view path);

    /// Null values inside arrays and dictionaries are left out; URLs are
    /// written as their text. Empty when the value cannot be written whole: a
    /// null root, nesting deeper than kMaximumDepth, a string that is not
    /// UTF-8 and, in XML only, a string holding a control character XML
    /// cannot carry (such as U+0000) or a date outside the years 1 to 9999:
    /// write such values in binary.
    static Data write(const Value& value, PropertyListFormat format = PropertyListFormat::XML);
    /// Writes atomically (temporary file, then rename).
    static bool writeFile(std::string_view path, const Value& value,
                          PropertyListFormat format = PropertyListFormat::XML, std::error_code* error = nullptr);

    /// A keyed archive's object reference (UID). It is held as the one-key
    /// dictionary {"CF$UID": n}, its XML form: the binary reader turns a UID
    /// (marker 0x8n) into that dictionary, and the binary writer writes any
    /// such dictionary whose value is an integer from 0 to 2^32-1 as a UID.
    static Value UID(std::uint32_t n);
    /// The reference held by a UID value; nullopt for anything else.
    static std::optional<std::uint32_t> UIDValue(const Value& value);
};

}  // namespace kq
