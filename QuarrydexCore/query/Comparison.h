/// The scheme that sizes, dates and audio numbers share: "a..b", ">x", ">=x", "<x", "<=x", "=x",
/// "x".
#pragma once

#include "QuarrydexCore/query/Query.h"

#include <limits>
#include <optional>
#include <string_view>
#include <utility>

namespace quarrydex {

struct Comparison {
    enum class Op : std::uint8_t { greaterEqual, lessEqual, greater, less, equal };

    Op op{};
    std::string_view operand; ///< into the value

    /// Takes the prefix off a value; without one it is `equal`.
    [[nodiscard]] static Comparison of(std::string_view value) {
        constexpr std::pair<std::string_view, Op> prefixes[] = {{">=", Op::greaterEqual},
                                                                {"<=", Op::lessEqual},
                                                                {">", Op::greater},
                                                                {"<", Op::less},
                                                                {"=", Op::equal}};
        for (const auto& [prefix, op] : prefixes)
            if (value.starts_with(prefix))
                return {op, value.substr(prefix.size())};
        return {Op::equal, value};
    }
};

/// Both sides of "a..b", or nothing when the value is no range. Views into the value.
inline std::optional<std::pair<std::string_view, std::string_view>>
rangeSides(std::string_view value) {
    constexpr std::string_view dots = "..";
    const std::size_t at = value.find(dots);
    if (at == value.npos)
        return std::nullopt;
    return std::pair{value.substr(0, at), value.substr(at + dots.size())};
}

/// What compares so with the period or single value `operand`. Bounds stop at the type's ends, so
/// the range is never empty: "less than the smallest" is the smallest alone.
template <typename T> ClosedRange<T> comparedWith(Comparison::Op op, ClosedRange<T> operand) {
    constexpr T min = std::numeric_limits<T>::min();
    constexpr T max = std::numeric_limits<T>::max();
    switch (op) {
    case Comparison::Op::greaterEqual:
        return {operand.lo, max};
    case Comparison::Op::lessEqual:
        return {min, operand.hi};
    case Comparison::Op::greater:
        return {operand.hi == max ? max : static_cast<T>(operand.hi + 1), max};
    case Comparison::Op::less:
        return {min, operand.lo == min ? min : static_cast<T>(operand.lo - 1)};
    case Comparison::Op::equal:
        break;
    }
    return operand;
}

} // namespace quarrydex
