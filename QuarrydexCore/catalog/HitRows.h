/// The rows of a kept order that are hits, and the ids that stand in them in either direction.
///
///   order.perm      [  9 |  2 |  7 |  5 |  4 … ]   row → entry
///   hits            { 2, 5 }                       bit id
///   row bits        [  0 |  1 |  0 |  1 |  0 … ]   bit row
///
/// Rows are visited in chunks. A chunk's row bits come from looking at its rows or, for all rows at
/// once, from the hits' ranks. The bits become row numbers, and these ids: the first step has the
/// unpredictable branches and the second the cache misses, which then overlap.
///
/// Descending, runs of equal keys are visited one after the other from the last, each from its
/// beginning, so that equal keys keep ascending ids.
///
/// Threads: one at a time; all() uses several inside.
#pragma once

#include "QuarrydexCore/base/Bits.h"
#include "QuarrydexCore/base/EntryId.h"
#include "QuarrydexCore/catalog/Perm.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace quarrydex {

class HitRows {
  public:
    /// `hits` has a bit for every entry that the order covers; it and `order` outlive this.
    HitRows(const PermEntry& order, std::span<const std::uint64_t> hits)
        : rows_(order.perm.ids()), hits_(hits), equal_(order.equalToPrevious.get()),
          rank_(order.rank.get()) {}

    /// Finds all row bits from the ranks, one look a hit. REQUIRES: the order has ranks.
    void fillFromRanks();

    /// The first `limit` hits in order, by walking the rows. False when `budget` rows were looked
    /// at before that; `out` is then of no use.
    [[nodiscard]] bool first(std::size_t limit,
                             bool descending,
                             std::size_t budget,
                             unsigned threads,
                             std::vector<EntryId>& out) const;

    /// The same by looking at every hit's rank: the faster way for hits that are few, or far from
    /// where the walk begins. REQUIRES: the order has ranks.
    [[nodiscard]] std::vector<EntryId>
    firstByRank(std::size_t limit, bool descending, unsigned threads) const;

    /// All hits in order. REQUIRES: they are no more than `atMost`.
    [[nodiscard]] std::vector<EntryId>
    all(std::size_t atMost, bool descending, unsigned threads) const;

  private:
    static constexpr std::size_t chunkWords = 64;
    static constexpr std::size_t chunkRows = chunkWords * 64;

    /// Rows that are hits, in the order of visit.
    struct Rows {
        std::array<std::uint32_t, chunkRows + 1> row;
        std::size_t count;
    };

    [[nodiscard]] std::uint64_t word(std::size_t w) const {
        return rowBits_.empty() ? look(w) : rowBits_[w];
    }

    [[nodiscard]] std::uint64_t look(std::size_t w) const;

    [[nodiscard]] bool equalsPrevious(std::size_t row) const {
        return equal_ != nullptr && testBit(*equal_, row);
    }

    [[nodiscard]] std::size_t runBegin(std::size_t row) const;
    [[nodiscard]] std::size_t runEnd(std::size_t row, std::size_t end) const;
    [[nodiscard]] std::uint64_t starts(std::size_t w) const;

    void emitUp(std::size_t begin, std::size_t end, Rows& out) const;
    void emitDown(std::size_t begin, std::size_t end, Rows& out) const;

    template <typename Visitor>
    bool visitUp(std::size_t begin, std::size_t end, const Visitor& visitor) const;
    template <typename Visitor>
    bool visitDown(std::size_t begin, std::size_t end, const Visitor& visitor) const;

    /// Appends the hits of some rows, in order, and may stop when there are `atMost`. Downwards, a
    /// run that lies across `begin` belongs to these rows and one across `end` does not.
    void collect(std::size_t begin,
                 std::size_t end,
                 bool descending,
                 std::size_t atMost,
                 std::vector<std::uint32_t>& rows) const;

    template <typename F> void forEachRank(std::size_t firstWord, std::size_t endWord, F&& f) const;
    void addRunBefore(std::size_t row, std::vector<std::uint32_t>& rows) const;

    std::span<const EntryId> rows_;
    std::span<const std::uint64_t> hits_;
    const BitWords* equal_;                  ///< null: all keys differ
    const std::vector<std::uint32_t>* rank_; ///< null: none
    BitWords rowBits_;                       ///< empty: found by looking
};

} // namespace quarrydex
