#include "Foundation/XMLParsing.h"

#include <libxml/parser.h>

#include <climits>

namespace kq::detail {

XMLDocPointer parseXML(std::string_view bytes) {
    if (bytes.size() > static_cast<std::size_t>(INT_MAX)) return nullptr;
    // libxml2 sets up its globals on first use; do it once, before threads race to.
    static const bool initialised = (xmlInitParser(), true);
    (void)initialised;
    const int options = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;
    return XMLDocPointer(xmlReadMemory(bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr, options));
}

}  // namespace kq::detail
