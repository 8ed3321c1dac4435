// Image files from arbitrary bytes: reading never crashes, every
// representation found has a positive size, and the property-list form
// reads back to the same image.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "KQFoundation/Graphics/Image.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto image = kq::Image::imageWithData(kq::Data(data, data + size));
    if (!image) return 0;
    if (image->empty()) std::abort();
    for (const auto& representation : image->representations())
        if (representation.pixelsWide == 0 || representation.pixelsHigh == 0 || representation.bytes.empty())
            std::abort();
    if (kq::Image::imageWithPropertyList(image->propertyList()) != image) std::abort();
    return 0;
}
