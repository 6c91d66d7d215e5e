/// Time as the program sees it, so that tests can set it.
#pragma once

#include <cstdint>
#include <functional>

namespace quarrydex {

class Clock {
  public:
    virtual ~Clock() = default;

    /// Seconds since 1970-01-01 UTC.
    [[nodiscard]] virtual std::int64_t now() const = 0;

    /// Nanoseconds of a clock that never goes back.
    [[nodiscard]] virtual std::uint64_t monotonicNs() const = 0;

    /// Runs the closure once, as soon as monotonicNs() has grown by delayNs, on a thread of the
    /// clock's own. It cannot be taken back: a closure that may outlive what it works on checks
    /// that itself. Any thread. REQUIRES: the closure is short and does not throw.
    virtual void callAfter(std::uint64_t delayNs, std::function<void()> closure) const = 0;
};

} // namespace quarrydex
