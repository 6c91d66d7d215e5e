/// A result set as the table shows it, together with the catalogues that its rows are entries of.
///
/// A volume's catalogue can be replaced while an old result is still on the screen; holding on to
/// the one that the rows were found in keeps every row readable and tells it from all others.
///
/// Threads: made and let go on the main thread; rows(), indexes() and what they lead to may be read
/// by any. Fails: never.
#pragma once

#include "QuarrydexApp/model/ResultSet.h"
#include "QuarrydexCore/base/EntryFlags.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace quarrydex {

/// What a row is whatever its place: the same in every result that holds it.
struct RowKey {
    const VolumeIndex* index{};
    EntryId entry{};

    bool operator==(const RowKey&) const = default;
};

struct RowKeyHash {
    std::size_t operator()(const RowKey& key) const {
        return std::hash<const void*>()(key.index) * 31 + key.entry * 0x9E3779B97F4A7C15ULL;
    }
};

/// One row, ready to be looked at. Lives as long as the ShownResults it comes from.
struct ShownRow {
    const VolumeState* volume{};
    const VolumeIndex* index{};
    EntryId entry{};

    [[nodiscard]] RowKey key() const { return {index, entry}; }

    [[nodiscard]] std::uint8_t flags() const { return index->flags(entry); }

    [[nodiscard]] bool isFolder() const { return (flags() & EntryFlags::dir) != 0; }

    [[nodiscard]] bool isRegularFile() const {
        return (flags() & (EntryFlags::dir | EntryFlags::symlink)) == 0;
    }
};

class ShownResults {
  public:
    using Indexes = std::vector<std::shared_ptr<VolumeIndex>>;

    /// No rows.
    ShownResults() : set_(std::make_shared<const ResultSet>()) {}

    explicit ShownResults(std::shared_ptr<const ResultSet> set) : set_(std::move(set)) {}

    [[nodiscard]] const std::shared_ptr<const ResultSet>& set() const { return set_; }

    /// By position in a row's high half.
    [[nodiscard]] const Indexes& indexes() const { return set_->indexes; }

    [[nodiscard]] std::span<const Row> rows() const { return set_->rows; }

    /// As many as a model of Qt's can have.
    [[nodiscard]] std::size_t count() const {
        constexpr std::size_t most = std::numeric_limits<int>::max() - 1;
        return set_->rows.size() < most ? set_->rows.size() : most;
    }

    /// REQUIRES: at < count().
    [[nodiscard]] ShownRow row(std::size_t at) const {
        const Row row = set_->rows[at];
        const std::uint32_t volume = rowVolume(row);
        return {set_->vols[volume].get(), set_->indexes[volume].get(), rowEntry(row)};
    }

    [[nodiscard]] bool holds(const VolumeIndex* index) const {
        for (const auto& held : set_->indexes)
            if (held.get() == index)
                return true;
        return false;
    }

  private:
    std::shared_ptr<const ResultSet> set_; ///< never null
};

} // namespace quarrydex
