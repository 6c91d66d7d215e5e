/// A kept order of entry ids.
#pragma once

#include "QuarrydexCore/base/Bits.h"
#include "QuarrydexCore/base/EntryId.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace quarrydex {

class FaultGuard;

/// Where a rank is asked for: not in the order.
inline constexpr std::uint32_t noRank = 0xFFFFFFFF;

/// Ids in key order, ascending; equal keys by ascending id. Read-only once built, so copies share
/// it freely between threads. Root entries never stand in an order; deleted ones do.
class Perm {
  public:
    Perm() = default;

    explicit Perm(std::vector<EntryId> ids)
        : owner_(std::make_shared<const std::vector<EntryId>>(std::move(ids))),
          ids_(*static_cast<const std::vector<EntryId>*>(owner_.get())) {}

    /// An order that stays in its file: `count` ids from a byte offset on. They may be anything
    /// until someone has looked at them (PermEntry::isVerified).
    [[nodiscard]] static std::optional<Perm>
    map(const std::string& path, std::uint64_t offset, std::size_t count);

    [[nodiscard]] std::size_t count() const { return ids_.size(); }

    [[nodiscard]] std::span<const EntryId> ids() const { return ids_; }

    [[nodiscard]] bool isMapped() const { return guard_ != nullptr; }

    /// True once a part of the ids was lost with their file and reads as zeros.
    [[nodiscard]] bool isDamaged() const;

  private:
    std::shared_ptr<const void> owner_;
    std::span<const EntryId> ids_;      ///< into what owner_ keeps
    const FaultGuard* guard_ = nullptr; ///< of a mapped order; into what owner_ keeps
};

/// A kept order with what it no longer covers. Its order holds for covered entries that have not
/// moved; everything else a consumer places itself.
struct PermEntry {
    std::uint32_t covers{}; ///< it orders the ids below this
    Perm perm;
    /// Bit id: a covered entry whose value changed since the order was built. Null for none.
    std::shared_ptr<const BitWords> moved;
    std::size_t movedCount{}; ///< bits set in moved
    /// Bit i: row i of perm has the same key as row i − 1. Lets a descending walk keep equal keys
    /// in ascending id order without looking at a key. Empty for path, whose keys are all distinct.
    std::shared_ptr<const BitWords> equalToPrevious;
    /// rank[id] = row of id in perm, noRank for roots. For name alone; null until it was built.
    std::shared_ptr<const std::vector<std::uint32_t>> rank;
    /// False for an order from a file that was not checked yet: ids may be out of range or repeat,
    /// and equalToPrevious is missing.
    bool isVerified = true;
};

} // namespace quarrydex
