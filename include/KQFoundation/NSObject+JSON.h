#pragma once
// NSDictionary(JSON), NSArray(JSON), NSString(JSON), NSNumber(JSON),
// NSObject(JSON): the library's small, lenient JSON codec. The members are
// declared in the category blocks of kq::Value, kq::Array and kq::Dictionary
// (Value.h); the string form is a free function here.
//
// Writing (compact, no white space, keys in the dictionary's order):
//   Value::JSONString()        null and the types JSON lacks (data, date, URL)
//                              give "null"; booleans "true"/"false"; integers
//                              their decimal text; reals the shortest text
//                              that reads back to the same double, integral
//                              ones without a fraction ("1"); NaN and the
//                              infinities give "null", so the output stays
//                              JSON that any reader accepts.
//   Dictionary::JSONString()   {"key":value,...}. Keys are written as they
//                              are, NOT escaped: a key holding a quote gives
//                              text no strict reader accepts.
//   Array::JSONString()        [value,...]
//   kq::JSONString(string)     The quoted string: backslash, double quote and
//                              slash get a backslash; U+0000-U+001F become
//                              six-character escapes (a tab is \u0009); all
//                              other bytes are copied as they are.
//
// Reading (nullopt on failure, never a reason):
//   Dictionary::dictionaryWithJSONString(text[, ignoreNull])
//   Dictionary::dictionaryWithJSONStringIgnoringNulls(text)
//       Skips everything before the first "{" and reads that object; text
//       after it is ignored. Empty text gives nullopt.
//   Array::arrayWithJSONString(text[, ignoreNull])
//   Array::arrayWithJSONStringIgnoringNulls(text)
//       Reads an array; its "[" may be missing ("1,2]" gives [1, 2]).
//   With ignoreNull, null members and elements are left out, at every level.
//
// The reader accepts more than JSON: commas between members and elements are
// optional and may trail; a member list simply ends at the first member that
// cannot be read (the closing bracket must then follow); an unknown escape
// such as \q is kept as the two characters; raw control characters are kept;
// every number becomes a real (1 reads as 1.0 and writes back as "1"); numbers
// beyond the range of a double become infinite (written back as null). A \u
// escape without four hexadecimal digits fails its string; \u escapes give
// UTF-16 units, a high and a low surrogate in a row form one character, and a
// lone surrogate becomes U+FFFD. Other bytes, malformed UTF-8 included, are
// copied through unchanged. A string left open at the end of the text fails
// the enclosing object or array. Nesting deeper than 512 objects and arrays
// fails the whole text. White space is the Unicode white space and line
// breaks (U+00A0 and U+2028 included).
#include <string>
#include <string_view>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Value.h"

namespace kq {

/// The string as a quoted, escaped JSON string.
KQ_EXPORT std::string JSONString(std::string_view string);

}  // namespace kq
