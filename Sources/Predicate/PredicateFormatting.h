#pragma once
// The canonical text of predicate parts: double-quoted strings with escapes,
// numbers that read back to the same value, and "#" before key names that
// would otherwise read as keywords.
#include <string>
#include <string_view>

#include "KQFoundation/Foundation/Value.h"

namespace kq::predicate {

void appendQuotedString(std::string& out, std::string_view text);
void appendConstant(std::string& out, const Value& value);
void appendKeyName(std::string& out, std::string_view key);

}  // namespace kq::predicate
