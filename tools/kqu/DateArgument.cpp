#include "DateArgument.h"

#include <algorithm>
#include <charconv>
#include <ctime>

namespace kqu {

namespace {

// Reads exactly `count` digits at the front of `text`.
std::optional<int> digits(std::string_view& text, std::size_t count) {
    if (text.size() < count) return std::nullopt;
    int value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (text[i] < '0' || text[i] > '9') return std::nullopt;
        value = value * 10 + (text[i] - '0');
    }
    text.remove_prefix(count);
    return value;
}

bool skip(std::string_view& text, char c) {
    if (text.empty() || text.front() != c) return false;
    text.remove_prefix(1);
    return true;
}

int daysInMonth(int year, int month) {
    static constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return month == 2 && leap ? 29 : days[month - 1];
}

// Seconds east of UTC from "Z", "+hh", "+hhmm" or "+hh:mm"; the whole rest must be the zone.
std::optional<int> zoneOffset(std::string_view text) {
    if (text == "Z" || text == "z") return 0;
    int sign = 0;
    if (skip(text, '+')) sign = 1;
    else if (skip(text, '-')) sign = -1;
    else return std::nullopt;
    auto hours = digits(text, 2);
    std::optional<int> minutes = 0;
    if (!text.empty()) {
        skip(text, ':');
        minutes = digits(text, 2);
    }
    if (!hours || !minutes || !text.empty() || *hours > 23 || *minutes > 59) return std::nullopt;
    return sign * (*hours * 3600 + *minutes * 60);
}

}  // namespace

std::optional<kq::Date> parseDateArgument(std::string_view text) {
    auto year = digits(text, 4);
    if (!year || !skip(text, '-')) return std::nullopt;
    auto month = digits(text, 2);
    if (!month || !skip(text, '-')) return std::nullopt;
    auto day = digits(text, 2);
    if (!day || !(skip(text, 'T') || skip(text, 't') || skip(text, ' '))) return std::nullopt;
    auto hour = digits(text, 2);
    if (!hour || !skip(text, ':')) return std::nullopt;
    auto minute = digits(text, 2);
    if (!minute) return std::nullopt;
    std::optional<int> second = 0;
    double fraction = 0;
    if (skip(text, ':')) {
        second = digits(text, 2);
        if (!second) return std::nullopt;
        if (skip(text, '.') || skip(text, ',')) {
            const std::size_t length = std::min(text.find_first_not_of("0123456789"), text.size());
            if (length == 0) return std::nullopt;
            const std::string number = "0." + std::string(text.substr(0, length));
            std::from_chars(number.data(), number.data() + number.size(), fraction);
            text.remove_prefix(length);
        }
    }
    if (*month < 1 || *month > 12 || *day < 1 || *day > daysInMonth(*year, *month) || *hour > 23 ||
        *minute > 59 || *second > 59)
        return std::nullopt;

    std::tm fields{};
    fields.tm_year = *year - 1900;
    fields.tm_mon = *month - 1;
    fields.tm_mday = *day;
    fields.tm_hour = *hour;
    fields.tm_min = *minute;
    fields.tm_sec = *second;
    std::time_t seconds = 0;
    if (text.empty()) {
        fields.tm_isdst = -1;  // whichever applies on that day
        seconds = std::mktime(&fields);
    } else {
        const auto offset = zoneOffset(text);
        if (!offset) return std::nullopt;
        seconds = timegm(&fields) - *offset;
    }
    return kq::Date(std::chrono::duration<double>(static_cast<double>(seconds) + fraction));
}

}  // namespace kqu
