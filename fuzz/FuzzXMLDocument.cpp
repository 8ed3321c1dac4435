// XML trees and versioned documents from arbitrary bytes: parsing, walking,
// copying and opening never crash, leak or throw.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "KQFoundation/KQUXMLBasedDocument.h"
#include "KQFoundation/NSXMLNode+KQFoundation.h"

namespace {

struct VersionOne : KQUXMLBasedDocument {
    static std::int64_t currentFormatVersion() { return 1; }
};

std::size_t walk(const kq::XMLNode& node) {
    std::size_t total = node.stringValue().size() + node.name().size() + node.URI().size();
    if (const kq::XMLElement* element = node.asElement()) {
        for (const auto& attribute : element->attributes()) total += attribute->stringValue().size();
        total += element->elementsForName(node.name()).size();
    }
    if (auto values = node.childrenStringValues()) total += values->size();
    for (const auto& child : node.children()) total += walk(*child);
    return total;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto document = kq::XMLDocument::create(std::string_view(reinterpret_cast<const char*>(data), size));
    if (!document) return 0;
    const kq::XMLElement copy = *document->rootElement();
    (void)walk(copy);
    (void)KQUXMLBasedDocument::initWithXMLDocument<VersionOne>(document.get());
    return 0;
}
