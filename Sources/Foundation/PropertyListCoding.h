#pragma once
// The property-list readers and writers behind kq::PropertyList, one file per
// format. Readers return nullopt for anything they cannot read whole; none of
// them recurses deeper than PropertyList::kMaximumDepth, and all of them charge
// what they build to a Budget so that shared references or entities cannot
// expand a small input into an unbounded tree.
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "KQFoundation/Foundation/PropertyList.h"

namespace kq::plist {

class Budget {
public:
    /// Charges one value holding `bytes` bytes of text or data; false once
    /// either limit is passed (and from then on).
    bool take(std::size_t bytes = 0) {
        values_ += 1;
        bytes_ += bytes;
        return values_ <= PropertyList::kMaximumValueCount && bytes_ <= PropertyList::kMaximumDecodedBytes;
    }

private:
    std::size_t values_ = 0;
    std::size_t bytes_ = 0;
};

std::optional<Value> readBinary(std::string_view bytes);
std::optional<Value> readXML(std::string_view bytes);
/// Old-style text, already decoded to UTF-8. With `bareDictionary` the text
/// is the body of a dictionary without its braces (a strings file), where
/// `key;` alone stands for `key = key;`.
std::optional<Value> readText(std::string_view text, bool bareDictionary);

/// Text files of the old style come in UTF-8 or UTF-16 (by byte-order mark, or
/// by the zero bytes ASCII text has in UTF-16); nullopt when not well formed.
std::optional<std::string> decodeText(std::string_view bytes);

std::optional<Data> writeBinary(const Value& value);
std::optional<Data> writeXML(const Value& value);

/// Seconds since 2001-01-01T00:00:00Z and back to ISO 8601 ("Z" form), for
/// any year from 1 to 9999.
std::optional<double> parseISO8601(std::string_view text);
std::string formatISO8601(double sinceReferenceDate);

}  // namespace kq::plist
