#pragma once
// describe(x): the text an object prints as, used by "%@" in kq::format/kq::log.
// Library types add their own overloads next to their declarations.
#include <concepts>
#include <cstdint>
#include <exception>
#include <string>
#include <string_view>
#include <type_traits>

#include "KQFoundation/Export.h"

namespace kq {

inline std::string describe(std::string_view s) { return std::string(s); }
inline std::string describe(const std::string& s) { return s; }
inline std::string describe(const char* s) { return s ? s : "(null)"; }
inline std::string describe(bool b) { return b ? "1" : "0"; }
inline std::string describe(std::nullptr_t) { return "(null)"; }
template <std::integral T>
    requires(!std::same_as<T, bool> && !std::same_as<T, char>)
std::string describe(T v) { return std::to_string(v); }
inline std::string describe(char c) { return std::string(1, c); }
KQ_EXPORT std::string describe(double v);
inline std::string describe(float v) { return describe(static_cast<double>(v)); }
KQ_EXPORT std::string describe(const std::exception& e);

/// The printf-visible form of one argument.
struct KQ_EXPORT LogArgument {
    enum class Kind { Signed, Unsigned, Real, Text };
    Kind kind = Kind::Text;
    std::int64_t s = 0;
    std::uint64_t u = 0;
    double d = 0;

    template <class T>
    explicit LogArgument(const T& v) {
        if constexpr (std::is_same_v<T, bool>) {
            kind = Kind::Signed;
            s = v ? 1 : 0;
        } else if constexpr (std::is_integral_v<T> && std::is_signed_v<T>) {
            kind = Kind::Signed;
            s = v;
        } else if constexpr (std::is_integral_v<T> || std::is_enum_v<T>) {
            kind = Kind::Unsigned;
            u = static_cast<std::uint64_t>(v);
        } else if constexpr (std::is_floating_point_v<T>) {
            kind = Kind::Real;
            d = v;
        }
    }
};

}  // namespace kq
