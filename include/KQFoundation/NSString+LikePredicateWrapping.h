#pragma once
// NSString(LikePredicateWrapping): text made safe as the right-hand side of a
// LIKE comparison, so that an application identifier holding "*" or "?" is
// compared literally instead of as a wildcard.
#include <string>
#include <string_view>

#include "KQFoundation/Export.h"

namespace kq {

/// Doubles every backslash, then escapes "*" and "?" with a backslash; text
/// holding none of the three comes back unchanged.
KQ_EXPORT std::string stringWrappedForLikePredicate(std::string_view string);

}  // namespace kq
