#include "KQFoundation/KQUByteCountFormatter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "Common/Formatting/LocalizedNumberFormat.h"
#include "KQFoundation/Foundation/Exceptions.h"

namespace {

using Formats = KQUByteCountFormatter::Formats;
const Formats kAllUnits{{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}};

class KQUByteCountFormatterTests : public testing::Test {
protected:
    void SetUp() override { kq::detail::resetNumberLocale(""); }
    void TearDown() override { kq::detail::resetNumberLocale(); }
};

TEST_F(KQUByteCountFormatterTests, ChoosesTheLargestEnabledUnitAboveZero) {
    const struct {
        Formats formats;
        std::uint64_t countStyle, roundMode, count;
        const char* expected;
    } rows[] = {
        {{{0, 0}}, 1, 0, 0, "0 bytes"},             {{{0, 0}}, 1, 0, 1023, "1023 bytes"},
        {kAllUnits, 1, 0, 1024, "1 KB"},            {kAllUnits, 1, 0, 1048575, "1023 KB"},
        {kAllUnits, 1, 0, 1048576, "1 MB"},         {kAllUnits, 1, 0, 1099511627776, "1 TB"},
        {kAllUnits, 1, 2, 1048064, "1 MB"},         {kAllUnits, 1, 0, UINT64_MAX, "16777216 TB"},
        {{{0, 0}, {1, 0}}, 0, 0, 1000, "1 KB"},     {{{0, 0}, {1, 0}}, 0, 0, 999, "999 bytes"},
        {{{2, 0}}, 1, 0, 100, "0 MB"},              {{{2, 0}}, 1, 0, 0, "0 bytes"},
        {{}, 1, 0, 5000, "0 bytes"},
        {{{1, 2}}, 1, 1, 1025, "1.01 KB"},          {{{1, 2}}, 1, 7, 1025, "1.00 KB"},
        {{{1, 1}}, 1, 0, 1535, "1.4 KB"},           {{{1, 1}}, 1, 2, 1535, "1.5 KB"},
        // The signed 32-bit step: what does not fit is INT32_MIN, never above zero.
        {{{0, 0}}, 1, 0, 3000000000, "-2147483648 bytes"},
        {{{0, 0}, {1, 0}}, 1, 0, 3000000000, "2929687 KB"},
        {{{1, 9}}, 1, 0, 3072, "-2.147483648 KB"},
        {{{0, 0}, {1, 9}}, 1, 0, 3072, "3072 bytes"},
    };
    for (const auto& row : rows) {
        KQUByteCountFormatter formatter;
        formatter.setFormats(row.formats);
        formatter.setCountStyle(row.countStyle);
        formatter.setRoundMode(row.roundMode);
        EXPECT_EQ(formatter.stringFromByteCount(row.count), row.expected) << row.count;
    }
}

TEST_F(KQUByteCountFormatterTests, IncludeFlagsPickTheComponents) {
    KQUByteCountFormatter formatter;
    formatter.setPrecision(1, 1);
    EXPECT_EQ(formatter.stringFromByteCount(1536), "1.5 KB");
    const auto components = formatter.componentsFromByteCount(1536);
    ASSERT_TRUE(components);
    EXPECT_EQ(*components, (kq::Dictionary{{kKQUByteCountFormatterCountKey, "1.5"},
                                           {kKQUByteCountFormatterUnitKey, "KB"}}));

    formatter.setIncludeCount(false);
    EXPECT_EQ(formatter.stringFromByteCount(1536), "KB");
    formatter.setIncludeUnits(false);
    EXPECT_EQ(formatter.stringFromByteCount(1536), std::nullopt);
    EXPECT_EQ(formatter.componentsFromByteCount(1536), std::nullopt);
    formatter.setIncludeCount(true);
    EXPECT_EQ(formatter.stringFromByteCount(1536), "1.5");
    // The count takes the user's decimal separator.
    kq::detail::resetNumberLocale("de_DE");
    EXPECT_EQ(formatter.stringFromByteCount(1536), "1,5");
    EXPECT_EQ(formatter.editingStringForObjectValue(kq::Value(1536)), "1,5");
}

TEST_F(KQUByteCountFormatterTests, UnitsAboveFourRaiseWhenShown) {
    const char* names[] = {"bytes", "KB", "MB", "GB", "TB"};
    for (std::uint64_t unit = 0; unit < 5; ++unit) EXPECT_EQ(KQUByteCountFormatter::unitStringForUnit(unit), names[unit]);
    EXPECT_THROW(KQUByteCountFormatter::unitStringForUnit(5), kq::RangeException);

    KQUByteCountFormatter formatter;
    formatter.setFormats({{5, 0}});
    EXPECT_THROW(formatter.stringFromByteCount(100), kq::RangeException);
    formatter.setIncludeUnits(false);
    EXPECT_EQ(formatter.stringFromByteCount(100), "0");
}

TEST_F(KQUByteCountFormatterTests, NormalizesThroughRoundModeAndSigned32Bits) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const struct {
        std::uint64_t mode;
        double value;
        std::uint64_t precision;
        double expected;
    } rows[] = {
        {0, 1.999, 2, 1.99},        {1, 1.001, 2, 1.01},       {2, 2.5, 0, 3},
        {2, -2.5, 0, -3},           {0, -1.5, 0, -2},          {3, -1.7, 0, -1},
        {3, 1.7, 0, 1},             {2, 2147483647.4, 0, 2147483647},
        {2, 2147483647.5, 0, INT32_MIN}, {0, -2147483648.0, 0, INT32_MIN},
        {0, -2147483649.0, 0, INT32_MIN}, {0, nan, 0, INT32_MIN},
        {0, 1e300, 0, INT32_MIN},   {0, 5, UINT64_MAX, INT32_MIN / 1e19},
    };
    for (const auto& row : rows) {
        KQUByteCountFormatter formatter;
        formatter.setRoundMode(row.mode);
        EXPECT_DOUBLE_EQ(formatter.normalizeValue(row.value, row.precision), row.expected)
            << row.mode << " " << row.value << " " << row.precision;
    }
    EXPECT_EQ(KQUByteCountFormatter::roundFunctionForMode(3), nullptr);
    EXPECT_EQ(KQUByteCountFormatter::roundFunctionForMode(UINT64_MAX), nullptr);
}

