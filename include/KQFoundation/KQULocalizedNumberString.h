#pragma once
// KQULocalizedNumberStringWithFormatImpl: printf-style formatting that picks
// the plural form of the format from the application's strings.
//
// A "?" right after the percent sign of a numeric conversion ("%?d files")
// marks the count. Its value chooses one of five categories, and the tag of
// that category followed by the format ("[Few]%?d files") is looked up in the
// bundle's default strings table (Localizable.strings); the translation, if
// there is one, is formatted with the same arguments instead of the format.
// Without a mark, or without an entry, the format itself is used.
//
// Only the first marked conversion counts, and only when it is an integer or
// floating conversion (d i o u x X D O U f F e E g G a A): a mark on any other
// conversion selects nothing, and a "?" anywhere else in a conversion makes
// it unknown, so it prints as written (see kq::FormatArgument for this and the
// other formatting rules). The count is the value the conversion prints, as a
// signed 64-bit integer ("%?lu" of 2^64-1 counts as -1); a floating
// conversion always gives Many. A missing or non-numeric argument selects
// nothing.
//
// Categories: 0 is "[=0]", +1 is "[=1]"; otherwise, with n = |x|, d10 = n mod
// 10, d100 = n mod 100:
//   ru, uk  One: d10 = 1, d100 != 11; Few: d10 in 2..4, d100 not in 10..20
//   pl      One: only -1;              Few: d10 in 2..4, d100 not in 10..20
//   cs      One: d100 = 1 (101 too);   Few: d100 in 2..4 (102 too)
//   others  One: only -1;              no Few
// and Many for everything else. The language is
// kq::Bundle::preferredApplicationLocalization(), compared exactly (a
// "ru_RU" folder gets the generic rule); a main bundle without localizations
// falls back to the language of the user's first preferred locale.
#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Bundle.h"
#include "KQFoundation/Foundation/FormatArgument.h"

/// Formats `format` (or its plural variant) with the arguments. `bundle`
/// holds the strings (the calling code's own bundle); nullptr means the main
/// bundle. An empty format gives "" at once.
KQ_EXPORT std::string KQULocalizedNumberStringWithFormatImpl(const kq::Bundle* bundle, std::string_view format,
                                                             std::span<const kq::FormatArgument> arguments);

/// The same with the arguments given directly:
/// KQULocalizedNumberStringWithFormat(nullptr, "%?d files in %@", count, folder).
template <class... Args>
std::string KQULocalizedNumberStringWithFormat(const kq::Bundle* bundle, std::string_view format,
                                               const Args&... args) {
    const std::array<kq::FormatArgument, sizeof...(Args)> arguments{kq::FormatArgument(args)...};
    return KQULocalizedNumberStringWithFormatImpl(bundle, format, arguments);
}

namespace kq {

enum class PluralCategory { ExactlyZero, ExactlyOne, One, Few, Many };

/// The tag format of the category: "[=0]%@", "[=1]%@", "[One]%@", "[Few]%@", "[Many]%@".
KQ_EXPORT std::string_view pluralTagFormat(PluralCategory category);
/// The category of an integer count in the language ("ru", "pl", ...).
KQ_EXPORT PluralCategory pluralCategoryForInteger(std::string_view language, std::int64_t count);
/// The language whose rule applies: the application's preferred localization.
KQ_EXPORT std::string pluralLanguage();
/// The category the format's marked count chooses in pluralLanguage();
/// nullopt when nothing is selected.
KQ_EXPORT std::optional<PluralCategory> pluralCategoryOfFormat(std::string_view format,
                                                               std::span<const FormatArgument> arguments);

}  // namespace kq
