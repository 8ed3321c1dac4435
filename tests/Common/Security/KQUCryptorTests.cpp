#include <gtest/gtest.h>

#include <numeric>

#include "Common/Security/OpenSSLLoader.h"
#include "KQFoundation/Foundation/Base64.h"
#include "KQFoundation/Foundation/Log.h"
#include "KQFoundation/System/FileManager.h"
#include "SecurityTestSupport.h"

namespace {

using kqtest::keys;

kq::Data bytes(std::size_t count) {
    kq::Data data(count);
    std::iota(data.begin(), data.end(), std::uint8_t{1});
    return data;
}

std::unique_ptr<KQUCryptor> publicCryptor(std::int32_t padding = KQUCryptorPaddingPKCS1) {
    return KQUCryptor::create(keys().main.publicPEM, padding);
}

std::unique_ptr<KQUCryptor> privateCryptor(std::int32_t padding = KQUCryptorPaddingPKCS1) {
    return KQUCryptor::create(keys().main.privatePEM, padding);
}

TEST(KQUOpenSSLSupportTests, LoaderFillsEveryPointerButThePrivateKeyReader) {
    KQUOpenSSLLoad();
    const auto hostReader = KQUPEMReadBIORSAPrivateKey;
    KQUOpenSSLLoad();  // a second call changes nothing
    for (bool set : {!!KQURSAEncryptPublic, !!KQURSAEncryptPrivate, !!KQURSADecryptPublic, !!KQURSADecryptPrivate,
                     !!KQUFreeRSAKey, !!KQURSAsize, !!KQUBIONewMemBuf, !!KQUBIOfree, !!KQUPEMReadBIORSAPUBKEY,
                     !!KQUERRGetError, !!KQUERRErrorString, !!KQUERRReasonErrorString, !!KQUERRLoadERRStrings,
                     !!KQUERRLoadRSAStrings})
        EXPECT_TRUE(set);
    EXPECT_EQ(KQUPEMReadBIORSAPrivateKey, hostReader);
}

TEST(KQUOpenSSLSupportDeathTest, MissingLibraryEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            kq::setLogSink({});
            kq::detail::loadOpenSSL("/nonexistent/libcrypto.so.3");
        },
        testing::ExitedWithCode(1),
        R"(\[.*KQUOpenSSLSupport\.cpp\] Unable to load library: /nonexistent/libcrypto\.so\.3)");
}

TEST(KQUCryptorTests, BlocksFollowTheModulusAndPadding) {
    const struct {
        std::int32_t padding;
        std::size_t input;
        std::optional<std::size_t> output;
    } cases[] = {
        {KQUCryptorPaddingPKCS1, 0, 0},     {KQUCryptorPaddingPKCS1, 244, 256}, {KQUCryptorPaddingPKCS1, 245, 512},
        {KQUCryptorPaddingOAEP, 214, 256},  {KQUCryptorPaddingOAEP, 215, 512},  {KQUCryptorPaddingNone, 256, 256},
        {KQUCryptorPaddingSSLv23, 256, std::nullopt},  // a full block leaves no room for the padding
        {99, 256, 256},                                // unknown paddings mean none
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "padding " << c.padding << ", " << c.input << " bytes");
        auto cryptor = publicCryptor(c.padding);
        ASSERT_TRUE(cryptor);
        // Raw blocks must stay below the modulus, whose top byte is never 0.
        kq::Data input = bytes(c.input);
        if (!input.empty()) input[0] = 0;
        const auto encrypted = cryptor->encryptData(input);
        ASSERT_EQ(encrypted.has_value(), c.output.has_value());
        if (!encrypted) continue;
        EXPECT_EQ(encrypted->size(), *c.output);
        EXPECT_EQ(KQUCryptor::create(keys().main.privatePEM, c.padding)->decryptData(*encrypted), input);
    }
}

