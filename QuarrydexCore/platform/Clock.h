/// Time as the program sees it, so that tests can set it.
#pragma once

#include <cstdint>

namespace quarrydex {

class Clock {
  public:
    virtual ~Clock() = default;

    /// Seconds since 1970-01-01 UTC.
    [[nodiscard]] virtual std::int64_t now() const = 0;

    /// Nanoseconds of a clock that never goes back.
    [[nodiscard]] virtual std::uint64_t monotonicNs() const = 0;
};

} // namespace quarrydex
