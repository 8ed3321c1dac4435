#pragma once
// KQUFileSize: a byte count with the unit chosen by a minimum-length rule,
// printed with localizable formats and unit names ("1.5 KB", "1 byte").
//
// The unit: a size of exactly 1 is "byte" (unit 0); anything else stays in
// "bytes" (unit 1) while it is below 10^(minLength-1) * base (base 1024, or
// 1000 metric), else it is divided by the base, from KB up, until the quotient
// is below that limit or the unit is EB. So the minimum length is how many
// digits the number may have before the next unit is taken: with length 1,
// 1023 is "1023 bytes" and 1024 is "1.0 KB"; with length 2, sizes stay in
// bytes up to 10239. A minimum length of 0 wraps to a huge one: every size
// stays in bytes.
//
// Texts: each unit has a format and a name, looked up once per process with
// the English default as the key ("%u" for the byte units, "%1.1f" for the
// others; "byte", "bytes", "KB" ... "EB"), first in the host's main bundle
// (Localizable.strings), then in KQFoundation's own translations. The byte
// units' "%u" takes 32 bits, so a byte count of 2^32 or more kept in bytes
// prints its low 32 bits. A translated format may hold literal text and one
// numeric conversion; anything else falls back to the default. The decimal
// separator is the user's (LC_ALL, LC_NUMERIC, LANG): "1,5 KB" in German.
#include <cstdint>
#include <string>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Value.h"

enum KQUFileSizeUnit : std::int32_t {
    KQUFileSizeUnitByte = 0,
    KQUFileSizeUnitBytes = 1,
    KQUFileSizeUnitKB = 2,
    KQUFileSizeUnitMB = 3,
    KQUFileSizeUnitGB = 4,
    KQUFileSizeUnitTB = 5,
    KQUFileSizeUnitPB = 6,
    KQUFileSizeUnitEB = 7,
};

class KQ_EXPORT KQUFileSize {
public:
    explicit KQUFileSize(std::uint64_t byteSize, std::uint64_t minLength = 1, bool useMetricBase = false);

    std::uint64_t byteSize() const { return byteSize_; }
    /// The size in `unit`: an unsigned integer for the byte units, a real otherwise.
    const kq::Value& value() const { return value_; }
    KQUFileSizeUnit unit() const { return unit_; }

    /// The number alone, in the unit's (localized) format: "1.5", "1023".
    std::string stringValue() const;
    /// The number, a no-break space (U+00A0) and the unit's name: "1.5 KB".
    std::string description() const;

private:
    std::uint64_t byteSize_;
    kq::Value value_;
    KQUFileSizeUnit unit_;
};
