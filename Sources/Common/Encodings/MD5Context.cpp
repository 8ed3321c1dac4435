#include "KQFoundation/MD5Context.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cstdio>

namespace kq {

std::unique_ptr<MD5Context> MD5Context::create() {
    EVP_MD_CTX* context = EVP_MD_CTX_new();
    if (!context) return nullptr;
    if (EVP_DigestInit_ex(context, EVP_md5(), nullptr) != 1) {
        EVP_MD_CTX_free(context);
        return nullptr;
    }
    return std::unique_ptr<MD5Context>(new MD5Context(context));
}

MD5Context::~MD5Context() {
    EVP_MD_CTX_free(context_);
}

bool MD5Context::update(const void* bytes, std::size_t length) {
    return EVP_DigestUpdate(context_, bytes, length) == 1;
}

std::array<std::uint8_t, 16> MD5Context::finish() {
    std::array<std::uint8_t, 16> digest{};
    unsigned int length = 0;
    std::array<unsigned char, EVP_MAX_MD_SIZE> out{};
    if (EVP_DigestFinal_ex(context_, out.data(), &length) == 1 && length == digest.size())
        std::copy_n(out.begin(), digest.size(), digest.begin());
    EVP_DigestInit_ex(context_, EVP_md5(), nullptr);
    return digest;
}

std::string MD5Context::finishHex() {
    std::string hex;
    for (const auto byte : finish()) {
        char two[3];
        std::snprintf(two, sizeof two, "%02x", byte);
        hex += two;
    }
    return hex;
}

}  // namespace kq
