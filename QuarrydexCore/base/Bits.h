/// Bitsets over entry ids: bit (id mod 64) of word (id div 64), as saved orders and hits use them.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace quarrydex {

using BitWords = std::vector<std::uint64_t>;

/// Words that hold `count` bits and always at least one more, so that bit `count` is addressable.
constexpr std::size_t bitWords(std::size_t count) {
    return count / 64 + 1;
}

/// The lowest `n` bits set; all of them from 64 on.
constexpr std::uint64_t lowBits(std::size_t n) {
    return n >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << n) - 1;
}

inline bool testBit(std::span<const std::uint64_t> words, std::size_t bit) {
    return ((words[bit / 64] >> (bit % 64)) & 1U) != 0;
}

inline void setBit(std::span<std::uint64_t> words, std::size_t bit) {
    words[bit / 64] |= std::uint64_t{1} << (bit % 64);
}

/// Sets bits 0 … count − 1 and clears the rest of the word they end in; further words are left.
inline void fillBits(std::span<std::uint64_t> words, std::size_t count) {
    for (std::size_t i = 0; i < count / 64; ++i)
        words[i] = ~std::uint64_t{0};
    if (count % 64 != 0)
        words[count / 64] = (std::uint64_t{1} << (count % 64)) - 1;
}

/// Number of bits set.
inline std::size_t countBits(std::span<const std::uint64_t> words) {
    std::size_t total = 0;
    for (std::uint64_t word : words)
        total += static_cast<std::size_t>(std::popcount(word));
    return total;
}

/// Calls f(bit) for every set bit, ascending.
template <typename F> void forEachBit(std::span<const std::uint64_t> words, F&& f) {
    for (std::size_t i = 0; i < words.size(); ++i)
        for (std::uint64_t word = words[i]; word != 0; word &= word - 1)
            f(i * 64 + static_cast<std::size_t>(std::countr_zero(word)));
}

} // namespace quarrydex
