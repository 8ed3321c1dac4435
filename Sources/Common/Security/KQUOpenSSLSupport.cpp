#include "KQFoundation/KQUOpenSSLSupport.h"

#include <cstdlib>
#include <mutex>

#include "Common/Security/OpenSSLLoader.h"
#include "KQFoundation/Foundation/Log.h"
#include "System/SharedLibrary.h"

int (*KQURSAEncryptPublic)(int, const unsigned char*, unsigned char*, RSA*, int) = nullptr;
int (*KQURSAEncryptPrivate)(int, const unsigned char*, unsigned char*, RSA*, int) = nullptr;
int (*KQURSADecryptPublic)(int, const unsigned char*, unsigned char*, RSA*, int) = nullptr;
int (*KQURSADecryptPrivate)(int, const unsigned char*, unsigned char*, RSA*, int) = nullptr;
void (*KQUFreeRSAKey)(RSA*) = nullptr;
int (*KQURSAsize)(const RSA*) = nullptr;
BIO* (*KQUBIONewMemBuf)(const void*, int) = nullptr;
int (*KQUBIOfree)(BIO*) = nullptr;
RSA* (*KQUPEMReadBIORSAPUBKEY)(BIO*, RSA**, int (*)(char*, int, int, void*), void*) = nullptr;
RSA* (*KQUPEMReadBIORSAPrivateKey)(BIO*, RSA**, int (*)(char*, int, int, void*), void*) = nullptr;
unsigned long (*KQUERRGetError)() = nullptr;
char* (*KQUERRErrorString)(unsigned long, char*) = nullptr;
const char* (*KQUERRReasonErrorString)(unsigned long) = nullptr;
int (*KQUERRLoadERRStrings)() = nullptr;
int (*KQUERRLoadRSAStrings)() = nullptr;

namespace kq::detail {

namespace {

template <class F>
void resolve(const SharedLibrary& library, F& pointer, const char* name) {
    pointer = library.function<F>(name);
}

}  // namespace

void loadOpenSSL(const std::string& path) {
    std::string error;
    const auto library = SharedLibrary::open(path, &error);
    if (!library) {
        // Without the crypto library the host cannot do its work at all.
        kq::log("[%s] Unable to load library: %s\n", __FILE__, error);
        std::exit(1);
    }
    // A missing name leaves its pointer null; the private-key reader is the host's to set.
    resolve(*library, KQURSAEncryptPublic, "RSA_public_encrypt");
    resolve(*library, KQURSAEncryptPrivate, "RSA_private_encrypt");
    resolve(*library, KQURSADecryptPublic, "RSA_public_decrypt");
    resolve(*library, KQURSADecryptPrivate, "RSA_private_decrypt");
    resolve(*library, KQUFreeRSAKey, "RSA_free");
    resolve(*library, KQURSAsize, "RSA_size");
    resolve(*library, KQUBIONewMemBuf, "BIO_new_mem_buf");
    resolve(*library, KQUBIOfree, "BIO_free");
    resolve(*library, KQUPEMReadBIORSAPUBKEY, "PEM_read_bio_RSA_PUBKEY");
    resolve(*library, KQUERRGetError, "ERR_get_error");
    resolve(*library, KQUERRErrorString, "ERR_error_string");
    resolve(*library, KQUERRReasonErrorString, "ERR_reason_error_string");
    resolve(*library, KQUERRLoadERRStrings, "ERR_load_ERR_strings");
    resolve(*library, KQUERRLoadRSAStrings, "ERR_load_RSA_strings");
}

}  // namespace kq::detail

void KQUOpenSSLLoad() {
    static std::once_flag once;
    std::call_once(once, [] { kq::detail::loadOpenSSL(KQ_CRYPTO_LIBRARY_PATH); });
}
