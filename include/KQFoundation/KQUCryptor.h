#pragma once
// KQUCryptor: RSA encryption and decryption of data of any length with one
// key. The data is cut into blocks that fit the key's modulus and padding,
// each block is transformed on its own and the results are concatenated.
// Whether the key is public or private is read from its PEM text. The first
// create() opens the crypto library (KQUOpenSSLLoad).
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Value.h"
#include "KQFoundation/KQUOpenSSLSupport.h"

/// Block padding. Plain bytes per block for a modulus of n bytes: PKCS1
/// n - 12, OAEP n - 42, None and SSLv23 n (a full block then fails with
/// SSLv23). Cipher blocks are always n bytes.
enum KQUCryptorPadding : std::int32_t {
    KQUCryptorPaddingNone = 0,
    KQUCryptorPaddingPKCS1 = 1,
    KQUCryptorPaddingOAEP = 2,
    KQUCryptorPaddingSSLv23 = 3,
};

class KQ_EXPORT KQUCryptor {
public:
    /// A cryptor for the PEM key text, or nullptr (after two log lines) when no
    /// key reads from it. A text containing "PUBLIC" is read as a public key
    /// (SubjectPublicKeyInfo), else one containing "PRIVATE" as a private key
    /// through KQUPEMReadBIORSAPrivateKey, which the host must have set; while
    /// it is null no private key reads. Padding values other than 1 to 3 mean
    /// KQUCryptorPaddingNone.
    static std::unique_ptr<KQUCryptor> create(std::string_view pemKey, std::int32_t padding);
    ~KQUCryptor();
    KQUCryptor(const KQUCryptor&) = delete;
    KQUCryptor& operator=(const KQUCryptor&) = delete;

    /// Encrypts block by block (public key: encryption, private key: signing
    /// transform). Empty input gives empty data; nullopt when a block fails.
    std::optional<kq::Data> encryptData(const kq::Data& data) const;
    /// Decrypts every whole cipher block and concatenates the plain text;
    /// trailing bytes short of a block are ignored, so input shorter than one
    /// block gives empty data. nullopt when a block fails.
    std::optional<kq::Data> decryptData(const kq::Data& data) const;
    /// Base64 text -> decrypted bytes -> UTF-8 JSON object. nullopt for no
    /// text, text that is not base64, nothing decrypted, or no JSON object.
    std::optional<kq::Dictionary> valueFromEncryptedJSON(std::optional<std::string_view> base64Text) const;

private:
    using Transform = int (*)(int, const unsigned char*, unsigned char*, RSA*, int);
    KQUCryptor() = default;

    RSA* key_ = nullptr;
    Transform encryptFunc_ = nullptr;
    Transform decryptFunc_ = nullptr;
    void (*freeKeyFunc_)(RSA*) = nullptr;
    std::int32_t options_ = 0;
    std::int32_t decryptedChunkLength_ = 0;
    std::int32_t encryptedChunkLength_ = 0;
};
