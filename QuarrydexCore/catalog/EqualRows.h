/// Marks rows of an order whose key equals that of the row before.
///
/// Threads: any number may mark different rows at once, also rows that share a word.
#pragma once

#include "QuarrydexCore/base/Bits.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace quarrydex {

class EqualRows {
  public:
    explicit EqualRows(std::size_t rows) : words_(bitWords(rows)) {}

    /// Rows begin … end − 1 have one key: all but the first equal the row before.
    void markRun(std::size_t begin, std::size_t end) {
        for (std::size_t row = begin + 1; row < end;) {
            const std::size_t inWord = row % 64;
            const std::size_t n = end - row < 64 - inWord ? end - row : 64 - inWord;
            const std::uint64_t ones = n == 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << n) - 1;
            std::atomic_ref(words_[row / 64]).fetch_or(ones << inWord, std::memory_order_relaxed);
            row += n;
        }
    }

    [[nodiscard]] const BitWords& words() const { return words_; }

    /// Gives the bits away.
    [[nodiscard]] BitWords take() { return std::move(words_); }

  private:
    BitWords words_;
};

} // namespace quarrydex
