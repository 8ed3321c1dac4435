#include "KQFoundation/KQUByteCountFormatter.h"

#include <array>
#include <cmath>

#include "Common/Formatting/LocalizedNumberFormat.h"
#include "KQFoundation/Foundation/Exceptions.h"

const char* const kKQUByteCountFormatterCountKey = "KQUByteCountFormatterCount";
const char* const kKQUByteCountFormatterUnitKey = "KQUByteCountFormatterUnit";

namespace {

// 10^19 is the largest power of ten an unsigned 64-bit factor holds.
constexpr std::uint64_t kMaxPrecision = 19;

std::uint64_t powerOfTen(std::uint64_t exponent) {
    std::uint64_t factor = 1;
    for (std::uint64_t i = 0; i < exponent; ++i) factor *= 10;
    return factor;
}

/// Truncation toward zero into a signed 32-bit integer. Values that do not
/// fit give INT32_MIN, which is what the x86 conversion instruction yields,
/// so the result no longer depends on undefined behaviour.
std::int32_t toInt32(double value) {
    if (!(value > -2147483649.0 && value < 2147483648.0)) return INT32_MIN;
    return static_cast<std::int32_t>(value);
}

}  // namespace

void KQUByteCountFormatter::setPrecision(std::int64_t precision, std::uint64_t unit) {
    formats_[unit] = precision;
}

void KQUByteCountFormatter::removeFormatForUnit(std::uint64_t unit) { formats_.erase(unit); }

std::int64_t KQUByteCountFormatter::precisionForUnit(std::uint64_t unit) const {
    auto found = formats_.find(unit);
    return found == formats_.end() ? 0 : found->second;
}

KQUByteCountFormatter::RoundFunction KQUByteCountFormatter::roundFunctionForMode(std::uint64_t mode) {
    static const std::array<RoundFunction, 3> kFunctions{
        [](double x) { return std::floor(x); },
        [](double x) { return std::ceil(x); },
        [](double x) { return std::round(x); },
    };
    return mode < kFunctions.size() ? kFunctions[mode] : nullptr;
}

double KQUByteCountFormatter::normalizeValue(double value, std::uint64_t precision) const {
    const double factor = static_cast<double>(powerOfTen(std::min(precision, kMaxPrecision)));
    double scaled = value * factor;
    if (RoundFunction round = roundFunctionForMode(roundMode_)) scaled = round(scaled);
    return static_cast<double>(toInt32(scaled)) / factor;
}

std::string KQUByteCountFormatter::unitStringForUnit(std::uint64_t unit) {
    static const std::array<const char*, 5> kNames{"bytes", "KB", "MB", "GB", "TB"};
    if (unit >= kNames.size())
        throw kq::RangeException("index " + std::to_string(unit) + " beyond bounds [0 .. 4]");
    return kNames[unit];
}

std::optional<kq::Dictionary> KQUByteCountFormatter::componentsFromByteCount(std::uint64_t byteCount) const {
    if (!includeCount_ && !includeUnits_) return std::nullopt;
    std::uint64_t unit = 0;
    std::uint64_t precision = 0;
    double value = 0.0;
    if (byteCount != 0) {
        const double base = countStyle_ != 0 ? 1024.0 : 1000.0;
        // The map is sorted, so walking it backwards goes from the largest unit down.
        for (auto it = formats_.rbegin(); it != formats_.rend(); ++it) {
            unit = it->first;
            precision = static_cast<std::uint64_t>(it->second);
            value = normalizeValue(static_cast<double>(byteCount) / std::pow(base, static_cast<double>(unit)),
                                   precision);
            if (value > 0.0) break;
        }
    }

    kq::Dictionary components;
    if (includeCount_) {
        const std::string format = "%." + std::to_string(std::min(precision, kMaxPrecision)) + "f";
        components.setObject(kKQUByteCountFormatterCountKey,
                             kq::detail::formatNumber(format, value, true).value_or(""));
    }
    if (includeUnits_) components.setObject(kKQUByteCountFormatterUnitKey, unitStringForUnit(unit));
    return components;
}

std::optional<std::string> KQUByteCountFormatter::stringFromByteCount(std::uint64_t byteCount) const {
    const std::optional<kq::Dictionary> components = componentsFromByteCount(byteCount);
    if (!components) return std::nullopt;
    const std::string* count = components->stringValueForKey(kKQUByteCountFormatterCountKey);
    const std::string* unit = components->stringValueForKey(kKQUByteCountFormatterUnitKey);
    if (!unit) return count ? std::optional<std::string>(*count) : std::nullopt;
    if (count && !count->empty()) return *count + " " + *unit;
    return *unit;
}

std::optional<std::string> KQUByteCountFormatter::stringForObjectValue(const kq::Value& value) const {
    if (!value.isNumber()) return std::nullopt;
    // A real reads as its unsigned value, truncated, as the platform converts it.
    std::uint64_t count = value.unsignedIntegerValue();
    if (value.isReal()) {
        const double real = value.doubleValue();
        count = real >= 18446744073709551616.0 ? UINT64_MAX
                : real >= 0.0                  ? static_cast<std::uint64_t>(real)
                : real > -9223372036854775808.0 ? static_cast<std::uint64_t>(static_cast<std::int64_t>(real))
                                                : 0;
    }
    return stringFromByteCount(count);
}

bool KQUByteCountFormatter::getObjectValue(kq::Value* out, std::string_view string, std::string*) const {
    if (out) *out = kq::Value(kq::detail::leadingDoubleValue(stringNumberInString(string)));
    return true;
}

std::optional<std::string> KQUByteCountFormatter::editingStringForObjectValue(const kq::Value& value) const {
    std::optional<std::string> shown = stringForObjectValue(value);
    if (!shown) return std::nullopt;
    return stringNumberInString(*shown);
}

std::string KQUByteCountFormatter::stringNumberInString(std::string_view string) {
    std::string digits;
    for (char c : string) {
        if ((c >= '0' && c <= '9') || c == '.' || c == ',') digits += c;
    }
    return digits;
}

bool KQUByteCountFormatter::isNonZeroValue(const kq::Value& number, std::string_view format) {
    if (!number.isNumber()) return false;
    std::optional<std::string> text = kq::detail::formatNumber(format, number.doubleValue(), false);
    return text && kq::detail::leadingDoubleValue(*text) > 0.0;
}
