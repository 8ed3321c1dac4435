#include "Common/BrowserExtensions/FirefoxInstallManifest.h"

#include "KQFoundation/Foundation/XMLDocument.h"

namespace kq::detail {

std::optional<std::string> firefoxInstallManifestName(std::string_view bytes) {
    const auto document = XMLDocument::create(bytes);
    if (!document || !document->rootElement()) return std::nullopt;
    const XMLElement& root = *document->rootElement();
    // Only the first description counts: nested ones describe target
    // applications, whose names are not the add-on's.
    const auto descriptions = root.elementsForLocalName("Description", root.URI());
    if (descriptions.empty()) return std::nullopt;
    const XMLElement& description = *descriptions.front();
    for (const auto& child : description.children())
        if (child->localName() == "name") return child->stringValue();
    for (const auto& attribute : description.attributes())
        if (attribute->localName() == "name") return attribute->stringValue();
    return std::nullopt;
}

}  // namespace kq::detail
