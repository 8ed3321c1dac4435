#include "DateArgument.h"

#include <gtest/gtest.h>

#include <ctime>

#include "Support/ScopedEnvironment.h"

namespace {

double secondsSince1970(const std::optional<kq::Date>& date) { return date->time_since_epoch().count(); }

TEST(DateArgument, ZonesOffsetsAndLocalTime) {
    // A zone with summer time, so local dates on either side of the change differ by their offset.
    kqtest::ScopedEnvironment environment({{"TZ", "CET-1CEST,M3.5.0,M10.5.0/3"}});
    tzset();
    const struct {
        const char* text;
        double expected;
    } dates[] = {
        {"2026-05-01T09:30:15Z", 1777627815},
        {"2026-05-01T09:30Z", 1777627800},
        {"2026-05-01 09:30:15.25z", 1777627815.25},
        {"2026-05-01T11:30:15+02:00", 1777627815},
        {"2026-05-01T11:30:15+0200", 1777627815},
        {"2026-05-01T07:30:15-02", 1777627815},
        {"2024-02-29T00:00Z", 1709164800},
        {"2026-05-01T11:30:15", 1777627815},  // summer time, UTC+2
        {"2026-01-01T01:00", 1767225600},     // winter time, UTC+1
    };
    for (const auto& d : dates) {
        const auto date = kqu::parseDateArgument(d.text);
        ASSERT_TRUE(date) << d.text;
        EXPECT_DOUBLE_EQ(secondsSince1970(date), d.expected) << d.text;
    }
}

TEST(DateArgument, RefusesWhatIsNotADateAndTime) {
    for (const char* text : {"", "tomorrow", "2026-05-01", "2026-05-01T9:30", "2026-5-01T09:30", "2026-05-01T09",
                             "2026-02-29T00:00", "2026-04-31T00:00", "2026-13-01T00:00", "2026-00-10T00:00",
                             "2026-05-01T24:00", "2026-05-01T09:60", "2026-05-01T09:30:60", "2026-05-01T09:30:15.",
                             "2026-05-01T09:30+2", "2026-05-01T09:30+24:00", "2026-05-01T09:30Zulu",
                             "2026-05-01T09:30 ", "2026-05-01T09:30:15+02:00x", "1777627815"})
        EXPECT_FALSE(kqu::parseDateArgument(text)) << text;
}

}  // namespace
