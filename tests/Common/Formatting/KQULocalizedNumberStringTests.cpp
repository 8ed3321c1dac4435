#include "KQFoundation/KQULocalizedNumberString.h"

#include <gtest/gtest.h>
#include <unicode/locid.h>
#include <unicode/plurrule.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <string>

#include "Support/ScopedEnvironment.h"

namespace {

using kq::PluralCategory;
using enum kq::PluralCategory;

// Counts 2 to 200 are covered by the cross-check below.
TEST(PluralCategory, FollowsEachLanguagesRule) {
    const struct {
        const char* language;
        std::int64_t count;
        PluralCategory expected;
    } rows[] = {
        {"ru", 0, ExactlyZero}, {"ru", 1, ExactlyOne}, {"ru", -1, One},   {"uk", -23, Few},
        {"pl", -1, One},        {"cs", -1, One},       {"en", -1, One},   {"de", 0, ExactlyZero},
        {"ru-RU", 21, Many},
        {"ru", std::numeric_limits<std::int64_t>::min(), Many},  // ...808: magnitude ends in 8
    };
    for (const auto& row : rows) {
        EXPECT_EQ(kq::pluralCategoryForInteger(row.language, row.count), row.expected)
            << row.language << " " << row.count;
    }
}

// An independent check of the rules against the grammar data of CLDR (through
// ICU), for the counts where the two agree. They differ on purpose for 0 and 1
// (exact tags here) and for Czech counts whose last two digits are 1 to 4
// above 100 (One and Few here, "other" in CLDR).
TEST(PluralCategory, AgreesWithCLDRForCountsUpTo200) {
    for (const char* language : {"ru", "uk", "pl", "cs", "en"}) {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::PluralRules> rules(icu::PluralRules::forLocale(icu::Locale(language), status));
        ASSERT_TRUE(U_SUCCESS(status)) << language;
        for (std::int32_t n = 2; n <= 200; ++n) {
            std::string keyword;
            rules->select(n).toUTF8String(keyword);
            PluralCategory expected = keyword == "one" ? One : keyword == "few" ? Few : Many;
            if (std::string(language) == "cs" && n > 100 && n % 100 >= 1 && n % 100 <= 4) {
                expected = n % 100 == 1 ? One : Few;
            }
            EXPECT_EQ(kq::pluralCategoryForInteger(language, n), expected) << language << " " << n;
        }
    }
}

TEST(PluralCategory, OnlyTheFirstMarkOnANumericConversionCounts) {
    const kqtest::ScopedEnvironment environment({{"LANGUAGE", "ru"}});
    kq::Bundle::setMainBundle(kq::Bundle::bundleWithPath(KQ_TEST_FIXTURES "/Plural"));
    auto category = [](std::string_view format, auto... args) {
        const std::array<kq::FormatArgument, sizeof...(args)> arguments{kq::FormatArgument(args)...};
        return kq::pluralCategoryOfFormat(format, arguments);
    };
    EXPECT_EQ(category("%?d", 22), Few);
    EXPECT_EQ(category("%d of %?d", 1, 5), Many);
    EXPECT_EQ(category("%?d then %?d", 21, 3), One);
    EXPECT_EQ(category("%2$s %1$?d", 3, "x"), std::nullopt);  // the mark belongs right after "%"
    EXPECT_EQ(category("%?1$d %2$s", 3, "x"), Few);
    EXPECT_EQ(category("%?.1f", 1.0), Many);
    EXPECT_EQ(category("%?lu", std::numeric_limits<std::uint64_t>::max()), One);  // read as -1
    EXPECT_EQ(category("%?hhd", 257), ExactlyOne);                               // prints 1
    EXPECT_EQ(category("%?@ %?d", "x", 3), std::nullopt);
    EXPECT_EQ(category("%?d", "three"), std::nullopt);
    EXPECT_EQ(category("%?d"), std::nullopt);
    EXPECT_EQ(category("%d", 3), std::nullopt);
    EXPECT_EQ(kq::pluralLanguage(), "ru");
    kq::Bundle::setMainBundle(nullptr);
    // Without localizations of its own the application speaks the user's language.
    const kqtest::ScopedEnvironment polish({{"LANG", "pl_PL.UTF-8"}});
    EXPECT_EQ(kq::pluralLanguage(), "pl");
}

TEST(KQULocalizedNumberString, PicksTheTaggedTranslation) {
    const kqtest::ScopedEnvironment environment({{"LANGUAGE", "ru"}});
    auto bundle = kq::Bundle::bundleWithPath(KQ_TEST_FIXTURES "/Plural");
    ASSERT_TRUE(bundle);
    kq::Bundle::setMainBundle(bundle);
    const char* format = "%?d files in %@";
    const struct {
        int count;
        const char* expected;
    } rows[] = {
        {1, "В Документы один файл"}, {3, "В Документы 3 файла"}, {5, "В Документы 5 файлов"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(KQULocalizedNumberStringWithFormat(nullptr, format, row.count, "Документы"), row.expected);
        EXPECT_EQ(KQULocalizedNumberStringWithFormat(bundle.get(), format, row.count, "Документы"), row.expected);
    }
    EXPECT_EQ(KQULocalizedNumberStringWithFormat(nullptr, "%?.1f files in %@", 2.5, "X"), "2.5 files in X");
    // No entry or an empty one: the format itself, still filled.
    EXPECT_EQ(KQULocalizedNumberStringWithFormat(nullptr, "%?d folders", 5), "5 folders");
    EXPECT_EQ(KQULocalizedNumberStringWithFormat(nullptr, "%?d items", 5), "5 items");
    EXPECT_EQ(KQULocalizedNumberStringWithFormat(nullptr, "", 5), "");
    EXPECT_EQ(KQULocalizedNumberStringWithFormat(nullptr, "%?d files in %@", 5, nullptr), "В (null) 5 файлов");
    kq::Bundle::setMainBundle(nullptr);
    const kqtest::ScopedEnvironment polish({{"LANGUAGE", "pl"}});  // no entries
    EXPECT_EQ(KQULocalizedNumberStringWithFormat(nullptr, format, 3, "X"), "3 files in X");
}

}  // namespace
