/// Applies a compiled group to one block of entries after another.
///
/// Works on bits from start to end: columns first, then whole stretches of the name heap, then
/// single names where few are left or nothing else serves. Which way a name test goes is chosen a
/// block at a time, by how many entries are still in question and by how many of the last block
/// hit. Threads: one evaluator a worker (it holds scratch memory and compiled expressions of its
/// own).
#pragma once

#include "QuarrydexCore/search/Kernels.h"
#include "QuarrydexCore/search/OpSet.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <optional>
#include <vector>

namespace quarrydex {

class BlockEvaluator {
  public:
    /// The group and the flag must outlive the evaluator. Once the flag is set, results are of no
    /// use any more and slow tests end early.
    BlockEvaluator(const OpSet& group, const std::atomic<std::uint32_t>& cancelled);

    /// Sets the bits of the entries that pass every op and have none of the flags `excluded`; the
    /// other bits of the words are cleared. `first` is a multiple of 64, `count` at most
    /// blockEntries, `bits` the block's (count + 63) / 64 words.
    void find(std::uint32_t first, std::uint32_t count, std::uint8_t excluded, std::uint64_t* bits);

    /// Clears the bits of entries that fail an op. No bit may be set beyond count.
    void narrow(std::uint32_t first, std::uint32_t count, std::uint64_t* bits);

  private:
    /// What is remembered of an op from block to block.
    struct Memory {
        bool isDense = true;               ///< the heap pass found many hits in the last block
        std::optional<RegexPattern> regex; ///< this worker's own
    };

    struct Block {
        std::uint32_t first;
        std::uint32_t count;
        std::uint64_t* bits;
        std::size_t live; ///< bits set when the op begins

        [[nodiscard]] std::size_t words() const { return (count + 63) / 64; }
    };

    /// Applies the ops from index `firstOp` on.
    void
    narrowFrom(std::size_t firstOp, std::uint32_t first, std::uint32_t count, std::uint64_t* bits);

    void apply(const ops::Text& test, bool neg, const Block& block, Memory& memory);
    void apply(const ops::Glob& test, bool neg, const Block& block, Memory& memory);
    void apply(const ops::Regex& test, bool neg, const Block& block, Memory& memory);
    void apply(const ops::Ext& test, bool neg, const Block& block, Memory& memory);
    void apply(const ops::Size& test, bool neg, const Block& block, Memory& memory);
    void apply(const ops::Date& test, bool neg, const Block& block, Memory& memory);
    void apply(const ops::PathDir& test, bool neg, const Block& block, Memory& memory);
    void apply(const ops::PathFull& test, bool neg, const Block& block, Memory& memory);
    void apply(const ops::Kind& test, bool neg, const Block& block, Memory& memory);
    void apply(const ops::Junk& test, bool neg, const Block& block, Memory& memory);
    void apply(const ops::Audio& test, bool neg, const Block& block, Memory& memory);

    /// Clears the bits of `found`, a copy of the block's, whose name does not hold the text.
    void
    narrowToText(const ops::Text& text, const Block& block, Memory& memory, std::uint64_t* found);
    void flags(const Block& block, std::uint8_t mask, std::uint8_t want, std::uint64_t* bits) const;
    void copyBits(const Block& block);

    /// Keeps what a bitset over all entries holds, or with `neg` what it does not hold.
    static void keepEntries(const BitWords& entries, bool neg, const Block& block);

    /// Leaves in the block what was found, or with `neg` what was not.
    void keepFound(const Block& block, bool neg);

    const OpSet& group_;
    const std::atomic<std::uint32_t>& cancelled_;
    std::vector<Memory> memory_;                         ///< one an op
    std::array<std::uint64_t, blockEntries / 64> found_; ///< scratch of one op
    std::array<std::uint64_t, blockEntries / 64> heap_;  ///< scratch of one heap pass
};

} // namespace quarrydex
