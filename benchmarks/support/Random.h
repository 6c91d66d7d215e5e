/// A small, fast, seeded source of numbers, the same on every system and library (xorshift64*).
#pragma once

#include <cstddef>
#include <cstdint>

namespace quarrydex::bench {

class Random {
  public:
    /// REQUIRES: seed is not 0.
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next() {
        state_ ^= state_ >> 12;
        state_ ^= state_ << 25;
        state_ ^= state_ >> 27;
        return state_ * 0x2545F4914F6CDD1DULL;
    }

    /// 0 … n − 1. REQUIRES: 0 < n < 2^32.
    std::size_t below(std::size_t n) { return ((next() >> 32) * n) >> 32; }

    /// 0 ≤ x < 1.
    double fraction() { return static_cast<double>(next() >> 11) * 0x1p-53; }

    bool chance(double probability) { return fraction() < probability; }

    /// One element of an array or vector. REQUIRES: not empty.
    template <typename C> const auto& pick(const C& from) { return from[below(from.size())]; }

  private:
    std::uint64_t state_;
};

} // namespace quarrydex::bench
