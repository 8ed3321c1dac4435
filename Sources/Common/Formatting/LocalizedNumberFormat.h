#pragma once
// Printf-style formatting of one number with the user's decimal separator,
// for formats that come from strings tables (and so from translators): only
// numeric conversions are honoured, never %s or %n.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace kq::detail {

using FormattedNumber = std::variant<std::uint64_t, double>;

/// Applies `format` to the number: literal text, "%%", and at most one
/// conversion of d i u o x X f F e E g G a A, with flags, a width and a
/// precision of at most 99, and a length modifier. Without a length modifier
/// (or with h, hh) an integer conversion takes the low 32 bits, as C's
/// variadic int does. The number is converted to the conversion's kind
/// (a real is truncated toward zero, saturating). With `localized`, the
/// decimal point of a real conversion is the user's decimal separator.
/// nullopt when the format holds anything else.
std::optional<std::string> formatNumber(std::string_view format, FormattedNumber number, bool localized);

/// The user's decimal separator ("." in the C locale, "," in German), read
/// once from the number locale of the environment through ICU and kept.
std::string decimalSeparator();

/// Forgets the cached number locale, so the next use reads the environment
/// again; with `localeIdentifier` uses that locale ("" is the C locale)
/// instead. For tests and for hosts that change their locale while running.
void resetNumberLocale(std::optional<std::string> localeIdentifier = std::nullopt);

/// The double value at the start of the text, as the platform's plain
/// conversion reads it: leading white space, a sign, digits with one ".",
/// an exponent; 0 when there is no number. Never locale-dependent.
double leadingDoubleValue(std::string_view text);

}  // namespace kq::detail
