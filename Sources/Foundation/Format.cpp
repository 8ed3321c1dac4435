// The printf-style formatter over typed arguments (see FormatArgument.h).
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "Foundation/FormatEngine.h"
#include "Foundation/UnicodeText.h"

namespace kq {

FormatArgument FormatArgument::object(std::string description) {
    FormatArgument argument;
    argument.kind_ = Kind::Object;
    argument.text_ = std::move(description);
    return argument;
}

namespace detail {
namespace {

// Larger widths and precisions would only let a short format allocate without bound.
constexpr int kMaximumAmount = 4096;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// Reads decimal digits at `i`, saturating; nullopt when there are none.
std::optional<int> readNumber(std::string_view format, std::size_t& i) {
    if (i >= format.size() || !isDigit(format[i])) return std::nullopt;
    long value = 0;
    while (i < format.size() && isDigit(format[i])) {
        value = std::min<long>(value * 10 + (format[i] - '0'), 1'000'000'000);
        ++i;
    }
    return static_cast<int>(value);
}

ConversionClass classify(char c) {
    switch (c) {
        case 'd': case 'i': case 'o': case 'u': case 'x': case 'X': case 'D': case 'O': case 'U':
            return ConversionClass::Integer;
        case 'f': case 'F': case 'e': case 'E': case 'g': case 'G': case 'a': case 'A':
            return ConversionClass::Floating;
        case 'c': case 'C': return ConversionClass::Character;
        case 's': case 'S': return ConversionClass::Text;
        case '@': return ConversionClass::Object;
        case 'p': return ConversionClass::Pointer;
        case '%': return ConversionClass::Percent;
        default: return ConversionClass::Unknown;
    }
}

/// "*" or "*N$" at `i`; positions count from 1, so "*0$" is no amount.
bool readStar(std::string_view format, std::size_t& i, FormatAmount& amount, std::size_t& next, bool& valid) {
    if (i >= format.size() || format[i] != '*') return false;
    ++i;
    std::size_t save = i;
    if (auto n = readNumber(format, i); n && i < format.size() && format[i] == '$') {
        ++i;
        if (*n == 0) valid = false;
        amount = {FormatAmount::Source::Argument, 0, static_cast<std::size_t>(*n == 0 ? 0 : *n - 1)};
        return true;
    }
    i = save;
    amount = {FormatAmount::Source::Argument, 0, next++};
    return true;
}

}  // namespace

std::vector<FormatConversion> parseFormat(std::string_view format) {
    std::vector<FormatConversion> conversions;
    std::size_t next = 0;
    for (std::size_t i = 0; i < format.size(); ++i) {
        if (format[i] != '%') continue;
        FormatConversion c;
        c.begin = i;
        const std::size_t firstUnused = next;
        std::size_t j = i + 1;
        bool valid = true;
        if (j < format.size() && format[j] == '?') {
            c.pluralMark = true;
            ++j;
        }
        std::optional<std::size_t> position;
        {
            std::size_t save = j;
            if (auto n = readNumber(format, j); n && j < format.size() && format[j] == '$') {
                ++j;
                if (*n == 0) valid = false;
                position = static_cast<std::size_t>(*n == 0 ? 0 : *n - 1);
            } else {
                j = save;
            }
        }
        while (j < format.size() && std::string_view("-+ #0'").find(format[j]) != std::string_view::npos) {
            c.flags += format[j++];
        }
        if (!readStar(format, j, c.width, next, valid)) {
            if (auto n = readNumber(format, j)) c.width = {FormatAmount::Source::Literal, *n, 0};
        }
        if (j < format.size() && format[j] == '.') {
            ++j;
            if (!readStar(format, j, c.precision, next, valid)) {
                c.precision = {FormatAmount::Source::Literal, readNumber(format, j).value_or(0), 0};
            }
        }
        if (j < format.size()) {
            const char m = format[j];
            const bool doubled = j + 1 < format.size() && format[j + 1] == m;
            switch (m) {
                case 'h': c.length = doubled ? FormatLength::Char : FormatLength::Short; j += doubled ? 2 : 1; break;
                case 'l': c.length = doubled ? FormatLength::LongLong : FormatLength::Long; j += doubled ? 2 : 1; break;
                case 'j': c.length = FormatLength::IntMax; ++j; break;
                case 'z': c.length = FormatLength::Size; ++j; break;
                case 't': c.length = FormatLength::PtrDiff; ++j; break;
                case 'L': c.length = FormatLength::LongDouble; ++j; break;
                case 'q': c.length = FormatLength::Quad; ++j; break;
                default: break;
            }
        }
        if (j >= format.size()) {
            // The format ends inside the conversion: it prints as written.
            c.end = format.size();
            conversions.push_back(std::move(c));
            break;
        }
        c.conversion = format[j];
        c.end = j + 1;
        c.kind = valid ? classify(c.conversion) : ConversionClass::Unknown;
        if (c.kind == ConversionClass::Unknown) {
            next = firstUnused;  // its stars take nothing either
        } else if (c.kind != ConversionClass::Percent) {
            c.argument = position ? *position : next++;
        }
        conversions.push_back(std::move(c));
        i = j;
    }
    return conversions;
}

namespace {

const FormatArgument* argumentAt(std::span<const FormatArgument> arguments, std::size_t index) {
    return index < arguments.size() ? &arguments[index] : nullptr;
}

std::int64_t saturated(long double v) {
    if (std::isnan(v)) return 0;
    if (v <= static_cast<long double>(std::numeric_limits<std::int64_t>::min()))
        return std::numeric_limits<std::int64_t>::min();
    if (v >= static_cast<long double>(std::numeric_limits<std::int64_t>::max()))
        return std::numeric_limits<std::int64_t>::max();
    return static_cast<std::int64_t>(v);
}

std::uint64_t saturatedUnsigned(long double v) {
    if (std::isnan(v) || v <= 0) return v < 0 ? static_cast<std::uint64_t>(saturated(v)) : 0;
    if (v >= static_cast<long double>(std::numeric_limits<std::uint64_t>::max()))
        return std::numeric_limits<std::uint64_t>::max();
    return static_cast<std::uint64_t>(v);
}

/// The raw 64 bits an integer conversion reads, or nullopt for text and objects.
std::optional<std::uint64_t> integerBits(const FormatArgument& a, bool isSigned) {
    if (a.isInteger()) return a.bits();
    if (a.isFloating()) {
        return isSigned ? static_cast<std::uint64_t>(saturated(a.floating())) : saturatedUnsigned(a.floating());
    }
    return std::nullopt;
}

bool isSignedConversion(char c) { return c == 'd' || c == 'i' || c == 'D'; }

/// Narrows the bits to the conversion's type, as reading that type would.
std::int64_t narrowSigned(std::uint64_t bits, const FormatConversion& c) {
    if (c.conversion == 'D') return static_cast<std::int64_t>(bits);
    switch (c.length) {
        case FormatLength::Char: return static_cast<signed char>(bits);
        case FormatLength::Short: return static_cast<short>(bits);
        case FormatLength::None: return static_cast<std::int32_t>(bits);
        default: return static_cast<std::int64_t>(bits);
    }
}

std::uint64_t narrowUnsigned(std::uint64_t bits, const FormatConversion& c) {
    if (c.conversion == 'O' || c.conversion == 'U') return bits;
    switch (c.length) {
        case FormatLength::Char: return static_cast<unsigned char>(bits);
        case FormatLength::Short: return static_cast<unsigned short>(bits);
        case FormatLength::None: return static_cast<std::uint32_t>(bits);
        default: return bits;
    }
}

std::string describeNumber(const FormatArgument& a) {
    switch (a.kind()) {
        case FormatArgument::Kind::Signed: return std::to_string(static_cast<std::int64_t>(a.bits()));
        case FormatArgument::Kind::Unsigned: return std::to_string(a.bits());
        case FormatArgument::Kind::Real:
        case FormatArgument::Kind::LongReal: return describe(static_cast<double>(a.floating()));
        case FormatArgument::Kind::Pointer: {
            char buffer[32];
            std::snprintf(buffer, sizeof buffer, "0x%llx", static_cast<unsigned long long>(a.bits()));
            return buffer;
        }
        case FormatArgument::Kind::Nil: return "(null)";
        default: return a.text();
    }
}

/// Cuts the text to at most `units` UTF-16 units without splitting a character.
std::string_view prefixOfUTF16Units(std::string_view text, std::size_t units) {
    std::size_t offset = 0;
    std::size_t used = 0;
    while (offset < text.size()) {
        UTF8Sequence s = decodeUTF8(text, offset);
        std::size_t cost = (s.length != 0 && s.codePoint > 0xFFFF) ? 2 : 1;
        if (used + cost > units) break;
        used += cost;
        offset = nextCodePointOffset(text, offset);
    }
    return text.substr(0, offset);
}

struct Layout {
    int width = -1;
    int precision = -1;
    bool left = false;
};

void appendPadded(std::string& out, std::string_view text, const Layout& layout) {
    if (layout.precision >= 0) text = prefixOfUTF16Units(text, static_cast<std::size_t>(layout.precision));
    const std::size_t length = layout.width > 0 ? lengthInUTF16Units(text) : 0;
    const std::size_t pad = layout.width > 0 && length < static_cast<std::size_t>(layout.width)
                                ? static_cast<std::size_t>(layout.width) - length
                                : 0;
    if (!layout.left) out.append(pad, ' ');
    out.append(text);
    if (layout.left) out.append(pad, ' ');
}

/// The printf directive for snprintf: flags, width, precision and `tail`.
std::string directive(const FormatConversion& c, const Layout& layout, std::string_view tail) {
    std::string d(1, '%');
    d += c.flags;
    if (layout.left && c.flags.find('-') == std::string::npos) d += '-';
    if (layout.width >= 0) d += std::to_string(layout.width);
    if (layout.precision >= 0) {
        d += '.';
        d += std::to_string(layout.precision);
    }
    d += tail;
    return d;
}

template <class T>
void appendPrintf(std::string& out, const std::string& directive, T value) {
    char buffer[256];
    int n = std::snprintf(buffer, sizeof buffer, directive.c_str(), value);
    if (n < 0) return;
    if (static_cast<std::size_t>(n) < sizeof buffer) {
        out.append(buffer, static_cast<std::size_t>(n));
        return;
    }
    std::string big(static_cast<std::size_t>(n) + 1, '\0');
    std::snprintf(big.data(), big.size(), directive.c_str(), value);
    big.resize(static_cast<std::size_t>(n));
    out += big;
}

void appendCharacter(std::string& out, const FormatConversion& c, std::uint64_t bits, const Layout& layout) {
    char32_t codePoint;
    if (c.conversion == 'C') {
        codePoint = static_cast<char16_t>(bits);
        if (codePoint >= 0xD800 && codePoint <= 0xDFFF) codePoint = 0xFFFD;
    } else if (c.length == FormatLength::Long) {
        codePoint = static_cast<char32_t>(static_cast<std::uint32_t>(bits));
    } else {
        codePoint = static_cast<unsigned char>(bits);
    }
    std::string text;
    if (codePoint != 0) appendUTF8(text, codePoint);
    Layout noPrecision = layout;
    noPrecision.precision = -1;
    appendPadded(out, text, noPrecision);
}

void appendConversion(std::string& out, std::string_view format, const FormatConversion& c,
                      std::span<const FormatArgument> arguments) {
    if (c.kind == ConversionClass::Unknown) {
        out.append(format.substr(c.begin, c.end - c.begin));
        return;
    }
    Layout layout;
    auto amount = [&](const FormatAmount& a) -> std::optional<int> {
        if (a.source == FormatAmount::Source::Literal) return std::min(a.value, kMaximumAmount);
        if (a.source == FormatAmount::Source::Argument) {
            const FormatArgument* arg = argumentAt(arguments, a.index);
            if (!arg || !arg->isInteger()) return std::nullopt;
            auto v = static_cast<std::int64_t>(static_cast<std::int32_t>(arg->bits()));
            return static_cast<int>(std::clamp<std::int64_t>(v, -kMaximumAmount, kMaximumAmount));
        }
        return std::nullopt;
    };
    if (auto w = amount(c.width)) {
        layout.width = *w < 0 ? -*w : *w;
        layout.left = *w < 0;
    }
    if (auto p = amount(c.precision); p && *p >= 0) layout.precision = *p;
    if (c.flags.find('-') != std::string::npos) layout.left = true;

    if (c.kind == ConversionClass::Percent) {
        out += '%';
        return;
    }
    const FormatArgument* arg = argumentAt(arguments, c.argument);
    if (!arg) {
        if (c.kind == ConversionClass::Text || c.kind == ConversionClass::Object) appendPadded(out, "(null)", layout);
        else out.append(format.substr(c.begin, c.end - c.begin));
        return;
    }
    const bool numeric = arg->isInteger() || arg->isFloating();
    switch (c.kind) {
        case ConversionClass::Integer: {
            if (!numeric) break;
            const char lower = c.conversion == 'D' ? 'd' : c.conversion == 'O' ? 'o' : c.conversion == 'U' ? 'u' : c.conversion;
            const bool isSigned = isSignedConversion(c.conversion);
            const std::uint64_t bits = *integerBits(*arg, isSigned);
            const std::string d = directive(c, layout, std::string("ll") + lower);
            if (isSigned) appendPrintf(out, d, static_cast<long long>(narrowSigned(bits, c)));
            else appendPrintf(out, d, static_cast<unsigned long long>(narrowUnsigned(bits, c)));
            return;
        }
        case ConversionClass::Floating: {
            if (!numeric) break;
            long double value;
            if (arg->isFloating()) value = arg->floating();
            else if (arg->kind() == FormatArgument::Kind::Signed) value = static_cast<long double>(static_cast<std::int64_t>(arg->bits()));
            else value = static_cast<long double>(arg->bits());
            if (c.length == FormatLength::LongDouble) {
                appendPrintf(out, directive(c, layout, std::string("L") + c.conversion), value);
            } else {
                appendPrintf(out, directive(c, layout, std::string(1, c.conversion)), static_cast<double>(value));
            }
            return;
        }
        case ConversionClass::Character: {
            if (!arg->isInteger()) break;
            appendCharacter(out, c, arg->bits(), layout);
            return;
        }
        case ConversionClass::Pointer: {
            if (!numeric) break;
            char buffer[32];
            std::snprintf(buffer, sizeof buffer, "0x%llx", static_cast<unsigned long long>(*integerBits(*arg, false)));
            Layout noPrecision = layout;
            noPrecision.precision = -1;
            appendPadded(out, buffer, noPrecision);
            return;
        }
        default: break;
    }
    // Text and objects, and whatever a conversion cannot read as its own type.
    appendPadded(out, describeNumber(*arg), layout);
}

}  // namespace

std::string renderFormat(std::string_view format, const std::vector<FormatConversion>& conversions,
                         std::span<const FormatArgument> arguments) {
    std::string out;
    out.reserve(format.size() + 16 * conversions.size());
    std::size_t at = 0;
    for (const auto& c : conversions) {
        out.append(format.substr(at, c.begin - at));
        appendConversion(out, format, c, arguments);
        at = c.end;
    }
    out.append(format.substr(at));
    return out;
}

std::optional<std::int64_t> integerValueOf(const FormatConversion& c, std::span<const FormatArgument> arguments) {
    const FormatArgument* arg = argumentAt(arguments, c.argument);
    if (c.kind != ConversionClass::Integer || !arg) return std::nullopt;
    const bool isSigned = isSignedConversion(c.conversion);
    auto bits = integerBits(*arg, isSigned);
    if (!bits) return std::nullopt;
    return isSigned ? narrowSigned(*bits, c) : static_cast<std::int64_t>(narrowUnsigned(*bits, c));
}

}  // namespace detail

std::string formatWithArguments(std::string_view format, std::span<const FormatArgument> arguments) {
    return detail::renderFormat(format, detail::parseFormat(format), arguments);
}

}  // namespace kq
