#pragma once
// The parsed form of a printf-style format, for callers that look at its
// conversions before filling it (the plural mark of localized number strings).
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "KQFoundation/Foundation/FormatArgument.h"

namespace kq::detail {

enum class FormatLength { None, Char, Short, Long, LongLong, IntMax, Size, PtrDiff, LongDouble, Quad };

enum class ConversionClass { Integer, Floating, Character, Text, Object, Pointer, Percent, Unknown };

/// A width or precision: absent, written, or taken from an argument.
struct FormatAmount {
    enum class Source { None, Literal, Argument } source = Source::None;
    int value = 0;         // Literal
    std::size_t index = 0; // Argument
};

struct FormatConversion {
    std::size_t begin = 0;  // byte range of the whole conversion in the format
    std::size_t end = 0;
    bool pluralMark = false;
    std::string flags;
    FormatAmount width;
    FormatAmount precision;
    FormatLength length = FormatLength::None;
    char conversion = 0;
    ConversionClass kind = ConversionClass::Unknown;
    std::size_t argument = 0;  // meaningful when takesArgument()

    bool takesArgument() const { return kind != ConversionClass::Percent && kind != ConversionClass::Unknown; }
};

/// Every conversion of the format in order, "%%" and unknown ones included.
std::vector<FormatConversion> parseFormat(std::string_view format);

/// The format filled from the arguments.
std::string renderFormat(std::string_view format, const std::vector<FormatConversion>& conversions,
                         std::span<const FormatArgument> arguments);

/// The number an integer conversion prints from its argument, as a signed
/// 64-bit value (unsigned conversions reinterpreted); nullopt when the
/// argument is missing or not a number.
std::optional<std::int64_t> integerValueOf(const FormatConversion& conversion,
                                           std::span<const FormatArgument> arguments);

}  // namespace kq::detail
