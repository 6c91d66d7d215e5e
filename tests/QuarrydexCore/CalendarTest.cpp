#include "QuarrydexCore/base/Calendar.h"

#include "tests/support/ScopedZone.h"

#include <gtest/gtest.h>

namespace quarrydex {

static std::ostream& operator<<(std::ostream& out, const CivilDate& date) {
    return out << date.year << '-' << date.month << '-' << date.day;
}

} // namespace quarrydex

using namespace quarrydex;

namespace {

bool isLeap(std::int64_t year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

std::int64_t monthLength(std::int64_t year, std::int64_t month) {
    constexpr int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && isLeap(year) ? 29 : lengths[month - 1];
}

constexpr std::int64_t hour = 3600;

} // namespace

TEST(CalendarTest, DaysCountOnThroughEveryMonth) {
    CivilDate date{1, 1, 1};
    for (std::int64_t days = daysFromCivil(date); date.year <= 2500; ++days) {
        ASSERT_EQ(daysFromCivil(date), days) << date;
        ASSERT_EQ(civilFromDays(days), date) << days;
        if (++date.day > monthLength(date.year, date.month)) {
            date = {date.year, date.month + 1, 1};
            if (date.month > 12)
                date = {date.year + 1, 1, 1};
        }
    }
    EXPECT_EQ(daysFromCivil({1970, 1, 1}), 0);
    EXPECT_EQ(daysFromCivil({2024, 2, 31}), daysFromCivil({2024, 3, 2}));
    EXPECT_EQ(civilFromDays(daysFromCivil({-400, 2, 29})), (CivilDate{-400, 2, 29}));
}

// The zones are spelled out as rules, so that no zone database is needed.
TEST(CalendarTest, LocalDaysHaveTheHoursThatClocksShowed) {
    struct Case {
        const char* zone;
        CivilDate day;
        std::int64_t start;  ///< hours from midnight UTC of that date
        std::int64_t length; ///< hours
    };

    constexpr const char* berlin = "CET-1CEST,M3.5.0,M10.5.0/3";
    constexpr const char* brazil = "BRT3BRST,M11.1.0/0,M2.3.0/0"; // changes at midnight
    constexpr const char* leaper = "STD0SKP-24,J100/0,J200/0";    // skips and repeats a whole day
    const Case cases[] = {
        {"UTC0", {2024, 2, 29}, 0, 24},
        {berlin, {2024, 1, 15}, -1, 24},
        {berlin, {2024, 3, 31}, -1, 23},
        {berlin, {2024, 4, 1}, -2, 24},
        {berlin, {2024, 10, 27}, -2, 25},
        {"NZST-12NZDT,M9.5.0,M4.1.0/3", {2024, 1, 1}, -13, 24},
        {"XYZ24", {2024, 1, 1}, 24, 24},
        {"XYZ-24", {2024, 1, 1}, -24, 24},
        {brazil, {2018, 11, 3}, 3, 24},
        {brazil, {2018, 11, 4}, 3, 23}, // its first second is 01:00
        {brazil, {2018, 2, 17}, 2, 25}, // its last hour came twice
        {brazil, {2018, 2, 18}, 3, 24},
        {leaper, {2023, 4, 9}, 0, 24},
        {leaper, {2023, 4, 11}, -24, 24},
        {leaper, {2023, 7, 18}, -24, 48},
        {leaper, {2023, 7, 19}, 0, 24},
    };
    for (const Case& test : cases) {
        const ScopedZone zone(test.zone);
        const LocalCalendar calendar;
        const std::int64_t start = calendar.startOfDay(test.day);
        const CivilDate next = civilFromDays(daysFromCivil(test.day) + 1);
        EXPECT_EQ(start, daysFromCivil(test.day) * 24 * hour + test.start * hour)
            << test.zone << ' ' << test.day;
        EXPECT_EQ(calendar.startOfDay(next) - start, test.length * hour)
            << test.zone << ' ' << test.day;
        EXPECT_EQ(calendar.dateAt(start), test.day);
        EXPECT_LT(calendar.dateAt(start - 1), test.day);
    }
    const ScopedZone zone(leaper);
    const LocalCalendar calendar;
    EXPECT_EQ(calendar.startOfDay({2023, 4, 10}), calendar.startOfDay({2023, 4, 11}));
}

TEST(CalendarTest, TakesOverAZoneThatChanged) {
    const ScopedZone east("EST-10");
    EXPECT_EQ(LocalCalendar().startOfDay({2000, 1, 1}), 946684800 - 10 * hour);
    const ScopedZone west("WST10");
    EXPECT_EQ(LocalCalendar().startOfDay({2000, 1, 1}), 946684800 + 10 * hour);
}
