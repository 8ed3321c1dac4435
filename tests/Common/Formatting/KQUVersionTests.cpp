#include "KQFoundation/KQUVersion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <unordered_map>

namespace {

struct ParseRow {
    const char* text;
    std::vector<std::int64_t> components;  // empty: not a version
    KQUVersionStage stage;
};

TEST(KQUVersionTests, ParsesVersionTextsAsBundlesWriteThem) {
    const ParseRow rows[] = {
        {"1.0", {1, 0}, KQUVersionStageRelease},
        {" 1.0\n", {1, 0}, KQUVersionStageRelease},
        {"1.2a", {1, 2}, KQUVersionStageAlpha},
        {"1.2a7", {1, 2}, KQUVersionStageAlpha},
        {"1.2 a", {1, 2}, KQUVersionStageAlpha},
        {"1.2 alpha", {1, 2}, KQUVersionStageRelease},
        {"1.2beta", {1, 2}, KQUVersionStageRelease},
        {"1.2.3 (45)", {1, 2, 3}, KQUVersionStageRelease},
        {"1.2-4", {1, 2}, KQUVersionStageRelease},
        {"1.2..3", {1, 2}, KQUVersionStageRelease},
        {"1.2.", {1, 2}, KQUVersionStageRelease},
        {"\xC2\xA0" "2.5", {2, 5}, KQUVersionStageRelease},
        {"99999999999999999999.1", {INT64_MAX, 1}, KQUVersionStageRelease},
        {"", {}, KQUVersionStageRelease},
        {"abc", {}, KQUVersionStageRelease},
        {"12a", {}, KQUVersionStageRelease},
        {"1..2", {}, KQUVersionStageRelease},
        {"1. 2", {}, KQUVersionStageRelease},
        {"\xFF\xFE" "1", {}, KQUVersionStageRelease},
    };
    for (const ParseRow& row : rows) {
        SCOPED_TRACE(row.text);
        KQUVersionStage stage = static_cast<KQUVersionStage>(-1);
        auto components = KQUVersion::componentsFromVersionString(row.text, &stage);
        if (row.components.empty()) {
            EXPECT_FALSE(components);
            EXPECT_EQ(stage, -1) << "the stage is written only on success";
            continue;
        }
        ASSERT_TRUE(components);
        EXPECT_EQ(*components, row.components);
        EXPECT_EQ(stage, row.stage);
    }
}

TEST(KQUVersionTests, CoderRoundTrip) {
    auto beta = KQUVersion::versionWithString("3.1b").value();
    kq::Dictionary archive = beta.encodeWithCoder();
    EXPECT_EQ(*archive.stringValueForKey("version"), "3.1b");
    EXPECT_EQ(KQUVersion::initWithCoder(archive), beta);
    EXPECT_FALSE(KQUVersion::initWithCoder({{"version", kq::Value("junk")}}));
    EXPECT_FALSE(KQUVersion::initWithCoder({{"version", kq::Value(std::int64_t{3})}}));
}

TEST(KQUVersionTests, OrderingEqualityAndHashAgree) {
    // Each row is ordered strictly before the next.
    const char* ascending[] = {"1.2", "1.2.0", "1.10", "2.0a", "2.0b", "2.0", "2.0.1a", "10.0"};
    std::vector<KQUVersion> versions;
    for (const char* text : ascending) versions.push_back(KQUVersion::versionWithString(text).value());
    for (std::size_t i = 0; i < versions.size(); ++i) {
        for (std::size_t j = 0; j < versions.size(); ++j) {
            int expected = i < j ? -1 : (i > j ? 1 : 0);
            EXPECT_EQ(versions[i].compare(versions[j]), expected) << ascending[i] << " vs " << ascending[j];
        }
    }
    std::vector<KQUVersion> shuffled(versions.rbegin(), versions.rend());
    std::sort(shuffled.begin(), shuffled.end());
    EXPECT_EQ(shuffled, versions);

    auto a = KQUVersion::versionWithString("v10.6.8").value();
    auto b = KQUVersion::versionWithString("10.6.8").value();
    EXPECT_EQ(a.hash(), b.hash());
    std::unordered_map<KQUVersion, int> byVersion{{a, 1}};
    EXPECT_EQ(byVersion.count(b), 1u);
    EXPECT_EQ(byVersion.count(KQUVersion::versionWithString("10.6.8b").value()), 0u);
}

TEST(KQUVersionTests, PrefersTheBundleVersionOnlyWhenItExtendsTheShortOne) {
    struct Row {
        std::optional<std::string> bundle, shortVersion;
        const char* expected;  // nullptr: none
    };
    const Row rows[] = {
        {"2.1.5", "2.1", "2.1.5"},
        {"1456", "2.1", "2.1"},
        {"2.10", "2.1", "2.10"},  // a textual prefix, nothing more
        {"3.0", "2.1", "2.1"},
        {"2.1b", "2.1", "2.1 beta"},
        {std::nullopt, "2.1", "2.1"},
        {"2.1.5", std::nullopt, "2.1.5"},
        {"junk", "also junk", nullptr},
    };
    for (const Row& row : rows) {
        auto version = KQUVersion::preferredVersionWithBundleVersion(row.bundle, row.shortVersion);
        if (!row.expected) {
            EXPECT_FALSE(version);
            continue;
        }
        ASSERT_TRUE(version);
        EXPECT_EQ(version->stringRepresentationWithStage(), row.expected);
    }

    kq::Dictionary info{{"CFBundleVersion", kq::Value(std::int64_t{100})},
                        {"CFBundleShortVersionString", kq::Value("1.0.0")}};
    EXPECT_EQ(KQUVersion::bundleInfo(info, "CFBundleVersion"), "100");
    EXPECT_EQ(KQUVersion::versionWithBundleInfo(info)->stringRepresentation(), "1.0.0");
    info.setObject("CFBundleVersion", kq::Value(kq::Array{}));
    EXPECT_FALSE(KQUVersion::bundleInfo(info, "CFBundleVersion"));
    EXPECT_FALSE(KQUVersion::versionWithBundleInfo(kq::Dictionary{}));
}

}  // namespace
