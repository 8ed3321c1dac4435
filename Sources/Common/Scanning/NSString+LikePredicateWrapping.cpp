#include "KQFoundation/NSString+LikePredicateWrapping.h"

namespace kq {

std::string stringWrappedForLikePredicate(std::string_view string) {
    if (string.find_first_of("\\*?") == std::string_view::npos) return std::string(string);
    // One pass does what the three replacements in turn do: backslashes are
    // doubled before the wildcards gain theirs, so no escape is escaped twice.
    std::string wrapped;
    wrapped.reserve(string.size() + 8);
    for (const char c : string) {
        if (c == '\\' || c == '*' || c == '?') wrapped += '\\';
        wrapped += c;
    }
    return wrapped;
}

}  // namespace kq
