// Arbitrary formats against a fixed set of arguments: whatever conversions,
// positions, stars and plural marks a format holds, formatting stays defined.
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>

#include "KQFoundation/KQULocalizedNumberString.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const kq::Value object(kq::Array{kq::Value("x"), kq::Value(2.5)});
    static const std::array<kq::FormatArgument, 10> arguments{
        kq::FormatArgument(21),
        kq::FormatArgument(std::numeric_limits<std::int64_t>::min()),
        kq::FormatArgument(std::numeric_limits<std::uint64_t>::max()),
        kq::FormatArgument(-2.5),
        kq::FormatArgument(std::numeric_limits<long double>::infinity()),
        kq::FormatArgument("text \xF0\x9F\x98\x80"),
        kq::FormatArgument(object),
        kq::FormatArgument(nullptr),
        kq::FormatArgument(static_cast<const void*>(&object)),
        kq::FormatArgument(-7),
    };
    const std::string_view format(reinterpret_cast<const char*>(data), size);
    (void)KQULocalizedNumberStringWithFormatImpl(nullptr, format, arguments);
    (void)kq::pluralCategoryOfFormat(format, std::span(arguments).first(size % arguments.size()));
    return 0;
}
