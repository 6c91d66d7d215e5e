/// The values that are read from files themselves, for the rows that are looked at.
///
/// Only what is visible is asked for; a question whose row has scrolled away is withdrawn. A value
/// is shown until the file's modification time differs from the one it was read at.
///
/// Threads: the main thread. Ownership: refers to the source, which outlives it; withdraws
/// everything when it is destroyed. Failure: as FileMetaSource, an empty value.
#pragma once

#include "QuarrydexApp/metadata/FileMetaSource.h"
#include "QuarrydexApp/table/RecentCache.h"
#include "QuarrydexApp/table/ShownResults.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <unordered_map>

namespace quarrydex {

class LazyMeta {
  public:
    static constexpr std::size_t capacity = 4'096; ///< values kept

    /// `arrived` is called when a value is there that was not before.
    LazyMeta(FileMetaSource& source, std::function<void()> arrived)
        : source_(source), arrived_(std::move(arrived)) {}

    ~LazyMeta();
    LazyMeta(const LazyMeta&) = delete;
    LazyMeta& operator=(const LazyMeta&) = delete;

    /// Null when it is not known (yet). Lives until the next call.
    [[nodiscard]] const FileMeta* find(const RowKey& key);

    /// These rows are looked at, from top to bottom, and no others.
    void wantOnly(std::span<const ShownRow> rows);

    /// Forgets everything and withdraws every question.
    void resetMeta();

    /// Questions that wait for an answer.
    [[nodiscard]] std::size_t pending() const { return asked_.size(); }

  private:
    struct Known {
        FileMeta meta;
        std::uint32_t mtime{}; ///< of the file when it was asked for
    };

    [[nodiscard]] bool isCurrent(const ShownRow& row);
    void ask(const ShownRow& row);

    FileMetaSource& source_;
    std::function<void()> arrived_;
    RecentCache<Known> metaCache_{capacity};
    std::unordered_map<RowKey, FileMetaSource::Ticket, RowKeyHash> asked_;
};

} // namespace quarrydex
