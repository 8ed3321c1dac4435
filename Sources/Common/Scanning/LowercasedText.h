#pragma once
// The platform's lowercaseString for names and extensions: ASCII directly,
// anything else through Unicode case folding.
#include <string>
#include <string_view>

#include "Foundation/UnicodeText.h"

namespace kq::scanning {

inline std::string lowercased(std::string_view text) {
    if (!isASCII(text)) return foldForComparison(text, true, false);
    std::string out(text);
    for (char& c : out)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return out;
}

}  // namespace kq::scanning
