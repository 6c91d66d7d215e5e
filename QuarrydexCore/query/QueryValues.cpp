#include "QuarrydexCore/query/Comparison.h"
#include "QuarrydexCore/query/QueryError.h"
#include "QuarrydexCore/query/QueryParser.h"
#include "QuarrydexCore/text/Characters.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <tuple>
#include <utility>

namespace quarrydex {

namespace {

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == text.npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) + 1 - first);
}

/// The whole text as a decimal number. REQUIRES: only digits and points in it.
std::optional<double> decimal(std::string_view text) {
    double value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

std::optional<QueryParser::Number> leadingNumber(std::string_view value) {
    std::string text = lowerCased(trimmed(value));
    const std::size_t end = std::min(text.find_first_not_of("0123456789.,"), text.size());
    std::replace(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(end), ',', '.');
    const auto number = decimal(std::string_view(text).substr(0, end));
    if (!number)
        return std::nullopt;
    return QueryParser::Number{*number, std::string(trimmed(std::string_view(text).substr(end)))};
}

/// Rounded to the nearest, or the key's error when it does not fit.
std::int64_t rounded(double number, std::string_view key, std::string_view value) {
    constexpr double limit = 9223372036854775808.0; // 2^63
    const double nearest = std::round(number);
    if (!(nearest < limit))
        throw QueryError::badValue(key, value);
    return static_cast<std::int64_t>(nearest);
}

std::int64_t clampedAdd(std::int64_t a, std::int64_t b) {
    using Limits = std::numeric_limits<std::int64_t>;
    std::int64_t sum{};
    if (__builtin_add_overflow(a, b, &sum))
        return b < 0 ? Limits::min() : Limits::max();
    return sum;
}

/// A number whose unit is one of a few; its multiplier, by position, scales it.
struct Unit {
    std::string_view suffix;
    double multiplier;
};

double scaled(std::string_view value, std::string_view key, std::span<const Unit> units) {
    const QueryParser::Number number = QueryParser::number(value, key);
    const auto unit = std::ranges::find(units, number.unit, &Unit::suffix);
    if (unit == units.end())
        throw QueryError::badValue(key, value);
    return number.value * unit->multiplier;
}

/// Seconds of "m:ss" or "h:mm:ss".
double clockSeconds(std::string_view value) {
    double seconds = 0;
    int parts = 0;
    for (std::size_t begin = 0; begin <= value.size(); ++parts) {
        const std::size_t end = std::min(value.find(':', begin), value.size());
        const auto part = leadingNumber(value.substr(begin, end - begin));
        if (parts == 3 || !part || !part->unit.empty())
            throw QueryError::badValue("dur", value);
        seconds = seconds * 60 + part->value;
        begin = end + 1;
    }
    return seconds;
}

} // namespace

const std::unordered_map<std::string_view, std::uint64_t>& QueryParser::units() {
    constexpr std::uint64_t kilo = 1024;
    constexpr std::uint64_t mega = 1024 * kilo;
    constexpr std::uint64_t giga = 1024 * mega;
    constexpr std::uint64_t tera = 1024 * giga;
    static const std::unordered_map<std::string_view, std::uint64_t> multipliers = {
        {"", 1},       {"b", 1},     {"k", kilo},   {"kb", kilo},  {"kib", kilo},
        {"m", mega},   {"mb", mega}, {"mib", mega}, {"g", giga},   {"gb", giga},
        {"gib", giga}, {"t", tera},  {"tb", tera},  {"tib", tera},
    };
    return multipliers;
}

std::uint64_t QueryParser::sizeValue(std::string_view value) {
    constexpr double limit = 18446744073709551616.0; // 2^64
    const std::string text = lowerCased(value);
    const std::string_view all = text;
    const std::size_t end = std::min(all.find_first_not_of("0123456789."), all.size());
    const auto number = decimal(all.substr(0, end));
    const auto unit = units().find(all.substr(end));
    if (!number || unit == units().end())
        throw QueryError::badValue("size", value);
    const double bytes = *number * static_cast<double>(unit->second);
    if (!(bytes < limit))
        throw QueryError::badValue("size", value);
    return static_cast<std::uint64_t>(bytes);
}

