/// Computed figures brought into the range of the record's fields.
/// Threads: any; no state. Fails: never.
#pragma once

#include <cmath>
#include <concepts>
#include <cstdint>
#include <limits>

namespace quarrydex {

/// The whole part, the largest T when it is larger; 0 for what is negative or no number.
template <std::unsigned_integral T> [[nodiscard]] T clamped(double value) {
    constexpr T largest = std::numeric_limits<T>::max();
    static_assert(sizeof(T) <= 4, "every value of T must be exact in a double");
    if (!(value > 0))
        return 0;
    return value >= static_cast<double>(largest) ? largest : static_cast<T>(value);
}

/// How long `count` units of `perSecond` a second last; unknown (0) when there are none a second.
[[nodiscard]] inline std::uint32_t durationOf(double count, double perSecond) {
    return perSecond > 0 ? clamped<std::uint32_t>(count / perSecond * 1000) : 0;
}

/// kbit/s, rounded. REQUIRES: seconds > 0.
[[nodiscard]] inline std::uint16_t meanKbps(std::uint64_t bytes, double seconds) {
    return clamped<std::uint16_t>(std::round(static_cast<double>(bytes) * 8 / seconds / 1000));
}

} // namespace quarrydex
