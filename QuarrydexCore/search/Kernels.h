/// The inner loops of a search: substrings in a name heap and tests on columns, as bits in id
/// order.
///
/// Each works on one block of consecutive entries whose first id is a multiple of 64, and on the
/// words of a bitset that belong to it: bit i of the words is entry first + i. The loops are
/// compiled for several instruction sets and chosen at run time.
///
/// Threads: any; the caller owns the words. Heaps, offsets and extension ids are read directly
/// (they never change below the published count); flags, sizes and times are copied in small pieces
/// by relaxed loads first, since another thread may change them.
#pragma once

#include "QuarrydexCore/search/Needle.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace quarrydex {

/// Entries to a block: small enough that its bits, offsets and flags stay in the nearest caches,
/// large enough that a call and a look at the cancellation flag cost nothing.
inline constexpr std::uint32_t blockEntries = 16'384;

/// Bytes; what a damaged catalogue's offsets say beyond it is not believed.
inline constexpr std::uint32_t longestName = 65'535;

/// The names of one block.
struct NameBlock {
    const char* heap;             ///< start of the whole heap
    const char* limit;            ///< end of the bytes that may be read: the published heap
    const std::uint32_t* offsets; ///< [entries + 1] heap offsets of the block's names
    std::size_t entries;
};

namespace kernels {

/// Sets `out` to the entries whose name holds the needle, whatever the number of hits: one pass
/// over the heap bytes that also counts names. Writes entries / 64 words, rounded up.
/// REQUIRES for all three: 1 ≤ needle size ≤ Needle::maxLength, no NUL in the needle.
void matchDense(const NameBlock& names, const Needle& needle, std::uint64_t* out);

/// The same result; cheaper while hits are rare, since only hits are looked up in the offsets.
void matchSparse(const NameBlock& names, const Needle& needle, std::uint64_t* out);

/// Clears the bits of entries whose name does not hold the needle; looks only at entries whose bit
/// is set.
void matchListed(const NameBlock& names, const Needle& needle, std::uint64_t* bits);

/// Number of bits set in `words`. (std::popcount is a call where the instruction is not assumed.)
[[nodiscard]] std::size_t countBits(std::span<const std::uint64_t> words);

/// Sets `out` to the entries whose value differs from that of the entry before; `previous` stands
/// before the first. The column never changes. Writes entries / 64 words, rounded up.
void markRuns(const std::uint32_t* column,
              std::size_t entries,
              std::uint32_t previous,
              std::uint64_t* out);

/// Clears bits where (flags & mask) != want.
void testFlags(const std::uint8_t* flags,
               std::size_t entries,
               std::uint8_t mask,
               std::uint8_t want,
               std::uint64_t* bits);

/// Clears bits where the value lies outside lo … hi, or with `negated` where it lies inside.
void testRange64(const std::uint64_t* column,
                 std::size_t entries,
                 std::uint64_t lo,
                 std::uint64_t hi,
                 bool negated,
                 std::uint64_t* bits);
void testRange32(const std::uint32_t* column,
                 std::size_t entries,
                 std::uint32_t lo,
                 std::uint32_t hi,
                 bool negated,
                 std::uint64_t* bits);

/// Clears bits where the value is none of `wanted`, or with `negated` where it is one of them.
/// One comparison a wanted value: for few of them.
void testAnyOf16(const std::uint16_t* column,
                 std::size_t entries,
                 std::span<const std::uint16_t> wanted,
                 bool negated,
                 std::uint64_t* bits);

} // namespace kernels

} // namespace quarrydex
