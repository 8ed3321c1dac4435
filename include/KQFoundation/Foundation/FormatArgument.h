#pragma once
// kq::FormatArgument and kq::formatWithArguments: the printf-style formatter
// behind kq::format, kq::log and the localized number strings, working on a
// list of typed arguments instead of C varargs, so that no format can read an
// argument as the wrong type.
//
// Conversions: d i o u x X (and the old D O U, always 64-bit), f F e E g G a A,
// c C, s S, @ (any object's description), p and %%. Flags "-+ #0'", width and
// precision as numbers or "*" (taken from an integer argument, "*2$" from a
// given one), length modifiers hh h l ll j z t L q, and positional arguments
// ("%2$s"); conversions without a position take the arguments in order,
// whatever positions the others name. Widths and precisions above 4096 count
// as 4096. A "?" right after the percent sign marks the argument that chooses
// a plural form (see KQULocalizedNumberString.h); it is never printed.
//
// Every conversion reads its argument as the conversion's type, as C does:
// "%hhd" of 300 prints 44, "%u" of -1 prints 4294967295, "%d" reads 32 bits.
// Where the argument is of another kind nothing undefined happens:
// - a number of the other kind (integer for %f, floating for %d, a pointer
//   for %x) is converted by value, floating values saturating and NaN as 0;
// - text and objects print their description under any conversion;
// - %s, %@ and %S print numbers as their description and nil as "(null)";
//   their width and precision count UTF-16 units, and precision never cuts
//   a character in two;
// - %c prints the low byte as a character (bytes above 0x7F as their
//   Latin-1 letter), %lc a code point, %C a UTF-16 unit (a surrogate or an
//   invalid code point prints U+FFFD, zero prints nothing);
// - a missing argument prints "(null)" for %@ and %s and the conversion as
//   written for the others; an unknown conversion ("%y", "%n", a "?" that is
//   not right after the percent sign, position 0) prints as written and takes
//   no argument, as does a "%" at the end of the format.
#include <concepts>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Describe.h"
#include "KQFoundation/Foundation/Value.h"

namespace kq {

class KQ_EXPORT FormatArgument {
public:
    enum class Kind { Signed, Unsigned, Real, LongReal, Text, Object, Nil, Pointer };

    FormatArgument(bool b) : kind_(Kind::Signed), integer_(b ? 1 : 0) {}
    template <std::integral T>
        requires(!std::same_as<T, bool>)
    FormatArgument(T v)
        : kind_(std::is_signed_v<T> ? Kind::Signed : Kind::Unsigned), integer_(static_cast<std::uint64_t>(v)) {}
    template <class T>
        requires std::is_enum_v<T>
    FormatArgument(T v) : FormatArgument(static_cast<std::underlying_type_t<T>>(v)) {}
    FormatArgument(float v) : kind_(Kind::Real), real_(v) {}
    FormatArgument(double v) : kind_(Kind::Real), real_(v) {}
    FormatArgument(long double v) : kind_(Kind::LongReal), real_(v) {}
    /// A C string; nullptr is nil.
    FormatArgument(const char* s) : kind_(s ? Kind::Text : Kind::Nil), text_(s ? s : "") {}
    FormatArgument(std::string_view s) : kind_(Kind::Text), text_(s) {}
    FormatArgument(const std::string& s) : kind_(Kind::Text), text_(s) {}
    /// nil, for %@ and %s.
    FormatArgument(std::nullptr_t) : kind_(Kind::Nil) {}
    /// An object by pointer; nullptr is nil.
    FormatArgument(const Value* v) : kind_(v ? Kind::Object : Kind::Nil), text_(v ? describe(*v) : "") {}
    FormatArgument(const void* p) : kind_(Kind::Pointer), integer_(reinterpret_cast<std::uintptr_t>(p)) {}
    /// Any other object with a describe() overload, for %@.
    template <class T>
        requires(std::is_class_v<T> && !std::is_convertible_v<const T&, std::string_view> &&
                 requires(const T& v) {
                     { describe(v) } -> std::convertible_to<std::string>;
                 })
    FormatArgument(const T& object) : kind_(Kind::Object), text_(describe(object)) {}

    /// An object known only by its description.
    static FormatArgument object(std::string description);

    Kind kind() const { return kind_; }
    bool isInteger() const { return kind_ == Kind::Signed || kind_ == Kind::Unsigned || kind_ == Kind::Pointer; }
    bool isFloating() const { return kind_ == Kind::Real || kind_ == Kind::LongReal; }
    /// The integer's 64 bits (signed values two's complement), the pointer's address.
    std::uint64_t bits() const { return integer_; }
    long double floating() const { return real_; }
    /// The text, or an object's description.
    const std::string& text() const { return text_; }

private:
    FormatArgument() = default;
    Kind kind_ = Kind::Nil;
    std::uint64_t integer_ = 0;
    long double real_ = 0;
    std::string text_;
};

/// The format filled from the arguments (rules above).
KQ_EXPORT std::string formatWithArguments(std::string_view format, std::span<const FormatArgument> arguments);

}  // namespace kq
