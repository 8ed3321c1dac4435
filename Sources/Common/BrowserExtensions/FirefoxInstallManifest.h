#pragma once
// The display name of a legacy Firefox add-on from its install.rdf, kept
// apart from the scanner so that it can be fuzzed on its own.
#include <optional>
#include <string>
#include <string_view>

namespace kq::detail {

/// Parses the bytes as XML and takes the first "Description" element below the
/// root that is in the root's namespace; among its child nodes, then its
/// attributes, the first one whose local name is "name" gives the name as its
/// string value. nullopt when the document does not parse or has no such node.
std::optional<std::string> firefoxInstallManifestName(std::string_view bytes);

}  // namespace kq::detail
