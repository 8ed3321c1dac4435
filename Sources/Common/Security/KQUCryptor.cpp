#include "KQFoundation/KQUCryptor.h"

#include <algorithm>
#include <climits>
#include <string>

#include "KQFoundation/Foundation/Base64.h"
#include "KQFoundation/Foundation/Log.h"
#include "KQFoundation/Foundation/PathUtilities.h"

namespace {

// The crypto library's padding constants.
constexpr std::int32_t kPKCS1Padding = 1;
constexpr std::int32_t kSSLv23Padding = 2;
constexpr std::int32_t kNoPadding = 3;
constexpr std::int32_t kOAEPPadding = 4;

struct PaddingChoice {
    std::int32_t option;
    // One byte more than the crypto library's minimum overhead, so a block
    // always stays strictly below its limit.
    std::int32_t overhead;
};

PaddingChoice paddingChoice(std::int32_t padding) {
    switch (padding) {
    case KQUCryptorPaddingPKCS1: return {kPKCS1Padding, 12};
    case KQUCryptorPaddingOAEP: return {kOAEPPadding, 42};
    case KQUCryptorPaddingSSLv23: return {kSSLv23Padding, 0};
    default: return {kNoPadding, 0};
    }
}

/// "Encrypt error: TEXT (REASON)" from the next two codes of this thread's error queue.
void logCryptoError() {
    char text[256] = {};  // the size the library's ERR_error_string asks for
    KQUERRErrorString(KQUERRGetError(), text);
    const char* reason = KQUERRReasonErrorString(KQUERRGetError());
    kq::log("Encrypt error: %s (%s)", static_cast<const char*>(text), reason);
}

}  // namespace

std::unique_ptr<KQUCryptor> KQUCryptor::create(std::string_view pemKey, std::int32_t padding) {
    KQUOpenSSLLoad();
    const PaddingChoice choice = paddingChoice(padding);
    // The stream takes the text's byte length (PEM is ASCII, so bytes are characters).
    const int length = static_cast<int>(std::min<std::size_t>(pemKey.size(), INT_MAX));
    BIO* stream = KQUBIONewMemBuf(pemKey.data(), length);
    if (!stream) {
        kq::log("Could not get BIO");
        return nullptr;
    }
    std::unique_ptr<KQUCryptor> cryptor(new KQUCryptor());
    cryptor->options_ = choice.option;
    if (pemKey.find("PUBLIC") != std::string_view::npos) {
        cryptor->key_ = KQUPEMReadBIORSAPUBKEY(stream, nullptr, nullptr, nullptr);
        cryptor->encryptFunc_ = KQURSAEncryptPublic;
        cryptor->decryptFunc_ = KQURSADecryptPublic;
    } else if (pemKey.find("PRIVATE") != std::string_view::npos) {
        // The loader leaves the private-key reader to the host; unset, no key reads.
        if (KQUPEMReadBIORSAPrivateKey) cryptor->key_ = KQUPEMReadBIORSAPrivateKey(stream, nullptr, nullptr, nullptr);
        cryptor->encryptFunc_ = KQURSAEncryptPrivate;
        cryptor->decryptFunc_ = KQURSADecryptPrivate;
    }
    if (!cryptor->key_) {
        kq::log("Could not get RSA key");
        logCryptoError();
        KQUBIOfree(stream);
        return nullptr;
    }
    cryptor->encryptedChunkLength_ = KQURSAsize(cryptor->key_);
    cryptor->decryptedChunkLength_ = cryptor->encryptedChunkLength_ - choice.overhead;
    cryptor->freeKeyFunc_ = KQUFreeRSAKey;
    KQUBIOfree(stream);
    return cryptor;
}

KQUCryptor::~KQUCryptor() {
    if (freeKeyFunc_ && key_) freeKeyFunc_(key_);
}

std::optional<kq::Data> KQUCryptor::encryptData(const kq::Data& data) const {
    if (data.empty()) return kq::Data();
    const std::size_t plainBlock = static_cast<std::size_t>(std::max(decryptedChunkLength_, 0));
    const std::size_t cipherBlock = static_cast<std::size_t>(std::max(encryptedChunkLength_, 0));
    // A key too small for its padding has no room for any plain text.
    if (plainBlock == 0 || cipherBlock == 0) return std::nullopt;
    kq::Data out(cipherBlock * ((data.size() + plainBlock - 1) / plainBlock), 0);
    std::size_t written = 0;
    for (std::size_t read = 0; read < data.size();) {
        const std::size_t length = std::min(plainBlock, data.size() - read);
        const int result =
            encryptFunc_(static_cast<int>(length), data.data() + read, out.data() + written, key_, options_);
        // Any count outside one block would run past the buffer: a failure as much as -1.
        if (result < 0 || static_cast<std::size_t>(result) > cipherBlock) {
            KQUERRLoadERRStrings();
            KQUERRLoadRSAStrings();
            logCryptoError();
            return std::nullopt;
        }
        written += static_cast<std::size_t>(result);
        read += length;
    }
    return out;
}

std::optional<kq::Data> KQUCryptor::decryptData(const kq::Data& data) const {
    const std::size_t cipherBlock = static_cast<std::size_t>(std::max(encryptedChunkLength_, 0));
    kq::Data out;
    if (cipherBlock == 0 || data.size() < cipherBlock) return out;
    out.reserve(static_cast<std::size_t>(std::max(decryptedChunkLength_, 0)) * (data.size() / cipherBlock));
    // Each block decrypts into a whole block's room: the library may write more
    // than the plain-block length before it reports the real count.
    kq::Data block(cipherBlock);
    for (std::size_t read = 0; data.size() - read >= cipherBlock; read += cipherBlock) {
        const int result = decryptFunc_(static_cast<int>(cipherBlock), data.data() + read, block.data(), key_, options_);
        if (result < 0 || static_cast<std::size_t>(result) > cipherBlock) {
            logCryptoError();
            return std::nullopt;
        }
        out.insert(out.end(), block.begin(), block.begin() + result);
    }
    return out;
}

std::optional<kq::Dictionary> KQUCryptor::valueFromEncryptedJSON(std::optional<std::string_view> base64Text) const {
    if (!base64Text) return std::nullopt;
    const auto encrypted = kq::dataFromBase64String(*base64Text);
    if (!encrypted) return std::nullopt;
    const auto plain = decryptData(*encrypted);
    if (!plain || plain->empty()) return std::nullopt;
    const std::string_view text(reinterpret_cast<const char*>(plain->data()), plain->size());
    if (!kq::isValidUTF8(text)) return std::nullopt;
    return kq::Dictionary::dictionaryWithJSONString(text);
}
