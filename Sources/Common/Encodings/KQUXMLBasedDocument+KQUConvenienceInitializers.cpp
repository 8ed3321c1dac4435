#include "KQFoundation/KQUXMLBasedDocument+KQUConvenienceInitializers.h"

#include "KQFoundation/Foundation/Base64.h"
#include "KQFoundation/Foundation/PathUtilities.h"
#include "KQFoundation/KQUCryptor.h"
#include "KQFoundation/NSData+GZIP.h"

std::unique_ptr<kq::XMLDocument> KQUXMLBasedDocument::decryptedXMLDocument(const kq::Data& data, std::string_view key,
                                                                          bool gzipped) {
    const std::string_view text(reinterpret_cast<const char*>(data.data()), data.size());
    if (!kq::isValidUTF8(text)) return nullptr;
    const auto encrypted = kq::dataFromBase64String(text);
    if (!encrypted || encrypted->empty()) return nullptr;
    const auto cryptor = KQUCryptor::create(key, KQUCryptorPaddingPKCS1);
    if (!cryptor) return nullptr;
    auto plain = cryptor->decryptData(*encrypted);
    if (!plain) return nullptr;
    if (gzipped) {
        if (!kq::isGzippedData(*plain)) return nullptr;
        plain = kq::gunzippedData(*plain);
        if (!plain) return nullptr;
    }
    return kq::XMLDocument::create(*plain);
}
