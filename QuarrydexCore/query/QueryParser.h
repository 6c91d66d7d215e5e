/// Reads the line that the user types into a Query.
///
/// Pure: the outcome depends on the arguments alone. Text that is not UTF-8 is read all the same,
/// each stray byte as a character of its own.
/// Threads: any; no state. Fails: throws QueryError at the first value that cannot be read.
#pragma once

#include "QuarrydexCore/query/Query.h"

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace quarrydex {

class Calendar;

class QueryParser {
  public:
    /// A word of the line, or a bar.
    struct Token {
        std::string text;    ///< without its quotes
        bool quoted = false; ///< it began with a quote
        bool isOr = false;   ///< a bar outside quotes
        bool operator==(const Token&) const = default;
    };

    /// A number and what follows it, in lower case.
    struct Number {
        double value{};
        std::string unit;
    };

    struct NameOptions {
        bool asRegex = false;
    };

    /// `now`: seconds since 1970-01-01 UTC; what "today" means in the calendar.
    [[nodiscard]] static Query
    parse(std::string_view text, std::int64_t now, const Calendar& calendar);

    [[nodiscard]] static std::vector<Token> tokenize(std::string_view text);

    /// What a plain word asks of the name: a regular expression, a glob where it holds * or ?, else
    /// a substring.
    [[nodiscard]] static Pred namePred(std::string_view text, NameOptions options);

    // --- Sizes, in bytes (QueryValues.cpp) -------------------------------------------------------

    /// Multiplier by unit suffix, lower case: binary multiples only, "kb" and "kib" are both 1024.
    [[nodiscard]] static const std::unordered_map<std::string_view, std::uint64_t>& units();

    /// A comparison or range of sizes.
    [[nodiscard]] static ClosedRange<std::uint64_t> parseSize(std::string_view value);

    /// One size. Messages begin with "size: ".
    [[nodiscard]] static std::uint64_t sizeValue(std::string_view value);

    // --- Dates, in seconds since 1970-01-01 UTC (QueryDates.cpp) ---------------------------------

    /// A comparison or range of dates. Messages begin with "dm: " under either key.
    [[nodiscard]] static ClosedRange<std::uint32_t>
    parseDate(std::string_view value, std::int64_t now, const Calendar& calendar);

    /// First and last second of "today", "yesterday", a year, a month or a day. Seconds before 1970
    /// and after 2106 come to 0 and to the largest, as in the catalogue's columns.
    [[nodiscard]] static ClosedRange<std::uint32_t>
    span(std::string_view word, std::int64_t now, const Calendar& calendar);

    // --- Audio numbers (QueryValues.cpp) ---------------------------------------------------------

    /// Reads one value in the unit of its column, or throws.
    using Reader = std::function<std::int64_t(std::string_view value)>;

    /// A comparison or range of values. A single value x means x − exactSlack … x + exactSlack.
    [[nodiscard]] static AudioCond numCond(AudioCond::Field field,
                                           std::string_view value,
                                           std::int64_t exactSlack,
                                           const Reader& read);

    /// A decimal number with "." or "," as its point, and the unit after it.
    [[nodiscard]] static Number number(std::string_view value, std::string_view key);

    /// kbit/s, rounded; unit none, "k", "kbps" or "kbit/s".
    [[nodiscard]] static std::int64_t bitrateValue(std::string_view value);

    /// Hz; unit none (below 1000 it is kHz), "hz", "k" or "khz".
    [[nodiscard]] static std::int64_t rateValue(std::string_view value);

    /// Milliseconds, from "m:ss", "h:mm:ss", or a number with "ms", "s", "sec", "m", "min", "h" or
    /// "std"; without a unit it is seconds.
    [[nodiscard]] static std::int64_t durationMs(std::string_view value);

    /// Tenths of a beat per minute; unit none or "bpm".
    [[nodiscard]] static std::int64_t bpmValue(std::string_view value);

    /// A whole number, after the longest of the suffixes that it ends with has been removed.
    [[nodiscard]] static std::int64_t intValue(std::string_view value,
                                               std::string_view key,
                                               std::span<const std::string_view> suffixes);
};

} // namespace quarrydex
