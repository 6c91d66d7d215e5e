#include "QuarrydexCore/base/Calendar.h"

#include <ctime>

namespace quarrydex {

namespace {

constexpr std::int64_t secondsPerHour = 3600;
constexpr std::int64_t secondsPerDay = 86400;
constexpr std::int64_t daysPerEra = 146097; ///< 400 years

constexpr std::int64_t floorDiv(std::int64_t a, std::int64_t b) {
    return a / b - (a % b < 0 ? 1 : 0);
}

} // namespace

// Both work in years that begin on 1 March, so that the leap day is the last day of its year. The
// days before month m (0 = March) are then (153 m + 2) / 5. Day 0 of era 0 is 0000-03-01, which
// lies 719,468 days before 1970-01-01.

std::int64_t daysFromCivil(const CivilDate& date) {
    const std::int64_t monthCount = date.year * 12 + date.month - 3;
    const std::int64_t year = floorDiv(monthCount, 12);
    const std::int64_t month = monthCount - year * 12;
    const std::int64_t era = floorDiv(year, 400);
    const std::int64_t yearOfEra = year - era * 400;
    const std::int64_t dayOfYear = (153 * month + 2) / 5 + date.day - 1;
    return era * daysPerEra + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear -
           719468;
}

CivilDate civilFromDays(std::int64_t days) {
    const std::int64_t shifted = days + 719468;
    const std::int64_t era = floorDiv(shifted, daysPerEra);
    const std::int64_t dayOfEra = shifted - era * daysPerEra;
    const std::int64_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t month = (5 * dayOfYear + 2) / 153;
    const std::int64_t day = dayOfYear - (153 * month + 2) / 5 + 1;
    const bool isNextYear = month >= 10;
    return {era * 400 + yearOfEra + (isNextYear ? 1 : 0), isNextYear ? month - 9 : month + 3, day};
}

LocalCalendar::LocalCalendar() {
    ::tzset();
}

CivilDate LocalCalendar::dateAt(std::int64_t instant) const {
    const auto time = static_cast<std::time_t>(instant);
    std::tm local{};
    if (::localtime_r(&time, &local) == nullptr)
        return civilFromDays(floorDiv(instant, secondsPerDay));
    return {std::int64_t{local.tm_year} + 1900, local.tm_mon + 1, local.tm_mday};
}

// mktime would have to be told which of two midnights is meant, and answers a skipped one as it
// likes. Looking for the second at which the date changes needs neither.
std::int64_t LocalCalendar::startOfDay(const CivilDate& date) const {
    constexpr std::int64_t widestOffset = 26 * secondsPerHour; // more than any zone may differ
    const std::int64_t days = daysFromCivil(date);
    const CivilDate wanted = civilFromDays(days);
    std::int64_t before = days * secondsPerDay - widestOffset; // a second of an earlier day
    std::int64_t reached = days * secondsPerDay + widestOffset;
    while (reached - before > 1) {
        const std::int64_t middle = before + (reached - before) / 2;
        (dateAt(middle) < wanted ? before : reached) = middle;
    }
    return reached;
}

CivilDate FixedOffsetCalendar::dateAt(std::int64_t instant) const {
    return civilFromDays(floorDiv(instant + secondsEast_, secondsPerDay));
}

std::int64_t FixedOffsetCalendar::startOfDay(const CivilDate& date) const {
    return daysFromCivil(date) * secondsPerDay - secondsEast_;
}

} // namespace quarrydex
