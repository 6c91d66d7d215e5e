#include "QuarrydexCore/base/Calendar.h"
#include "QuarrydexCore/query/QueryError.h"
#include "QuarrydexCore/query/QueryParser.h"

#include "tests/support/DescribeQuery.h"
#include "tests/support/ScopedZone.h"

#include <gtest/gtest.h>

using namespace quarrydex;

namespace {

constexpr std::int64_t noon = 1709208000; ///< 2024-02-29 12:00 UTC
constexpr std::int64_t hour = 3600;

std::string dates(std::string_view value,
                  const Calendar& calendar = FixedOffsetCalendar(),
                  std::int64_t now = noon) {
    try {
        return describe(QueryParser::parseDate(value, now, calendar));
    } catch (const QueryError& error) {
        return std::string("error: ") + error.what();
    }
}

std::string errorFor(std::string_view value) {
    return "error: dm: " + std::string(value);
}

struct Case {
    std::string_view value;
    std::string_view expected;
};

} // namespace

TEST(QueryDatesTest, SpansComparisonsAndRanges) {
    const Case cases[] = {
        {"2024-02-29", "1709164800..1709251199"},
        {"2024-2-29", "1709164800..1709251199"},
        {"2024-02", "1706745600..1709251199"},
        {"2024", "1704067200..1735689599"},
        {">2024", "1735689600..4294967295"},
        {">=2024", "1704067200..4294967295"},
        {"<2024", "0..1704067199"},
        {"<=2024", "0..1735689599"},
        {"today", "1709164800..1709251199"},
        {"Yesterday", "1709078400..1709164799"},
        {"2024-01..2024-02", "1704067200..1709251199"},
        {"2024-02..2024-01", "1706745600..1706745600"},
        {"2023..today", "1672531200..1709251199"},
        // Outside what the catalogue can hold.
        {"1970-01-01", "0..86399"},
        {"<1970", "0..0"},
        {"<1980", "0..315532799"},
        {"1960..1970", "0..31535999"},
        {"2106-02-07", "4294944000..4294967295"},
        {"2200", "4294967295..4294967295"},
        {">2200", "4294967295..4294967295"},
        {"<2200", "0..4294967294"},
        {"1", "0..0"},
        {"9999-12-31", "4294967295..4294967295"},
    };
    for (const Case& test : cases)
        EXPECT_EQ(dates(test.value), test.expected) << test.value;
}

TEST(QueryDatesTest, WhatIsNoDateIsNamedInTheMessage) {
    const std::string_view none[] = {
        // No such day, month or year.
        "2024-02-31", "2023-02-29", "2024-13", "2024-00", "2024-01-00", "0", "10000",
        "9223372036854775808", "2024-9223372036854775807",
        // Too few or too many parts, or what is none.
        "", "x", "2024-", "-2024", "2024--1", "2024-01-01-01", "20.24", "2024 ", "+2024", "to day"};
    for (const std::string_view value : none)
        EXPECT_EQ(dates(value), errorFor(value));
    EXPECT_EQ(dates(">Tomorrow"), errorFor("Tomorrow"));
    EXPECT_EQ(dates("2024.."), errorFor(""));
    EXPECT_EQ(dates("..2024"), errorFor(""));
    EXPECT_EQ(dates("2023..2024-02-31"), errorFor("2024-02-31"));
}

TEST(QueryDatesTest, BothKeysReadDatesUnderOneName) {
    const FixedOffsetCalendar calendar;
    EXPECT_EQ(describe(QueryParser::parse("dm:today !DateModified:2024-02", noon, calendar)),
              "date(1709164800..1709251199) & !date(1706745600..1709251199)");
    for (const std::string_view text : {"dm:x", "datemodified:x"}) {
        try {
            (void)QueryParser::parse(text, noon, calendar);
            ADD_FAILURE() << text;
        } catch (const QueryError& error) {
            EXPECT_STREQ(error.what(), "dm: x");
        }
    }
}

TEST(QueryDatesTest, DaysAreThoseOfTheZone) {
    EXPECT_EQ(dates("today", FixedOffsetCalendar(13 * hour)), "1709204400..1709290799");
    EXPECT_EQ(dates("today", FixedOffsetCalendar(-13 * hour)), "1709125200..1709211599");
    EXPECT_EQ(dates("1970-01-01", FixedOffsetCalendar(2 * hour)), "0..79199");
    EXPECT_EQ(dates("1969", FixedOffsetCalendar(-2 * hour)), "0..7199");
}

TEST(QueryDatesTest, ClockChangesLengthenAndShortenDays) {
    const ScopedZone berlin("CET-1CEST,M3.5.0,M10.5.0/3");
    const LocalCalendar calendar;
    EXPECT_EQ(dates("2024-03-31", calendar), "1711839600..1711922399");
    EXPECT_EQ(dates("2024-10-27", calendar), "1729980000..1730069999");
    const std::int64_t dayAfterChange = 1711922400;
    EXPECT_EQ(dates("yesterday", calendar, dayAfterChange), dates("2024-03-31", calendar));
}

TEST(QueryDatesTest, ADayThatClocksSkippedIsNoDate) {
    const ScopedZone leaper("STD0SKP-24,J100/0,J200/0");
    const LocalCalendar calendar;
    EXPECT_EQ(dates("2023-04-10", calendar), errorFor("2023-04-10"));
    EXPECT_EQ(dates("2023-04-09", calendar), "1680998400..1681084799");
    EXPECT_EQ(dates("2023-04-11", calendar), "1681084800..1681171199");
}
