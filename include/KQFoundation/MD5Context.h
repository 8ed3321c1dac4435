#pragma once
// kq::MD5Context: a running MD5 digest (the platform's CC_MD5 context), over
// OpenSSL's EVP interface. Used for file digests, not for security.
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "KQFoundation/Export.h"

struct evp_md_ctx_st;

namespace kq {

class KQ_EXPORT MD5Context {
public:
    /// A started digest of no bytes; nullptr when the digest is unavailable.
    static std::unique_ptr<MD5Context> create();
    ~MD5Context();
    MD5Context(const MD5Context&) = delete;
    MD5Context& operator=(const MD5Context&) = delete;

    /// Adds bytes; false when the digest cannot take them.
    bool update(const void* bytes, std::size_t length);
    /// The digest of everything added; the context starts over afterwards.
    /// All zero bytes when it cannot be finished.
    std::array<std::uint8_t, 16> finish();
    /// finish() as 32 lower-case hexadecimal characters.
    std::string finishHex();

private:
    explicit MD5Context(evp_md_ctx_st* context) : context_(context) {}
    evp_md_ctx_st* context_;
};

}  // namespace kq
