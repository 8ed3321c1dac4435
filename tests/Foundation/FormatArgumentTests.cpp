#include "KQFoundation/Foundation/FormatArgument.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

namespace {

using Args = std::vector<kq::FormatArgument>;

struct Row {
    const char* format;
    Args arguments;
    const char* expected;
};

void expectRows(const std::vector<Row>& rows) {
    for (const auto& row : rows) {
        EXPECT_EQ(kq::formatWithArguments(row.format, row.arguments), row.expected) << row.format;
    }
}

TEST(FormatArgument, NumbersWithWidthPrecisionStarsAndPositions) {
    expectRows({
        {"%d|%5d|%-5d|%05d|%+d", {1, 2, 3, 4, 5}, "1|    2|3    |00004|+5"},
        {"%hhd %hhu %hd", {300, -1, 70000}, "44 255 4464"},
        {"%d %ld", {(std::int64_t{1} << 32) + 5, std::int64_t{1} << 40}, "5 1099511627776"},
        {"%u %lu %llu", {-1, -1, std::uint64_t{18446744073709551615u}},
         "4294967295 18446744073709551615 18446744073709551615"},
        {"%x %X %#o %llx %zu %jd %td %qd", {255, 255u, 8, 4096LL, std::size_t{7}, -3, 9, 10},
         "ff FF 010 1000 7 -3 9 10"},
        {"%D %U %O", {std::int64_t{1} << 40, -1, 8}, "1099511627776 18446744073709551615 10"},
        {"%c%c %C %lc %C", {'o', 'k', 0x263A, 0x1F600, 0xD800}, "ok \u263A \U0001F600 \uFFFD"},
        {"%p", {reinterpret_cast<const void*>(0x1234)}, "0x1234"},
        {"%.2f %8.3f %e %g %Lf", {3.14159, 2.5, 1500.0, 0.0001, 1.5L}, "3.14    2.500 1.500000e+03 0.0001 1.500000"},
        {"%*d|%-*d|%*d", {5, 42, 3, 7, -3, 8}, "   42|7  |8  "},
        {"%.*f|%.*f", {2, 3.14159, -1, 0.5}, "3.14|0.500000"},
        {"%2$s %1$s %2$s", {"a", "b"}, "b a b"},
        {"%2$*1$d|%3$.*1$f", {4, 42, 1.0}, "  42|1.0000"},
        {"%1$d %d %d", {1, 2}, "1 1 2"},
    });
}

TEST(FormatArgument, TextObjectsNilAndMismatchedMissingOrUnknownConversionsStayDefined) {
    const kq::Value array(kq::Array{kq::Value(1)});
    const kq::Value* none = nullptr;
    expectRows({
        {"%@ %s %@", {"x", std::string("y"), array}, "x y (\n    1\n)"},
        {"%@|%s|%@", {nullptr, static_cast<const char*>(nullptr), none}, "(null)|(null)|(null)"},
        // Width and precision count UTF-16 units and never cut a character.
        {"[%5.2@][%-4s][%.1s][%.2s]", {"h\u00E9llo", "ab", "\U0001F600x", "\U0001F600x"},
         "[   h\u00E9][ab  ][][\U0001F600]"},
        {"%@ %s %@", {3, 2.5, reinterpret_cast<const void*>(0x10)}, "3 2.5 0x10"},
        // Numbers of the other kind are converted by value, saturating.
        {"%d %lld %llu %f %x", {2.9, 1e300, -1e300, 3, 2.0}, "2 9223372036854775807 9223372036854775808 3.000000 2"},
        {"%lld", {std::numeric_limits<double>::quiet_NaN()}, "0"},
        // Text and objects print their description under any conversion.
        {"%d %c %x %p %f", {"one", "two", kq::Value("three"), "four", "five"}, "one two three four five"},
        // Missing arguments: nil for text conversions, as written otherwise.
        {"%d and %@ and %s and %*d", {}, "%d and (null) and (null) and %*d"},
        // Unknown or broken conversions print as written and take nothing.
        {"%y %n %0$d %0?d %*.*y %d 50%", {5}, "%y %n %0$d %0?d %*.*y 5 50%"},
        {"100%% %5% %", {}, "100% % %"},
        {"%?d marked %?@", {3, "x"}, "3 marked x"},
        {"%ll", {1}, "%ll"},
    });
    EXPECT_EQ(kq::formatWithArguments("%99999d", Args{1}).size(), 4096u);
    EXPECT_EQ(kq::formatWithArguments("%.99999f", Args{1.0}).size(), 4098u);
}

}  // namespace
