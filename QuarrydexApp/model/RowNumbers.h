/// Numbers for the entries of several volumes, so that a row of an order takes four bytes and the
/// volumes' hits make one bitset:
///
///   volume     0                    1             2
///   entry id   0 … k0 − 1           0 … k1 − 1    0 …
///   number     0 … k0 − 1    gap    a … a + k1 − 1    gap    b …       a, b multiples of 65,536
///
/// Each block of 65,536 numbers belongs to one volume and keeps what is to be added to a number of
/// its own to make a row of it.
///
/// Threads: any; immutable.
#pragma once

#include "QuarrydexCore/base/EntryId.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace quarrydex {

class RowNumbers {
  public:
    /// Numbers for ids below ks[v] of each volume v; nothing when 32 bits are not enough.
    [[nodiscard]] static std::optional<RowNumbers> of(std::span<const std::uint32_t> ks) {
        RowNumbers numbers;
        std::uint64_t next = 0;
        for (std::uint32_t volume = 0; volume < ks.size(); ++volume) {
            numbers.first_.push_back(static_cast<std::uint32_t>(next));
            const std::uint64_t blocks = (ks[volume] + blockSize - 1) / blockSize;
            numbers.toRow_.insert(numbers.toRow_.end(), blocks, makeRow(volume, 0) - next);
            next += blocks * blockSize;
            if (next > UINT32_MAX)
                return std::nullopt;
        }
        return numbers;
    }

    /// The number of a volume's entry 0; a multiple of 64.
    [[nodiscard]] std::uint32_t first(std::size_t volume) const { return first_[volume]; }

    /// No number is as high.
    [[nodiscard]] std::size_t end() const { return toRow_.size() * blockSize; }

    [[nodiscard]] Row row(std::uint32_t number) const {
        return toRow_[number / blockSize] + number;
    }

  private:
    static constexpr std::uint64_t blockSize = 65'536;

    std::vector<std::uint32_t> first_; ///< [volumes]
    std::vector<Row> toRow_;           ///< [blocks] the row less the number, modulo 2^64
};

} // namespace quarrydex
