/// A byte string prepared for searching a name heap.
///
/// The two of its bytes that are rarest in the heap are compared first, 64 places at a time; the
/// rest is looked at only where both stand.
/// Threads: built by one, read by many.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quarrydex {

/// How often each byte value occurs in a sample of a heap.
using ByteCounts = std::array<std::uint32_t, 256>;

/// Counts the bytes of a few evenly spread stretches of the heap (16 KiB in all: some
/// microseconds).
[[nodiscard]] ByteCounts sampleBytes(std::string_view heap);

class Needle {
  public:
    struct Probe {
        std::uint16_t position; ///< in the needle
        std::uint8_t byte;
    };

    /// Longer needles than this are for std::string_view::find, not for the kernels.
    static constexpr std::size_t maxLength = 512;

    Needle() = default;

    /// REQUIRES: bytes.size() ≤ maxLength.
    Needle(std::string bytes, const ByteCounts& counts);

    [[nodiscard]] std::string_view bytes() const { return bytes_; }

    [[nodiscard]] bool empty() const { return bytes_.empty(); }

    [[nodiscard]] std::size_t size() const { return bytes_.size(); }

    /// Every position of the needle, the rarest byte first.
    [[nodiscard]] std::span<const Probe> probes() const { return probes_; }

  private:
    std::string bytes_;
    std::vector<Probe> probes_;
};

} // namespace quarrydex
