#include "KQFoundation/KQUFileSize.h"

#include <gtest/gtest.h>

#include <cmath>

#include "Common/Formatting/FileSizeTexts.h"
#include "Common/Formatting/LocalizedNumberFormat.h"
#include "KQFoundation/Foundation/Bundle.h"
#include "KQFoundation/Foundation/Exceptions.h"
#include "KQFoundation/NSString+KQFoundation.h"
#include "KQFoundation/NSString+KQUFileSize.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TemporaryDirectory.h"

namespace {

#define NBSP "\u00A0"

class KQUFileSizeTests : public testing::Test {
protected:
    void SetUp() override { kq::detail::resetFileSizeTexts(); }
    void TearDown() override {
        kq::Bundle::setMainBundle(nullptr);
        kq::detail::resetFileSizeTexts();
    }
    kqtest::ScopedEnvironment environment_{{}, {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LC_NUMERIC", "LANG"}};
};

TEST_F(KQUFileSizeTests, MinimumLengthChoosesTheUnit) {
    struct Row {
        std::uint64_t bytes;
        std::uint64_t minLength;
        bool metric;
        KQUFileSizeUnit unit;
        const char* description;
    };
    const Row rows[] = {
        {1023, 1, false, KQUFileSizeUnitBytes, "1023" NBSP "bytes"},
        {1024, 1, false, KQUFileSizeUnitKB, "1.0" NBSP "KB"},
        {1048576, 1, false, KQUFileSizeUnitMB, "1.0" NBSP "MB"},
        {999, 1, true, KQUFileSizeUnitBytes, "999" NBSP "bytes"},
        {10485657, 2, false, KQUFileSizeUnitKB, "10239.9" NBSP "KB"},
        {10485760, 2, false, KQUFileSizeUnitMB, "10.0" NBSP "MB"},
        {UINT64_MAX, 1, true, KQUFileSizeUnitEB, "18.4" NBSP "EB"},
        // Lengths of 0 (wrapped) and 30 keep everything in bytes; "%u" shows the low 32 bits.
        {UINT64_MAX, 0, false, KQUFileSizeUnitBytes, "4294967295" NBSP "bytes"},
        {(1ull << 32) + 5, 0, false, KQUFileSizeUnitBytes, "5" NBSP "bytes"},
        {(1ull << 32) + 5, 30, true, KQUFileSizeUnitBytes, "5" NBSP "bytes"},
    };
    for (const Row& row : rows) {
        KQUFileSize size(row.bytes, row.minLength, row.metric);
        EXPECT_EQ(size.unit(), row.unit) << row.bytes << " " << row.minLength;
        EXPECT_EQ(size.value().isReal(), row.unit >= KQUFileSizeUnitKB) << row.bytes;
        EXPECT_EQ(size.description(), row.description) << row.bytes << " " << row.minLength;
    }
    EXPECT_EQ(KQUFileSize(1536).stringValue(), "1.5");
}

TEST_F(KQUFileSizeTests, UnitNamesAreBoundedToTheEightUnits) {
    const char* names[] = {"byte", "bytes", "KB", "MB", "GB", "TB", "PB", "EB"};
    for (std::int32_t unit = 0; unit < 8; ++unit)
        EXPECT_EQ(kq::stringWithFileSizeUnit(static_cast<KQUFileSizeUnit>(unit)), names[unit]);
    EXPECT_THROW(kq::stringWithFileSizeUnit(static_cast<KQUFileSizeUnit>(8)), kq::RangeException);
    EXPECT_THROW(kq::stringWithFileSizeUnit(static_cast<KQUFileSizeUnit>(-1)), kq::RangeException);
}

TEST_F(KQUFileSizeTests, CompactStringsJumpByThePrecisionRule) {
    const std::pair<std::uint64_t, const char*> rows[] = {
        {0, "0 bytes"},          {500, "500 bytes"},   {600, "1 KB"},          {30720, "30 KB"},
        {102400, "0.1 MB"},      {1048576, "1 MB"},    {1572864, "2 MB"},      {524288000, "500 MB"},
        {629145600, "1 GB"},     {1073741824, "1.0 GB"}, {1610612736, "1.5 GB"}, {1649267441664, "1.5 TB"},
        {UINT64_MAX, "16777216.0 TB"},
    };
    for (const auto& [bytes, expected] : rows) EXPECT_EQ(kq::compactFileSizeString(bytes, true, true), expected) << bytes;
    EXPECT_EQ(kq::compactFileSizeString(0, true, false), "0");
    EXPECT_EQ(kq::compactFileSizeString(0, false, true), "bytes");
    EXPECT_EQ(kq::compactFileSizeString(0, false, false), std::nullopt);
}

TEST_F(KQUFileSizeTests, NamesAndSeparatorsFollowTheUsersLanguageAndLocale) {
    struct Row {
        std::initializer_list<std::pair<const char*, const char*>> environment;
        const char* kilobytes;  // 1536 bytes
        const char* none;       // 0 bytes
        const char* compact;    // 1.5 GB
    };
    const Row rows[] = {
        {{{"LANG", "de_DE.UTF-8"}}, "1,5" NBSP "KB", "0" NBSP "Bytes", "1,5 GB"},
        {{{"LANG", "fr_FR.UTF-8"}}, "1,5" NBSP "Ko", "0" NBSP "octets", "1,5 GB"},
        {{{"LANG", "ru_RU.UTF-8"}}, "1,5" NBSP "КБ", "0" NBSP "байт", "1,5 GB"},
        {{{"LANG", "uk_UA.UTF-8"}}, "1,5" NBSP "КБ", "0" NBSP "байтів", "1,5 GB"},
        {{{"LANG", "pl_PL.UTF-8"}}, "1,5" NBSP "KB", "0" NBSP "bajtów", "1,5 GB"},
        {{{"LANG", "cs_CZ.UTF-8"}}, "1,5" NBSP "kB", "0" NBSP "bajtů", "1,5 GB"},
        {{{"LANG", "en_US.UTF-8"}}, "1.5" NBSP "KB", "0" NBSP "bytes", "1.5 GB"},
        {{{"LANG", "C.UTF-8"}}, "1.5" NBSP "KB", "0" NBSP "bytes", "1.5 GB"},
        // LC_NUMERIC decides only the separator, LANGUAGE only the words.
        {{{"LANG", "en_GB.UTF-8"}, {"LC_NUMERIC", "de_DE.UTF-8"}}, "1,5" NBSP "KB", "0" NBSP "bytes", "1,5 GB"},
        {{{"LANG", "de_CH.UTF-8"}, {"LANGUAGE", "fr"}}, "1.5" NBSP "Ko", "0" NBSP "octets", "1.5 GB"},
    };
    for (const Row& row : rows) {
        kqtest::ScopedEnvironment environment(row.environment);
        kq::detail::resetFileSizeTexts();
        EXPECT_EQ(kq::stringWithFileSize(1536), row.kilobytes);
        EXPECT_EQ(kq::stringWithFileSize(0), row.none);
        EXPECT_EQ(kq::compactFileSizeString(1610612736, true, true), row.compact);
    }
}

TEST_F(KQUFileSizeTests, HostStringsComeFirstAndBadFormatsFallBack) {
    kqtest::TemporaryDirectory host;
    host.writeFile("en.lproj/Localizable.strings",
                   "\"KB\" = \"KiB\";\n\"%1.1f\" = \"~%1.2f\";\n\"%u\" = \"%llu\";\n\"bytes\" = \"%s\";\n");
    kq::Bundle::setMainBundle(kq::Bundle::bundleWithPath(host.path()));
    kq::detail::resetFileSizeTexts();
    EXPECT_EQ(kq::stringWithFileSize(1536), "~1.50" NBSP "KiB");
    EXPECT_EQ(kq::stringWithFileSize(1ull << 20), "~1.00" NBSP "MB");
    EXPECT_EQ(KQUFileSize((1ull << 32) + 5, 0).description(), "4294967301" NBSP "%s");

    kqtest::TemporaryDirectory badHost;
    badHost.writeFile("en.lproj/Localizable.strings", "\"%1.1f\" = \"%s %n\";\n\"%u\" = \"%u%u\";\n");
    kq::Bundle::setMainBundle(kq::Bundle::bundleWithPath(badHost.path()));
    kq::detail::resetFileSizeTexts();
    EXPECT_EQ(kq::stringWithFileSize(1536), "1.5" NBSP "KB");
    EXPECT_EQ(kq::stringWithFileSize(7), "7" NBSP "bytes");
}

TEST(LocalizedNumberFormatTests, HonoursOnlyOneNumericConversion) {
    using kq::detail::formatNumber;
    struct Row {
        const char* format;
        kq::detail::FormattedNumber number;
        std::optional<std::string> expected;
    };
    const Row rows[] = {
        {"%u", (1ull << 32) + 7, "7"},   {"%d", 0xFFFFFFFFull, "-1"},  {"%hu", 65537ull, "1"},
        {"%lu", (1ull << 32) + 7, "4294967303"},                       {"%lld", UINT64_MAX, "-1"},
        {"%x", 255ull, "ff"},            {"%05.1f", 1.5, "001.5"},     {"%-4u|", 7ull, "7   |"},
        {"%'u", 1234567ull, "1234567"},  {"%.2f", 3ull, "3.00"},       {"%Lf", 0.5, "0.500000"},
        {"%u", 3.9, "3"},                {"%u", -1.0, "0"},            {"%d", -5.7, "-5"},
        {"%lld", -1e300, "-9223372036854775808"},                      {"%lu", 1e300, "18446744073709551615"},
        {"v.%1.1f", 2.25, "v.2.2"},      {"100%% of %u", 3ull, "100% of 3"}, {"none", 3ull, "none"},
    };
    for (const Row& row : rows) EXPECT_EQ(formatNumber(row.format, row.number, false), row.expected) << row.format;
    for (const char* format : {"%s", "%n", "%u %u", "%*d", "%1$u", "%100f", "%.100f", "%", "%@"})
        EXPECT_EQ(formatNumber(format, 3ull, false), std::nullopt) << format;

    kq::detail::resetNumberLocale("de_DE");
    EXPECT_EQ(formatNumber("v.%1.1f", 2.5, true), "v.2,5");
    EXPECT_EQ(formatNumber("%1.1f", 2.5, false), "2.5");
    kq::detail::resetNumberLocale("ar_EG");
    EXPECT_EQ(formatNumber("%1.1f", 2.5, true), "2.5");
    kq::detail::resetNumberLocale();
}

TEST(LocalizedNumberFormatTests, ReadsTheLeadingNumberLocaleFree) {
    const std::pair<const char*, double> rows[] = {
        {"1.5", 1.5}, {" \t-2e3x", -2000}, {".5", 0.5}, {"5.", 5},     {"1,5", 1},  {"abc", 0},
        {"", 0},      {"1e", 1},           {"+.e1", 0}, {"1e-400", 0}, {"0.000", 0}, {"-0.5e+1", -5},
    };
    for (const auto& [text, expected] : rows) EXPECT_EQ(kq::detail::leadingDoubleValue(text), expected) << text;
    EXPECT_EQ(kq::detail::leadingDoubleValue("1e400"), HUGE_VAL);
    EXPECT_EQ(kq::detail::leadingDoubleValue("-0.00012e401"), -HUGE_VAL);
}

}  // namespace