TEST(KQUCryptorTests, InteroperatesWithTheOpensslCommand) {
    const auto& key = keys().main;
    const std::string dir = keys().dir.path();
    const auto& files = kq::FileManager::defaultManager();
    const kq::Data plain = bytes(64);  // the command signs no more than a digest's length
    files.createFileAtPath(dir + "/plain", plain);

    const struct {
        std::string options;
        bool privateDecrypts;
        std::int32_t padding;
    } commands[] = {
        {"-encrypt -pubin -inkey " + key.publicFile + " -pkeyopt rsa_padding_mode:oaep", true, KQUCryptorPaddingOAEP},
        {"-sign -inkey " + key.privateFile, false, KQUCryptorPaddingPKCS1},
    };
    for (const auto& c : commands) {
        SCOPED_TRACE(c.options);
        ASSERT_TRUE(kqtest::run("openssl pkeyutl " + c.options + " -in " + dir + "/plain -out " + dir + "/cipher"));
        const auto cryptor = c.privateDecrypts ? privateCryptor(c.padding) : publicCryptor(c.padding);
        EXPECT_EQ(cryptor->decryptData(files.contentsAtPath(dir + "/cipher").value_or(kq::Data())), plain);
    }

    const auto encrypted = *publicCryptor()->encryptData(bytes(300));
    ASSERT_EQ(encrypted.size(), 512u);
    kq::Data recovered;
    for (std::size_t offset = 0; offset < 512; offset += 256) {
        files.createFileAtPath(dir + "/block", kq::Data(encrypted.begin() + offset, encrypted.begin() + offset + 256));
        ASSERT_TRUE(kqtest::run("openssl pkeyutl -decrypt -inkey " + key.privateFile + " -in " + dir + "/block -out " +
                                dir + "/out"));
        const kq::Data part = files.contentsAtPath(dir + "/out").value_or(kq::Data());
        recovered.insert(recovered.end(), part.begin(), part.end());
    }
    EXPECT_EQ(recovered, bytes(300));
}

TEST(KQUCryptorTests, DecryptionUsesWholeBlocksOnly) {
    auto encrypted = *privateCryptor()->encryptData(bytes(50));
    const auto cryptor = publicCryptor();
    encrypted.resize(300, 0xAB);  // 44 trailing bytes are not a block
    EXPECT_EQ(cryptor->decryptData(encrypted), bytes(50));
    EXPECT_EQ(cryptor->decryptData(bytes(100)), kq::Data());
    EXPECT_EQ(cryptor->decryptData(kq::Data()), kq::Data());

    kq::LogCapture log;
    EXPECT_FALSE(cryptor->decryptData(kq::Data(256, 0xFF)));  // above the modulus
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(log.lines()[0].rfind("Encrypt error: error:", 0), 0u) << log.lines()[0];
}

TEST(KQUCryptorTests, KeysThatDoNotReadGiveNoCryptor) {
    const std::string body = keys().main.publicPEM.substr(keys().main.publicPEM.find('\n'));
    const void* host = reinterpret_cast<void*>(KQUPEMReadBIORSAPrivateKey);
    const struct {
        std::string text;
        bool withoutHostReader;
    } cases[] = {
        {"", false},
        {"-----BEGIN PUBLIC KEY-----\nbm90IGEga2V5\n-----END PUBLIC KEY-----\n", false},
        {"-----BEGIN CERTIFICATE-----" + body, false},         // names neither kind
        {"PUBLIC\n" + keys().main.privatePEM, false},        // the public reader is tried first
        {keys().main.privatePEM, true},                         // no private reader set by the host
        {keys().foreign.privatePEM.substr(0, 300), false},     // cut short
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text.substr(0, 40));
        if (c.withoutHostReader) KQUPEMReadBIORSAPrivateKey = nullptr;
        kq::LogCapture log;
        EXPECT_FALSE(KQUCryptor::create(c.text, KQUCryptorPaddingPKCS1));
        KQUPEMReadBIORSAPrivateKey = reinterpret_cast<decltype(KQUPEMReadBIORSAPrivateKey)>(const_cast<void*>(host));
        ASSERT_EQ(log.lines().size(), 2u);
        EXPECT_EQ(log.lines()[0], "Could not get RSA key");
        EXPECT_EQ(log.lines()[1].rfind("Encrypt error: ", 0), 0u);
    }
    // Extra words around a public key do not matter; "PUBLIC" decides the reader.
    EXPECT_TRUE(KQUCryptor::create("PRIVATE use only\n" + keys().main.publicPEM, KQUCryptorPaddingPKCS1));
}

TEST(KQUCryptorTests, EncryptedJSONNeedsBase64OfAnEncryptedObject) {
    const auto cryptor = publicCryptor();
    const auto sealed = [](std::string_view text) {
        return kq::base64EncodedString(*privateCryptor()->encryptData(kq::Data(text.begin(), text.end())));
    };
    EXPECT_FALSE(cryptor->valueFromEncryptedJSON(std::nullopt));
    EXPECT_FALSE(cryptor->valueFromEncryptedJSON("not base64!"));
    EXPECT_FALSE(cryptor->valueFromEncryptedJSON(""));
    EXPECT_FALSE(cryptor->valueFromEncryptedJSON(sealed("[1, 2]")));
    EXPECT_FALSE(cryptor->valueFromEncryptedJSON(sealed("{\"a\": \xff}")));

    const std::string padding(300, 'x');  // two blocks
    const auto value = cryptor->valueFromEncryptedJSON(sealed(R"({"n": 1, "pad": ")" + padding + "\"}"));
    ASSERT_TRUE(value);
    EXPECT_EQ(value->integerValueForKey("n", 0), 1);
    EXPECT_EQ(*value->stringValueForKey("pad"), padding);
}

}  // namespace
