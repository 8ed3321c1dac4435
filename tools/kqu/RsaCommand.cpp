// kqu rsa encrypt|decrypt --key PEM_FILE [--padding N] FILE: RSA over data of
// any length, block by block. Encrypting prints base64 text; decrypting reads
// base64 text and writes the bytes.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/pem.h>

#include <cstdio>
#include <memory>
#include <string>

#include "ByteInput.h"
#include "Command.h"
#include "KQFoundation/Foundation/Base64.h"
#include "KQFoundation/KQUCryptor.h"

namespace {

struct RsaOptions {
    std::string action;
    std::string keyFile;
    std::int32_t padding = KQUCryptorPaddingPKCS1;
    std::string file;
};

int runRsa(const RsaOptions& options) {
    const std::string key = kqu::readInputText(options.keyFile, "key file");
    // The library leaves reading private keys to its host.
    KQUOpenSSLLoad();
    KQUPEMReadBIORSAPrivateKey = &PEM_read_bio_RSAPrivateKey;
    const auto cryptor = KQUCryptor::create(key, options.padding);
    if (!cryptor)
        throw kqu::CommandFailure{kqu::kExitInputFailure,
                                  options.keyFile + ": no RSA key read (expected a PEM public or private key)"};
    const std::string input = kqu::readInputText(options.file, "input");
    if (options.action == "encrypt") {
        const auto encrypted = cryptor->encryptData(kq::Data(input.begin(), input.end()));
        if (!encrypted)
            throw kqu::CommandFailure{kqu::kExitInputFailure,
                                      "encryption failed (with padding 0 the input must be whole key-sized blocks)"};
        std::printf("%s\n", kq::base64EncodedString(*encrypted).c_str());
        return kqu::kExitSuccess;
    }
    const auto data = kq::dataFromBase64String(input);
    if (!data) throw kqu::CommandFailure{kqu::kExitInputFailure, options.file + ": not base64 text"};
    const auto plain = cryptor->decryptData(*data);
    if (!plain)
        throw kqu::CommandFailure{kqu::kExitInputFailure,
                                  "decryption failed: not encrypted for this key, or with another padding"};
    kqu::writeOutput(*plain);
    return kqu::kExitSuccess;
}

const kqu::CommandRegistration registration{kqu::Command{
    "rsa",
    "Encrypt or decrypt data of any length with an RSA key (base64 text on the encrypted side)",
    [](CLI::App& app) -> std::function<int()> {
        auto options = std::make_shared<RsaOptions>();
        app.footer(
            "A public key encrypts and decrypts what its private key encrypted (signed); a private key decrypts "
            "what the public key encrypted and encrypts (signs) for it. The data is cut into blocks: key size - 12 "
            "bytes with padding 1, key size - 42 with 2, the key size with 0 and 3.\nExit status: 0 success; 1 bad "
            "usage; 2 an unreadable file or key, or data that does not encrypt or decrypt.");
        app.add_option("ACTION", options->action, "encrypt or decrypt")
            ->required()
            ->check(CLI::IsMember({"encrypt", "decrypt"}));
        app.add_option("FILE", options->file, "Input file, - for stdin")->required();
        app.add_option("--key", options->keyFile, "PEM key file (public or private)")->required();
        app.add_option("--padding", options->padding, "0 none, 1 PKCS #1 v1.5 (default), 2 OAEP, 3 SSL v2.3");
        return [options] { return runRsa(*options); };
    }}};

}  // namespace