ClosedRange<std::uint64_t> QueryParser::parseSize(std::string_view value) {
    if (const auto sides = rangeSides(value)) {
        const auto [lo, hi] = std::minmax({sizeValue(sides->first), sizeValue(sides->second)});
        return {lo, hi};
    }
    const Comparison comparison = Comparison::of(value);
    const std::uint64_t size = sizeValue(comparison.operand);
    return comparedWith<std::uint64_t>(comparison.op, {size, size});
}

AudioCond QueryParser::numCond(AudioCond::Field field,
                               std::string_view value,
                               std::int64_t exactSlack,
                               const Reader& read) {
    AudioCond cond;
    cond.field = field;
    if (const auto sides = rangeSides(value)) {
        std::tie(cond.lo, cond.hi) = std::minmax({read(sides->first), read(sides->second)});
        return cond;
    }
    const Comparison comparison = Comparison::of(value);
    const std::int64_t number = read(comparison.operand);
    if (comparison.op == Comparison::Op::equal) {
        cond.lo = clampedAdd(number, -exactSlack);
        cond.hi = clampedAdd(number, exactSlack);
        return cond;
    }
    const auto range = comparedWith<std::int64_t>(comparison.op, {number, number});
    cond.lo = range.lo;
    cond.hi = range.hi;
    return cond;
}

QueryParser::Number QueryParser::number(std::string_view value, std::string_view key) {
    auto number = leadingNumber(value);
    if (!number)
        throw QueryError::badValue(key, value);
    return *std::move(number);
}

std::int64_t QueryParser::bitrateValue(std::string_view value) {
    static constexpr Unit units[] = {{"", 1}, {"k", 1}, {"kbps", 1}, {"kbit/s", 1}};
    return rounded(scaled(value, "bitrate", units), "bitrate", value);
}

std::int64_t QueryParser::rateValue(std::string_view value) {
    static constexpr Unit units[] = {{"hz", 1}, {"k", 1000}, {"khz", 1000}, {"", 1}};
    const double hertz = scaled(value, "samplerate", units);
    const bool isKilohertz = hertz < 1000 && number(value, "samplerate").unit.empty();
    return rounded(isKilohertz ? hertz * 1000 : hertz, "samplerate", value);
}

std::int64_t QueryParser::durationMs(std::string_view value) {
    static constexpr Unit units[] = {{"", 1000},     {"ms", 1},       {"s", 1000},
                                     {"sec", 1000},  {"m", 60000},    {"min", 60000},
                                     {"h", 3600000}, {"std", 3600000}};
    const bool isClock = value.find(':') != value.npos;
    const double ms = isClock ? clockSeconds(value) * 1000 : scaled(value, "dur", units);
    return rounded(ms, "dur", value);
}

std::int64_t QueryParser::bpmValue(std::string_view value) {
    static constexpr Unit units[] = {{"", 10}, {"bpm", 10}};
    return rounded(scaled(value, "bpm", units), "bpm", value);
}

std::int64_t QueryParser::intValue(std::string_view value,
                                   std::string_view key,
                                   std::span<const std::string_view> suffixes) {
    const std::string text = lowerCased(trimmed(value));
    std::size_t longest = 0;
    for (std::string_view suffix : suffixes)
        if (text.ends_with(suffix))
            longest = std::max(longest, suffix.size());
    const std::string_view digits =
        trimmed(std::string_view(text).substr(0, text.size() - longest));

    std::int64_t number{};
    const char* const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, number);
    if (error != std::errc() || stop != end || digits.front() == '-')
        throw QueryError::badValue(key, value);
    return number;
}

} // namespace quarrydex