TEST_F(KQUByteCountFormatterTests, ParsesBackWithoutLocaleAndNeverFails) {
    KQUByteCountFormatter formatter;
    const std::pair<const char*, double> rows[] = {
        {"1.5 GB", 1.5}, {"abc", 0}, {"", 0}, {"1,5 KB", 1}, {"-3 KB", 3}, {"1 234.5", 1234.5}, {"1.2.3", 1.2},
    };
    for (const auto& [text, expected] : rows) {
        kq::Value value;
        EXPECT_TRUE(formatter.getObjectValue(&value, text, nullptr));
        EXPECT_EQ(value, kq::Value(expected)) << text;
    }
    std::string error = "untouched";
    EXPECT_TRUE(formatter.getObjectValue(nullptr, "x", &error));
    EXPECT_EQ(error, "untouched");
    EXPECT_EQ(KQUByteCountFormatter::stringNumberInString(" a1.2,3\tb9 "), "1.2,39");

    formatter.setPrecision(1, 1);
    EXPECT_EQ(formatter.editingStringForObjectValue(kq::Value(1536)), "1.5");
    EXPECT_EQ(formatter.stringForObjectValue(kq::Value(1536.9)), "1.5 KB");
    EXPECT_EQ(formatter.stringForObjectValue(kq::Value(-1.0)), "-2147483648 bytes");
    EXPECT_EQ(formatter.stringForObjectValue(kq::Value("1536")), std::nullopt);
    EXPECT_EQ(formatter.editingStringForObjectValue(kq::Value()), std::nullopt);

    EXPECT_TRUE(KQUByteCountFormatter::isNonZeroValue(kq::Value(0.006), "%.2f"));
    EXPECT_FALSE(KQUByteCountFormatter::isNonZeroValue(kq::Value(0.004), "%.2f"));
    EXPECT_FALSE(KQUByteCountFormatter::isNonZeroValue(kq::Value(0.5), "%s"));
    EXPECT_FALSE(KQUByteCountFormatter::isNonZeroValue(kq::Value("1"), "%f"));
}

}  // namespace
