// The cryptor's readers from arbitrary bytes: block decryption, and the
// base64 -> RSA -> JSON record path, with a fixed 1024-bit public key. The
// seed records were encrypted with its private key, which is not kept.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "KQFoundation/KQUCryptor.h"
#include "KQFoundation/Foundation/Log.h"

namespace {

constexpr std::string_view kPublicKey =
    "-----BEGIN PUBLIC KEY-----\n"
    "MIGfMA0GCSqGSIb3DQEBAQUAA4GNADCBiQKBgQDgWKq+/ABlyy+K0aZZv+X5W6xy\n"
    "7ax1NOUkL+6Eol0YgcUB5vkbzqpwC69GJ7N21BUmSG5i4XEmio9HaJtKmpDT58Rr\n"
    "kiYz5Q2ChxDUNlUWccn4RWce9oJKHEO8gs3lqV/XxCJ+FOamKZrJZdVbzgGMoB83\n"
    "n3AV8fphMZebrhK+zwIDAQAB\n"
    "-----END PUBLIC KEY-----\n";

const KQUCryptor& cryptor() {
    static const auto instance = [] {
        kq::setLogSink([](const std::string&) {});
        return KQUCryptor::create(kPublicKey, KQUCryptorPaddingPKCS1);
    }();
    return *instance;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    (void)cryptor().decryptData(kq::Data(data, data + size));
    (void)cryptor().valueFromEncryptedJSON(std::string_view(reinterpret_cast<const char*>(data), size));
    return 0;
}
