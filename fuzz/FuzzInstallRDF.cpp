// An add-on's install.rdf from arbitrary bytes: the name is found or not,
// nothing throws, crashes or reads outside the input.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Common/BrowserExtensions/FirefoxInstallManifest.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    if (const auto name = kq::detail::firefoxInstallManifestName(bytes)) (void)name->size();
    return 0;
}
