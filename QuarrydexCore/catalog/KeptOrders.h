/// The kept sort orders of one catalogue: which exist, which may still be used, and what changed
/// while one of them was being built.
///
/// An order is built once and stays usable while entries are added or change: it remembers which
/// of its entries moved. Past the bound of isUsable it is built anew as a whole.
///
/// Threads: one at a time; VolumeIndex calls it under its lock. What copies hands out is immutable
/// and may be read by any thread for as long as it likes.
#pragma once

#include "QuarrydexCore/catalog/Perm.h"
#include "QuarrydexCore/catalog/SortKey.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace quarrydex {

class KeptOrders {
  public:
    /// Catalogues below this many entries bear a fixed number of stale ones.
    static constexpr std::uint32_t largeCatalogue = 160'000;
    static constexpr std::uint64_t staleLimitSmall = 20'000;
    static constexpr std::uint64_t staleDivisorLarge = 8;

    /// True while few enough of `count` entries escape the order.
    [[nodiscard]] static bool isUsable(const PermEntry& entry, std::uint32_t count);

    /// Whether an order from a file will do that nobody has checked.
    enum class Trust : std::uint8_t { verified, any };

    /// A copy of the key's order if there is one that is usable with `count` entries.
    [[nodiscard]] std::optional<PermEntry>
    usable(SortKey key, std::uint32_t count, Trust trust = Trust::verified);

    /// Keys, in case order, with an order that is not usable with `count` entries; with any order
    /// when no count is given.
    [[nodiscard]] std::vector<SortKey> stale(std::optional<std::uint32_t> count) const;

    /// From here to the matching install, moves are also kept for the order being built.
    void beginBuild(SortKey key);

    /// Replaces the key's order; what moved since beginBuild counts as moved in it.
    void install(SortKey key, PermEntry entry);

    /// Takes an order from a file, with the words of its bitset of moved entries (may be empty).
    void adopt(SortKey key, PermEntry entry, BitWords moved);

    /// A copy of the key's order if it waits for being checked; moves are kept from here to the
    /// matching endCheck.
    [[nodiscard]] std::optional<PermEntry> beginCheck(SortKey key);

    /// True when nothing has moved since beginCheck. Then `completed`, when given, takes the
    /// order's place.
    [[nodiscard]] bool endCheck(SortKey key, const PermEntry* completed);

    /// Removes the key's order if it still is `perm`.
    void drop(SortKey key, const Perm& perm);

    /// The same ids from another place, where `before` still stands: they are in a new file now.
    void replacePerm(SortKey key, const Perm& before, Perm now);

    [[nodiscard]] bool isDamaged() const;

    /// Adds the ranks of the name order `perm`, unless another one has replaced it.
    void setRanks(const Perm& perm, std::shared_ptr<const std::vector<std::uint32_t>> rank);

    /// The values of these entries changed. Ids that no order covers are ignored.
    void markMoved(SortKey key, std::span<const EntryId> ids);

    /// Memory of orders, ranks and bitsets, bytes.
    [[nodiscard]] std::uint64_t bytes() const;

  private:
    struct Kept {
        PermEntry entry;
        std::shared_ptr<BitWords> moved; ///< entry.moved, writable; null while nothing has moved
        bool movedIsShared = false;      ///< a copy was handed out: clone before the next change
    };

    [[nodiscard]] Kept* find(SortKey key, const Perm& perm);
    static void mark(Kept& kept, std::span<const EntryId> ids);

    std::array<std::optional<Kept>, sortKeyCount> perms_;
    std::array<unsigned, sortKeyCount> building_{}; ///< builds under way
    std::array<std::vector<EntryId>, sortKeyCount> pendingMoved_;
};

} // namespace quarrydex
