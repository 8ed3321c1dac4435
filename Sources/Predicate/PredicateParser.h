#pragma once
// Recursive-descent parser of the predicate format language:
//   predicate  := or
//   or         := and (("OR" | "||") and)*
//   and        := not (("AND" | "&&") not)*
//   not        := ("NOT" | "!") not | "(" predicate ")" | TRUEPREDICATE | FALSEPREDICATE | comparison
//   comparison := [ANY | SOME | ALL | NONE] expression operator ["[" flags "]"] expression
//   expression := constant | "-" number | $VARIABLE | %@ | %K | SELF[.keypath] | keypath
//               | "{" [expression ("," expression)*] "}" | CAST "(" constant "," "type" ")"
#include <string_view>
#include <vector>

#include "KQFoundation/Predicate/Predicate.h"

namespace kq::predicate {

/// Throws kq::InvalidArgumentException for a format that does not parse, or
/// too few (or wrongly typed) arguments.
PredicatePtr parsePredicate(std::string_view format, const std::vector<Value>& arguments);

}  // namespace kq::predicate
