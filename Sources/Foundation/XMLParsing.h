#pragma once
// The one place libxml2 is set up for reading outside input, shared by every
// XML reader of the library (property lists, XML documents).
#include <libxml/tree.h>

#include <memory>
#include <string_view>

namespace kq::detail {

struct XMLDocFree {
    void operator()(xmlDoc* doc) const { xmlFreeDoc(doc); }
};
using XMLDocPointer = std::unique_ptr<xmlDoc, XMLDocFree>;

/// Parses untrusted bytes: nothing is loaded from the network or from files
/// (no external DTD or entity), entities declared in the document are left as
/// references, and nothing is printed. libxml2's own limits stay on (nesting
/// depth 256, 10 MB per text node, entity amplification checks). nullptr for
/// ill-formed input or input over 2 GiB.
XMLDocPointer parseXML(std::string_view bytes);

}  // namespace kq::detail
