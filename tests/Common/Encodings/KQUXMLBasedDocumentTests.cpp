#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/timezone.h>

#include "Common/Security/SecurityTestSupport.h"
#include "KQFoundation/Foundation/Base64.h"
#include "KQFoundation/Foundation/Exceptions.h"
#include "KQFoundation/KQUXMLBasedDocument+KQUConvenienceInitializers.h"
#include "KQFoundation/NSData+GZIP.h"

namespace {

struct VersionThree : KQUXMLBasedDocument {
    static std::int64_t currentFormatVersion() { return 3; }
};

struct VersionTwo : KQUXMLBasedDocument {
    static std::int64_t currentFormatVersion() { return 2; }
};

/// Reads a field of its own and refuses documents without it.
struct Titled : VersionThree {
    std::string title;
    bool readXMLDocument(const kq::XMLDocument& document) override {
        const kq::XMLElement* element = document.rootElement()->elementForName("Title");
        if (!element) return false;
        title = element->stringValue();
        return true;
    }
};

struct Forgetful : KQUXMLBasedDocument {};

std::unique_ptr<kq::XMLDocument> documentWith(std::string_view attributes, std::string_view body = "") {
    return kq::XMLDocument::create("<Document " + std::string(attributes) + ">" + std::string(body) + "</Document>");
}

constexpr const char* kGood = R"(Version="3.0" CreationDate="2015-06-01T10:00:00")";

/// Base64 text of `plain` encrypted with the test's private key, as a publisher would send it.
kq::Data sealed(const kq::Data& plain, const std::string& privatePEM = kqtest::keys().main.privatePEM) {
    const auto encrypted = KQUCryptor::create(privatePEM, KQUCryptorPaddingPKCS1)->encryptData(plain);
    std::string text = kq::base64EncodedString(*encrypted);
    for (std::size_t i = 64; i < text.size(); i += 65) text.insert(i, "\n");
    return {text.begin(), text.end()};
}

kq::Data bytes(std::string_view text) { return {text.begin(), text.end()}; }

}  // namespace

TEST(KQUXMLBasedDocument, AcceptsOnlyItsMajorVersionAndAReadableDate) {
    const std::string date = R"( CreationDate="2015-06-01T10:00:00")";
    const struct {
        std::string attributes;
        bool three, two;
    } cases[] = {
        {kGood, true, false},
        {R"(Version="2.7")" + date, false, true},           {R"(Version="3")" + date, false, false},
        {R"(Version="3.")" + date, true, false},            {R"(Version=" +03.1.4")" + date, true, false},
        {R"(Version="3x.1")" + date, true, false},          {R"(Version="x.1")" + date, false, false},
        {R"(Version="30000000000000000000.0")" + date, false, false},
        {R"(Version="3.0" CreationDate="2015-06-01T10:00:00Z")", false, false},
        {R"(Version="3.0" CreationDate="2015-06-01T10:00:00.250")", false, false},
        {R"(Version="3.0")", false, false},
        {date, false, false},
    };
    for (const auto& c : cases) {
        auto document = documentWith(c.attributes);
        ASSERT_TRUE(document);
        EXPECT_EQ(KQUXMLBasedDocument::initWithXMLDocument<VersionThree>(document.get()) != nullptr, c.three)
            << c.attributes;
        EXPECT_EQ(KQUXMLBasedDocument::initWithXMLDocument<VersionTwo>(document.get()) != nullptr, c.two)
            << c.attributes;
    }
    EXPECT_FALSE(KQUXMLBasedDocument::initWithXMLDocument<VersionThree>(nullptr));
}

TEST(KQUXMLBasedDocument, KeepsVersionTextDateAndSubclassFields) {
    icu::TimeZone* saved = icu::TimeZone::createDefault();
    icu::TimeZone::adoptDefault(icu::TimeZone::createTimeZone("America/New_York"));
    auto document = documentWith(R"(Version="3.10" CreationDate="2015-06-01T10:00:00")", "<Title>T</Title>");
    auto opened = KQUXMLBasedDocument::initWithXMLDocument<Titled>(document.get());
    icu::TimeZone::adoptDefault(saved);
    ASSERT_TRUE(opened);
    EXPECT_EQ(opened->version(), "3.10");
    EXPECT_EQ(opened->creationDate(), kq::Date(std::chrono::duration<double>(1433167200.0)));  // 14:00Z
    EXPECT_EQ(opened->title, "T");
    EXPECT_FALSE(KQUXMLBasedDocument::initWithXMLDocument<Titled>(documentWith(kGood).get()));
}

TEST(KQUXMLBasedDocument, AbstractVersionThrowsOnlyWhenConsulted) {
    using Raised = kq::InternalInconsistencyException;
    const std::string reason = "'currentFormatVersion' class method should be overriden in subclass ";
    auto good = documentWith(kGood);
    EXPECT_THAT([&] { KQUXMLBasedDocument::initWithXMLDocument(good.get()); },
                testing::ThrowsMessage<Raised>(testing::StrEq(reason + "KQUXMLBasedDocument.")));
    EXPECT_THAT([&] { KQUXMLBasedDocument::initWithXMLDocument<Forgetful>(good.get()); },
                testing::ThrowsMessage<Raised>(testing::StrEq(reason + "(anonymous namespace)::Forgetful.")));
    // Without a date or a dotted version the class is never asked.
    EXPECT_FALSE(KQUXMLBasedDocument::initWithXMLDocument(documentWith(R"(Version="3.0")").get()));
    EXPECT_FALSE(KQUXMLBasedDocument::initWithXMLDocument(
        documentWith(R"(Version="3" CreationDate="2015-06-01T10:00:00")").get()));
}

TEST(KQUXMLBasedDocument, OpensEncryptedPlainAndGzipDocuments) {
    // Longer than one RSA block, so the text spans several.
    const kq::Data xml = bytes(R"(<Document Version="3.2" CreationDate="2015-06-01T10:00:00"><Title>)" +
                               std::string(600, 'x') + "</Title></Document>");
    const kq::Data gzip = *kq::gzippedData(xml);
    const kq::Data cut(gzip.begin(), gzip.end() - 12);
    const std::string& key = kqtest::keys().main.publicPEM;

    auto plain = KQUXMLBasedDocument::initWithEncryptedPlainData<Titled>(sealed(xml), key);
    ASSERT_TRUE(plain);
    EXPECT_EQ(plain->version(), "3.2");
    EXPECT_EQ(plain->title, std::string(600, 'x'));
    auto inflated = KQUXMLBasedDocument::initWithEncryptedGzipData<Titled>(sealed(gzip), key);
    ASSERT_TRUE(inflated);
    EXPECT_EQ(inflated->title, plain->title);

    const std::pair<const char*, kq::Data> plainRefusals[] = {
        {"gzip inside", sealed(gzip)},
        {"other key pair", sealed(xml, kqtest::keys().foreign.privatePEM)},
        {"empty", {}},
        {"not base64", bytes("<Document/>")},
    };
    for (const auto& [what, data] : plainRefusals)
        EXPECT_FALSE(KQUXMLBasedDocument::initWithEncryptedPlainData<Titled>(data, key)) << what;
    const std::pair<const char*, kq::Data> gzipRefusals[] = {{"plain inside", sealed(xml)}, {"cut short", sealed(cut)}};
    for (const auto& [what, data] : gzipRefusals)
        EXPECT_FALSE(KQUXMLBasedDocument::initWithEncryptedGzipData<Titled>(data, key)) << what;
}
