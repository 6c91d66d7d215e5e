/// The inner loops of audio conditions: tests on whole columns and on the texts, 64 at a time.
///
/// Results are bits in row order: bit i of the words is row i. The loops are compiled for several
/// instruction sets and chosen at run time.
///
/// Threads: any; what is read does not change, and the caller owns the words. Fails: never.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace quarrydex {

namespace audioKernels {

/// Sets `out` to the rows with lo ≤ value ≤ hi. Writes column.size() / 64 words, rounded up.
void testRange(std::span<const std::uint8_t> column,
               std::uint8_t lo,
               std::uint8_t hi,
               std::uint64_t* out);
void testRange(std::span<const std::uint16_t> column,
               std::uint16_t lo,
               std::uint16_t hi,
               std::uint64_t* out);
void testRange(std::span<const std::uint32_t> column,
               std::uint32_t lo,
               std::uint32_t hi,
               std::uint64_t* out);

/// What is wanted of the values 0 … 14; [15] holds for all larger ones. 0 or 1.
using SmallSet = std::array<std::uint8_t, 16>;

/// Sets `out` to the rows whose value is in the set. Writes as many words.
void testSmallSet(std::span<const std::uint8_t> column, const SmallSet& wanted, std::uint64_t* out);

/// One bit an offset of a pool: bit n mod 32 of word n / 32.
using TextBits = std::vector<std::uint32_t>;

/// Sets `out` to the rows whose offset has its bit set in `texts`. Writes as many words.
/// REQUIRES: every offset is below the pool's size.
void testTexts(std::span<const std::uint32_t> offsets, const TextBits& texts, std::uint64_t* out);

/// `findTexts`: bit n: a text begins at offset n of the pool and its folded copy, the string behind
/// it, holds the needle. Empty when there is none. Bits of other strings may be set too, but never
/// bit 0. REQUIRES: the needle is not empty.
[[nodiscard]] TextBits findTexts(std::string_view pool, std::string_view needle);

/// ORs the bits of rows to the places of their entries: as many bits of `rows`, from its first one
/// on, as words[i] has set go to the places that are set there, in bits[place[i]]. As many words as
/// places. REQUIRES: the word of `rows` behind its last bit may be read.
void setEntries(const std::uint64_t* rows,
                std::span<const std::uint32_t> place,
                std::span<const std::uint64_t> words,
                std::uint64_t* bits);

} // namespace audioKernels

} // namespace quarrydex
