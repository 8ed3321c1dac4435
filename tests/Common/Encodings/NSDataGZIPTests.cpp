#include <gtest/gtest.h>

#include <random>
#include <string>

#include "Common/Encodings/GZIP.h"
#include "KQFoundation/NSData+GZIP.h"

namespace {

kq::Data bytes(std::string_view text) {
    return kq::Data(text.begin(), text.end());
}

kq::Data randomBytes(std::size_t n, unsigned seed) {
    std::mt19937 generator(seed);
    kq::Data data(n);
    for (auto& b : data) b = std::uint8_t(generator());
    return data;
}

// Text with enough repetition for the levels to differ.
kq::Data sampleText(std::size_t n) {
    std::mt19937 generator(7);
    const char* words[] = {"alpha ", "beta ", "gamma ", "delta ", "epsilon ", "zeta\n", "eta ", "theta "};
    std::string text;
    while (text.size() < n) text += words[generator() % 8];
    return bytes(text);
}

// kqu's gzip script has zcat check the header and trailer of text and random data.
TEST(NSDataGZIPTests, RoundTripsAtEveryLevel) {
    for (const auto& input : {bytes("x"), sampleText(100000), randomBytes(70000, 1), kq::Data(1 << 20, 0)}) {
        for (const float level : {-1.0f, 0.0f, 0.5f, 1.0f}) {
            SCOPED_TRACE(testing::Message() << input.size() << " bytes at level " << level);
            const auto gz = kq::gzippedDataWithCompressionLevel(input, level);
            ASSERT_TRUE(gz);
            EXPECT_TRUE(kq::isGzippedData(*gz));
            EXPECT_EQ(kq::gunzippedData(*gz), input);
        }
    }
}

TEST(NSDataGZIPTests, EmptyGzipAndNonGzipDataComeBackUnchanged) {
    EXPECT_EQ(kq::gunzippedData({}), kq::Data{});
    // A valid zlib stream is not gzip.
    const kq::Data zlibStream{0x78, 0x9c, 0x4b, 0x04, 0x00, 0x00, 0x62, 0x00, 0x62};
    EXPECT_EQ(kq::gunzippedData(zlibStream), zlibStream);
    EXPECT_EQ(kq::gunzippedData({0x1f}), kq::Data{0x1f});
    EXPECT_FALSE(kq::isGzippedData({0x1f}));
    EXPECT_TRUE(kq::isGzippedData({0x1f, 0x8b}));
}

TEST(NSDataGZIPTests, LevelsAreNinthsRoundedHalfAwayFromZero) {
    const auto text = sampleText(200000);
    const auto at = [&](float level) { return *kq::gzippedDataWithCompressionLevel(text, level); };
    ASSERT_NE(at(4 / 9.0f), at(5 / 9.0f));
    EXPECT_EQ(at(0.5f), at(5 / 9.0f));  // 4.5 rounds up
    EXPECT_EQ(at(0.05f), at(0.0f));     // 0.45: stored
    EXPECT_EQ(at(0.06f), at(1 / 9.0f));
    EXPECT_EQ(at(-0.5f), at(6 / 9.0f));  // the library default
    EXPECT_FALSE(kq::gzippedDataWithCompressionLevel(text, 1.1f));
    EXPECT_FALSE(kq::gzippedDataWithCompressionLevel(text, std::numeric_limits<float>::quiet_NaN()));
    EXPECT_FALSE(kq::gzippedDataWithCompressionLevel(text, std::numeric_limits<float>::infinity()));
}

TEST(NSDataGZIPTests, DamagedStreamsGiveTheUntrimmedBuffer) {
    const auto text = sampleText(300000);
    const auto gz = *kq::gzippedData(text);
    const kq::Data truncated(gz.begin(), gz.begin() + gz.size() / 2);
    const auto out = kq::gunzippedData(truncated);
    ASSERT_TRUE(out);
    const std::size_t step = truncated.size() / 2;
    EXPECT_EQ(out->size() % step, 0u);
    // Decompressed bytes, then the zero padding of the last step.
    std::size_t produced = 0;
    while (produced < out->size() && (*out)[produced] == text[produced]) ++produced;
    ASSERT_GT(produced, text.size() / 4);
    EXPECT_LT(out->size() - produced, step + 1);
    for (std::size_t i = produced; i < out->size(); ++i) ASSERT_EQ((*out)[i], 0) << i;

    // A broken trailer and a flipped body byte: no crash, a buffer in whole steps.
    auto badTrailer = gz;
    badTrailer[gz.size() - 6] ^= 0xFF;
    auto badBody = gz;
    badBody[gz.size() / 2] ^= 0x55;
    for (const auto& damaged : {badTrailer, badBody}) {
        const auto result = kq::gunzippedData(damaged);
        ASSERT_TRUE(result);
        EXPECT_EQ(result->size() % (damaged.size() / 2), 0u);
    }
    EXPECT_EQ(kq::gunzippedData({0x1f, 0x8b}), (kq::Data{0}));
}

TEST(NSDataGZIPTests, OutputBeyondTheLimitIsRefused) {
    const kq::Data zeros(1 << 20, 0);
    const auto gz = *kq::gzippedData(zeros);
    EXPECT_EQ(kq::detail::gunzippedData(gz, zeros.size()), zeros);
    EXPECT_FALSE(kq::detail::gunzippedData(gz, zeros.size() - 1));
}

}  // namespace
