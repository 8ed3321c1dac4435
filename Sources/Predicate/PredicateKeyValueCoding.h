#pragma once
// Key-value lookup as predicates see it: dictionaries answer their keys
// (nil for a missing key), arrays map a key over their elements, URLs and
// strings answer a fixed set of accessor names, and anything else raises the
// platform's "not key value coding-compliant" exception.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Predicate/PredicateOperand.h"

namespace kq::predicate {

/// Accessor names resolved once at parse time, so evaluation does not
/// compare key strings.
enum class KnownKey : std::uint8_t {
    Other,
    Self,
    Count,  // "@count"
    Path,
    RelativePath,
    LastPathComponent,
    PathExtension,
    PathComponents,
    AbsoluteString,
    RelativeString,
    Description,
    Scheme,
    Host,
    Port,
    User,
    Password,
    Query,
    Fragment,
    IsFileURL,
    HasDirectoryPath,
    Length,
    StringByDeletingPathExtension,
};

struct KeyPathComponent {
    std::string name;
    KnownKey known = KnownKey::Other;

    explicit KeyPathComponent(std::string keyName);
    friend bool operator==(const KeyPathComponent& a, const KeyPathComponent& b) { return a.name == b.name; }
};

using KeyPath = std::vector<KeyPathComponent>;

/// Splits "a.b.c" into components.
KeyPath makeKeyPath(std::string_view dotted);

/// Throws kq::InvalidArgumentException for a key the object does not have.
Operand valueForKey(const Operand& object, const KeyPathComponent& key);
Operand valueForKeyPath(const Operand& object, const KeyPath& path);

}  // namespace kq::predicate
