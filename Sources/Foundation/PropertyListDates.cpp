// ISO 8601 dates of XML property lists ("2001-01-01T00:00:00Z"), converted by
// calendar arithmetic so that every year from 1 to 9999 works.
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>

#include "Foundation/PropertyListCoding.h"

namespace kq::plist {
namespace {

constexpr std::int64_t kReferenceDay = 11323;  // 2001-01-01, in days since 1970-01-01

// Days since 1970-01-01 of a date in the proleptic Gregorian calendar.
std::int64_t daysFromCivil(std::int64_t y, unsigned m, unsigned d) {
    y -= m <= 2;
    const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
    const auto yearOfEra = static_cast<unsigned>(y - era * 400);
    const unsigned dayOfYear = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
    const unsigned dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + static_cast<std::int64_t>(dayOfEra) - 719468;
}

struct Civil {
    std::int64_t year;
    unsigned month, day;
};

Civil civilFromDays(std::int64_t z) {
    z += 719468;
    const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const auto dayOfEra = static_cast<unsigned>(z - era * 146097);
    const unsigned yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const unsigned dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const unsigned mp = (5 * dayOfYear + 2) / 153;
    const unsigned month = mp < 10 ? mp + 3 : mp - 9;
    return {static_cast<std::int64_t>(yearOfEra) + era * 400 + (month <= 2), month, dayOfYear - (153 * mp + 2) / 5 + 1};
}

std::optional<unsigned> digits(std::string_view text, std::size_t at, std::size_t count) {
    unsigned v = 0;
    if (at + count > text.size()) return std::nullopt;
    for (std::size_t i = at; i < at + count; ++i) {
        if (text[i] < '0' || text[i] > '9') return std::nullopt;
        v = v * 10 + static_cast<unsigned>(text[i] - '0');
    }
    return v;
}

}  // namespace

std::optional<double> parseISO8601(std::string_view text) {
    // YYYY-MM-DDTHH:MM:SS, an optional fraction, then Z.
    auto year = digits(text, 0, 4), month = digits(text, 5, 2), day = digits(text, 8, 2);
    auto hour = digits(text, 11, 2), minute = digits(text, 14, 2), second = digits(text, 17, 2);
    if (!year || !month || !day || !hour || !minute || !second || text[4] != '-' || text[7] != '-' ||
        text[10] != 'T' || text[13] != ':' || text[16] != ':')
        return std::nullopt;
    if (*month < 1 || *month > 12 || *day < 1 || *day > 31 || *hour > 23 || *minute > 59 || *second > 60)
        return std::nullopt;
    std::string_view rest = text.substr(19);
    double fraction = 0;
    if (!rest.empty() && rest.front() == '.') {
        const std::size_t end = rest.find_first_not_of("0123456789", 1);
        if (end == 1 || end == std::string_view::npos) return std::nullopt;
        const std::string number = "0" + std::string(rest.substr(0, end));
        std::from_chars(number.data(), number.data() + number.size(), fraction);
        rest.remove_prefix(end);
    }
    if (rest != "Z") return std::nullopt;
    const std::int64_t days = daysFromCivil(*year, *month, *day) - kReferenceDay;
    const std::int64_t whole = days * 86400 + *hour * 3600 + *minute * 60 + *second;
    return static_cast<double>(whole) + fraction;
}

std::string formatISO8601(double sinceReferenceDate) {
    if (!std::isfinite(sinceReferenceDate)) return {};
    const double whole = std::floor(sinceReferenceDate);
    // Beyond about ±285 million years an int64 of seconds would not do.
    if (std::abs(whole) > 1e16) return {};
    const auto seconds = static_cast<std::int64_t>(whole);
    std::int64_t days = seconds / 86400, rest = seconds % 86400;
    if (rest < 0) {
        rest += 86400;
        days -= 1;
    }
    const Civil civil = civilFromDays(days + kReferenceDay);
    if (civil.year < 1 || civil.year > 9999) return {};
    char text[64];
    int length = std::snprintf(text, sizeof text, "%04lld-%02u-%02uT%02lld:%02lld:%02lld",
                               static_cast<long long>(civil.year), civil.month, civil.day,
                               static_cast<long long>(rest / 3600), static_cast<long long>(rest / 60 % 60),
                               static_cast<long long>(rest % 60));
    std::string out(text, static_cast<std::size_t>(length));
    // The fraction, in the fewest digits that read back to the same double.
    if (const double fraction = sinceReferenceDate - whole; fraction != 0) {
        auto [end, error] = std::to_chars(text, text + sizeof text, fraction, std::chars_format::fixed);
        if (error != std::errc()) return {};
        out.append(text + 1, end);  // ".ddd" without its leading 0
    }
    return out + "Z";
}

}  // namespace kq::plist
