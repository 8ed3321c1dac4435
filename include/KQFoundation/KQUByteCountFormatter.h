#pragma once
// KQUByteCountFormatter: a byte count as short text ("1.5 GB", "300 KB"),
// with the usable units and the decimals of each given as data.
//
// Units are exponents of the base (1024, or 1000 with count style 0): 0 bytes,
// 1 KB, 2 MB, 3 GB, 4 TB. Their names are fixed, not localized; the number's
// decimal separator is the user's (through the number locale).
//
// Choosing the unit: the enabled units are tried from the largest down; a unit
// is taken when the count, divided by base^unit and normalized with the unit's
// precision and the round mode, is above zero. When none is, the smallest
// enabled unit is taken with its normalized value (which may be 0 or
// negative, see below). A count of 0 is always "0 bytes"; with no unit
// enabled every count is "0 bytes". A fresh formatter only has unit 0 at
// precision 0, so it shows whole bytes ("5000000 bytes").
//
// Normalizing multiplies by 10^precision, rounds, passes the result through a
// signed 32-bit integer (truncating toward zero) and divides back. The 32-bit
// step is a deliberate limit: anything that does not fit, NaN included,
// becomes -2147483648, so a unit whose scaled value overflows is passed over,
// and 3000000000 in whole bytes shows as "-2147483648 bytes". Precisions
// above 19 (a negative precision reads as a huge unsigned one) count as 19.
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Formatter.h"
#include "KQFoundation/Foundation/Value.h"

/// Keys of componentsFromByteCount.
extern KQ_EXPORT const char* const kKQUByteCountFormatterCountKey;  // "KQUByteCountFormatterCount"
extern KQ_EXPORT const char* const kKQUByteCountFormatterUnitKey;   // "KQUByteCountFormatterUnit"

class KQ_EXPORT KQUByteCountFormatter : public kq::Formatter {
public:
    using RoundFunction = double (*)(double);
    /// Unit -> number of decimals.
    using Formats = std::map<std::uint64_t, std::int64_t>;

    /// Count style 1 (base 1024), units and count included, unit 0 at precision 0.
    KQUByteCountFormatter() = default;

    /// The enabled units and their decimals.
    Formats& formats() { return formats_; }
    const Formats& formats() const { return formats_; }
    void setFormats(Formats formats) { formats_ = std::move(formats); }

    bool includeUnits() const { return includeUnits_; }
    void setIncludeUnits(bool include) { includeUnits_ = include; }
    bool includeCount() const { return includeCount_; }
    void setIncludeCount(bool include) { includeCount_ = include; }
    /// 0 floor (the default), 1 ceil, 2 round (halves away from zero),
    /// anything else truncation toward zero.
    std::uint64_t roundMode() const { return roundMode_; }
    void setRoundMode(std::uint64_t mode) { roundMode_ = mode; }
    /// 0: steps of 1000; anything else: steps of 1024.
    std::uint64_t countStyle() const { return countStyle_; }
    void setCountStyle(std::uint64_t style) { countStyle_ = style; }

    /// Enables the unit with that many decimals, replacing an earlier setting.
    void setPrecision(std::int64_t precision, std::uint64_t unit);
    void removeFormatForUnit(std::uint64_t unit);
    /// 0 when the unit is not enabled.
    std::int64_t precisionForUnit(std::uint64_t unit) const;

    /// The count text under kKQUByteCountFormatterCountKey (with includeCount)
    /// and the unit name under kKQUByteCountFormatterUnitKey (with
    /// includeUnits); nullopt when both are off. Throws kq::RangeException
    /// when the chosen unit is above 4 and the unit is included.
    std::optional<kq::Dictionary> componentsFromByteCount(std::uint64_t byteCount) const;
    /// "COUNT UNIT", or the one that is included; nullopt when neither is.
    std::optional<std::string> stringFromByteCount(std::uint64_t byteCount) const;

    /// stringFromByteCount of a number's unsigned 64-bit value; nullopt for
    /// anything that is not a number.
    std::optional<std::string> stringForObjectValue(const kq::Value& value) const override;
    /// Always true: `*out` (when given) becomes the real number at the start
    /// of stringNumberInString(string), read without locale ("1,5" gives 1,
    /// "abc" gives 0). `error` is never set.
    bool getObjectValue(kq::Value* out, std::string_view string, std::string* error) const override;
    /// The shown text without its unit: stringNumberInString of it.
    std::optional<std::string> editingStringForObjectValue(const kq::Value& value) const override;

    /// The string reduced to its characters from "0123456789.,", in order.
    static std::string stringNumberInString(std::string_view string);
    double normalizeValue(double value, std::uint64_t precision) const;
    /// The rounding function of a round mode; nullptr (truncation) above 2.
    static RoundFunction roundFunctionForMode(std::uint64_t mode);
    /// "bytes", "KB", "MB", "GB", "TB"; kq::RangeException above 4.
    static std::string unitStringForUnit(std::uint64_t unit);
    /// True when `format` applied to the number's double value gives text whose
    /// double value is above zero; false for a non-number or a format that is
    /// not a single numeric conversion.
    static bool isNonZeroValue(const kq::Value& number, std::string_view format);

private:
    Formats formats_{{0, 0}};
    bool includeUnits_ = true;
    bool includeCount_ = true;
    std::uint64_t roundMode_ = 0;
    std::uint64_t countStyle_ = 1;
};
