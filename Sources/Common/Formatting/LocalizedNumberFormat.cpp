#include "Common/Formatting/LocalizedNumberFormat.h"

#include <unicode/dcfmtsym.h>
#include <unicode/locid.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>
#include <mutex>
#include <vector>

#include "System/UserLocale.h"

namespace kq::detail {
namespace {

constexpr int kMaxWidthOrPrecision = 99;

std::string separatorOfLocale(const std::string& identifier) {
    if (identifier.empty()) return ".";
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale locale(identifier.c_str());
    // Digits stay ASCII, so the separator must be the Latin-digit one too
    // (Arabic, for instance, has its own for its own digits).
    locale.setKeywordValue("numbers", "latn", status);
    icu::DecimalFormatSymbols symbols(locale, status);
    if (U_FAILURE(status)) return ".";
    std::string separator;
    symbols.getConstSymbol(icu::DecimalFormatSymbols::kDecimalSeparatorSymbol).toUTF8String(separator);
    return separator.empty() ? "." : separator;
}

struct NumberLocale {
    std::mutex mutex;
    std::optional<std::string> separator;
    std::optional<std::string> forcedIdentifier;
};

NumberLocale& numberLocale() {
    static NumberLocale shared;
    return shared;
}

template <class T>
T saturatingTruncation(double value) {
    if (std::isnan(value)) return 0;
    constexpr double kLow = static_cast<double>(std::numeric_limits<T>::min());
    // 2^64 and 2^63 are exact in a double; the types' maxima are not.
    constexpr double kHighExclusive = -2.0 * static_cast<double>(std::numeric_limits<std::int64_t>::min()) /
                                      (std::numeric_limits<T>::is_signed ? 2.0 : 1.0);
    if (value <= kLow) return std::numeric_limits<T>::min();
    if (value >= kHighExclusive) return std::numeric_limits<T>::max();
    return static_cast<T>(value);
}

template <class... Args>
std::string printed(const std::string& directive, Args... args) {
    int length = std::snprintf(nullptr, 0, directive.c_str(), args...);
    if (length <= 0) return {};
    std::vector<char> buffer(static_cast<std::size_t>(length) + 1);
    std::snprintf(buffer.data(), buffer.size(), directive.c_str(), args...);
    return std::string(buffer.data(), static_cast<std::size_t>(length));
}

/// The C library prints reals with its own locale's radix character, which a
/// host may have set; find it so it can be replaced.
char runtimeRadix() {
    char text[8];
    std::snprintf(text, sizeof text, "%.1f", 0.5);
    return text[1];
}

struct Conversion {
    std::string flags;
    int width = -1;
    int precision = -1;
    std::string length;
    char letter = 0;
};

/// Reads up to two digits' worth of a number; false when it is larger.
bool readSmallNumber(std::string_view format, std::size_t& i, int& out) {
    out = 0;
    while (i < format.size() && format[i] >= '0' && format[i] <= '9') {
        out = out * 10 + (format[i] - '0');
        if (out > kMaxWidthOrPrecision) return false;
        ++i;
    }
    return true;
}

/// Parses the conversion after a '%'; nullopt when it is not a numeric one.
std::optional<Conversion> parseConversion(std::string_view format, std::size_t& i) {
    Conversion c;
    while (i < format.size() && std::string_view("-+ #0'").find(format[i]) != std::string_view::npos) {
        if (format[i] != '\'') c.flags += format[i];  // no grouping: digits stay ungrouped
        ++i;
    }
    if (i < format.size() && format[i] >= '1' && format[i] <= '9' && !readSmallNumber(format, i, c.width))
        return std::nullopt;
    if (i < format.size() && format[i] == '.') {
        ++i;
        if (!readSmallNumber(format, i, c.precision)) return std::nullopt;
    }
    for (std::string_view modifier : {"hh", "ll", "h", "l", "q", "j", "z", "t", "L"}) {
        if (format.substr(i, modifier.size()) == modifier) {
            c.length = modifier;
            i += modifier.size();
            break;
        }
    }
    if (i >= format.size() || std::string_view("diuoxXfFeEgGaA").find(format[i]) == std::string_view::npos)
        return std::nullopt;
    c.letter = format[i++];
    return c;
}

std::string applyConversion(const Conversion& c, FormattedNumber number, bool localized) {
    std::string directive = "%" + c.flags;
    if (c.width >= 0) directive += std::to_string(c.width);
    if (c.precision >= 0) directive += "." + std::to_string(c.precision);
    const bool isSigned = c.letter == 'd' || c.letter == 'i';
    const bool isInteger = std::string_view("diuoxX").find(c.letter) != std::string_view::npos;

    if (!isInteger) {
        const double real = std::holds_alternative<double>(number)
                                ? std::get<double>(number)
                                : static_cast<double>(std::get<std::uint64_t>(number));
        std::string text = printed(directive + c.letter, real);
        const std::size_t radix = text.find(runtimeRadix());
        if (radix != std::string::npos) text.replace(radix, 1, localized ? decimalSeparator() : ".");
        return text;
    }

    std::uint64_t bits;
    if (const double* real = std::get_if<double>(&number))
        bits = isSigned ? static_cast<std::uint64_t>(saturatingTruncation<std::int64_t>(*real))
                        : saturatingTruncation<std::uint64_t>(*real);
    else
        bits = std::get<std::uint64_t>(number);
    const bool wide = !c.length.empty() && c.length != "h" && c.length != "hh";
    if (wide) {
        directive += "ll";
        directive += c.letter;
        return isSigned ? printed(directive, static_cast<long long>(bits)) : printed(directive, static_cast<unsigned long long>(bits));
    }
    // A 32-bit argument: the high half of the number is not seen.
    directive += c.length;
    directive += c.letter;
    const auto low = static_cast<std::uint32_t>(bits);
    return isSigned ? printed(directive, static_cast<int>(low)) : printed(directive, static_cast<unsigned>(low));
}

}  // namespace

std::optional<std::string> formatNumber(std::string_view format, FormattedNumber number, bool localized) {
    std::string out;
    bool converted = false;
    for (std::size_t i = 0; i < format.size();) {
        if (format[i] != '%') {
            out += format[i++];
            continue;
        }
        ++i;
        if (i < format.size() && format[i] == '%') {
            out += '%';
            ++i;
            continue;
        }
        std::optional<Conversion> conversion = parseConversion(format, i);
        if (!conversion || converted) return std::nullopt;
        converted = true;
        out += applyConversion(*conversion, number, localized);
    }
    return out;
}

std::string decimalSeparator() {
    NumberLocale& shared = numberLocale();
    std::lock_guard lock(shared.mutex);
    if (!shared.separator) {
        shared.separator = separatorOfLocale(shared.forcedIdentifier ? *shared.forcedIdentifier
                                                                     : systemNumberLocaleIdentifier());
    }
    return *shared.separator;
}

void resetNumberLocale(std::optional<std::string> localeIdentifier) {
    NumberLocale& shared = numberLocale();
    std::lock_guard lock(shared.mutex);
    shared.separator.reset();
    shared.forcedIdentifier = std::move(localeIdentifier);
}

double leadingDoubleValue(std::string_view text) {
    std::size_t i = 0;
    auto isDigit = [&](std::size_t at) { return at < text.size() && text[at] >= '0' && text[at] <= '9'; };
    while (i < text.size() && (text[i] == ' ' || (text[i] >= '\t' && text[i] <= '\r'))) ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';

    const std::size_t start = i;
    std::size_t integerDigits = 0;
    while (isDigit(i)) ++i, ++integerDigits;
    std::size_t fractionDigits = 0;
    if (i < text.size() && text[i] == '.' && (integerDigits > 0 || isDigit(i + 1))) {
        ++i;
        while (isDigit(i)) ++i, ++fractionDigits;
    }
    if (integerDigits + fractionDigits == 0) return 0.0;
    const std::size_t mantissaEnd = i;
    long exponent = 0;
    if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
        std::size_t j = i + 1;
        if (j < text.size() && (text[j] == '+' || text[j] == '-')) ++j;
        if (isDigit(j)) {
            while (isDigit(j)) {
                if (exponent < 100000) exponent = exponent * 10 + (text[j] - '0');
                ++j;
            }
            if (text[i + 1] == '-') exponent = -exponent;
            i = j;
        }
    }

    double value = 0.0;
    const auto [end, error] = std::from_chars(text.data() + start, text.data() + i, value);
    if (error == std::errc::result_out_of_range) {
        // Overflow or underflow: decide by where the first significant digit sits.
        long magnitude = exponent + static_cast<long>(integerDigits);
        for (std::size_t k = start; k < mantissaEnd; ++k) {
            if (text[k] == '.') continue;
            if (text[k] != '0') break;
            --magnitude;
        }
        value = magnitude > 0 ? std::numeric_limits<double>::infinity() : 0.0;
    } else if (error != std::errc() || end != text.data() + i) {
        value = 0.0;
    }
    return negative ? -value : value;
}

}  // namespace kq::detail
