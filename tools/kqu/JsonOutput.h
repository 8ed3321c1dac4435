#pragma once
// kq::Value -> JSON text for kqu's --json output. Strings are escaped as JSON
// requires (malformed UTF-8 becomes U+FFFD), data becomes base64, dates
// become ISO 8601 in UTC, URLs their absolute string, and non-finite reals
// null. Dictionaries keep their key order.
#include <string>
#include <string_view>

#include "KQFoundation/Foundation/Value.h"

namespace kqu {

enum class JsonStyle { Pretty, Compact };

std::string toJSON(const kq::Value& value, JsonStyle style = JsonStyle::Pretty);

/// The --json output: one pretty JSON document and a newline on stdout.
void printJSON(const kq::Value& value);

/// Appends the string as a quoted, escaped JSON string.
void appendJSONString(std::string& out, std::string_view text);

/// "2026-11-22T22:06:49Z" (milliseconds added only when there are any).
std::string iso8601(kq::Date date);

}  // namespace kqu
