#include "QuarrydexCore/base/Calendar.h"
#include "QuarrydexCore/query/Comparison.h"
#include "QuarrydexCore/query/QueryError.h"
#include "QuarrydexCore/query/QueryParser.h"
#include "QuarrydexCore/text/Characters.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>

namespace quarrydex {

namespace {

/// [first, end): the days of a period.
struct Days {
    CivilDate first;
    CivilDate end;
};

CivilDate dayAfter(const CivilDate& date, std::int64_t days) {
    return civilFromDays(daysFromCivil(date) + days);
}

/// REQUIRES: no "-" in the text.
std::optional<std::int64_t> wholeNumber(std::string_view text) {
    std::int64_t value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

/// The parts of "2024", "2024-02" or "2024-02-29"; nothing for any other shape.
std::optional<std::vector<std::int64_t>> dateParts(std::string_view text) {
    std::vector<std::int64_t> parts;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find('-', begin), text.size());
        const auto part = wholeNumber(text.substr(begin, end - begin));
        if (!part || parts.size() == 3)
            return std::nullopt;
        parts.push_back(*part);
        begin = end + 1;
    }
    return parts;
}

std::optional<Days> daysOf(std::string_view word, std::int64_t now, const Calendar& calendar) {
    const CivilDate today = calendar.dateAt(now);
    if (word == "today")
        return Days{today, dayAfter(today, 1)};
    if (word == "yesterday")
        return Days{dayAfter(today, -1), today};

    const auto parts = dateParts(word);
    if (!parts)
        return std::nullopt;
    const std::int64_t year = parts->at(0);
    const std::int64_t month = parts->size() > 1 ? parts->at(1) : 1;
    const std::int64_t day = parts->size() > 2 ? parts->at(2) : 1;
    if (year < 1 || year > 9999 || month < 1 || month > 12 || day < 1 || day > 31)
        return std::nullopt;
    const CivilDate first{year, month, day};
    if (parts->size() == 1)
        return Days{first, {year + 1, 1, 1}};
    if (parts->size() == 2)
        return Days{first, month == 12 ? CivilDate{year + 1, 1, 1} : CivilDate{year, month + 1, 1}};
    return Days{first, dayAfter(first, 1)};
}

std::uint32_t clampedSecond(std::int64_t instant) {
    constexpr std::int64_t latest = std::numeric_limits<std::uint32_t>::max();
    return static_cast<std::uint32_t>(std::clamp<std::int64_t>(instant, 0, latest));
}

} // namespace

ClosedRange<std::uint32_t>
QueryParser::span(std::string_view word, std::int64_t now, const Calendar& calendar) {
    const auto days = daysOf(lowerCased(word), now, calendar);
    if (!days)
        throw QueryError::badValue("dm", word);
    const std::int64_t first = calendar.startOfDay(days->first);
    if (calendar.dateAt(first) != days->first) // 2024-02-31, or a day that the zone skipped
        throw QueryError::badValue("dm", word);
    return {clampedSecond(first), clampedSecond(calendar.startOfDay(days->end) - 1)};
}

ClosedRange<std::uint32_t>
QueryParser::parseDate(std::string_view value, std::int64_t now, const Calendar& calendar) {
    if (const auto sides = rangeSides(value)) {
        const auto first = span(sides->first, now, calendar);
        const auto second = span(sides->second, now, calendar);
        return {first.lo, std::max(first.lo, second.hi)};
    }
    const Comparison comparison = Comparison::of(value);
    return comparedWith(comparison.op, span(comparison.operand, now, calendar));
}

} // namespace quarrydex
