/// A catalogue's entries, read by id. What VolumeIndex is to whoever only looks.
///
/// Threads: any, without a lock, for ids below a count that the reader has loaded (see fidx.h).
/// Failure: never; in a catalogue whose file is damaged the results may be nonsense, but every one
/// is bounded and in range.
#pragma once

#include "QuarrydexCore/base/EntryFlags.h"
#include "QuarrydexCore/store/fidx.h"

#include <atomic>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quarrydex {

class Entries {
  public:
    Entries(const Entries&) = delete;
    Entries& operator=(const Entries&) = delete;

    [[nodiscard]] const fidx& base() const { return *base_; }

    [[nodiscard]] std::uint32_t count() const { return fidx_count(base_); }

    [[nodiscard]] bool overflowed() const { return fidx_overflowed(base_); }

    /// Bytes of the filled part of the columns: 2 × heap + 27 × count + 4.
    [[nodiscard]] std::uint64_t arrayBytes() const;

    /// Raw bytes of the name; the view lives as long as the catalogue.
    [[nodiscard]] std::string_view name(EntryId id) const {
        return {base_->names + base_->name_off[id], fidx_name_length(*base_, id)};
    }

    /// The folded name without its filler.
    [[nodiscard]] std::string_view foldedName(EntryId id) const;

    [[nodiscard]] std::uint8_t flags(EntryId id) const {
        return std::atomic_ref(base_->flags[id]).load(std::memory_order_relaxed);
    }

    [[nodiscard]] std::uint64_t size(EntryId id) const {
        return std::atomic_ref(base_->size[id]).load(std::memory_order_relaxed);
    }

    [[nodiscard]] std::uint32_t mtime(EntryId id) const {
        return std::atomic_ref(base_->mtime[id]).load(std::memory_order_relaxed);
    }

    [[nodiscard]] std::uint32_t ctime(EntryId id) const {
        return std::atomic_ref(base_->ctime[id]).load(std::memory_order_relaxed);
    }

    [[nodiscard]] std::optional<EntryId> parent(EntryId id) const {
        const EntryId up = base_->parent[id];
        return up == noParent ? std::nullopt : std::optional(up);
    }

    [[nodiscard]] std::uint16_t extID(EntryId id) const { return base_->ext[id]; }

    /// The entry's extension (folded), absent for none.
    [[nodiscard]] std::optional<std::string_view> ext(EntryId id) const;
    [[nodiscard]] std::string_view extName(std::uint16_t extId) const;

    /// Ids of the given extensions, folded first; unknown ones are left out, the order is kept.
    [[nodiscard]] std::vector<std::uint16_t> extIDs(std::span<const std::string> exts) const;

    /// Full path in raw bytes.
    [[nodiscard]] std::string path(EntryId id) const;

    [[nodiscard]] std::vector<EntryId> roots() const;

  protected:
    explicit Entries(fidx* base) : base_(base) {}

    ~Entries() = default;

    fidx* base_; ///< the derived class owns it
};

} // namespace quarrydex
