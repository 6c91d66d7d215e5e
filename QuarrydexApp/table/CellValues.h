/// What stands in the cells: texts made from a row's catalogue, its audio record and its own
/// metadata, for the rows that are painted. Everything kept is bounded in size.
///
/// Threads: the main thread. Ownership: refers to the source of metadata, which outlives it.
/// Failure: what is not known is an empty text.
#pragma once

#include "QuarrydexApp/table/Columns.h"
#include "QuarrydexApp/table/Kinds.h"
#include "QuarrydexApp/table/LazyMeta.h"
#include "QuarrydexApp/table/PendingChanges.h"
#include "QuarrydexApp/table/RecentCache.h"
#include "QuarrydexApp/table/ShownResults.h"
#include "QuarrydexCore/audio/AudioMeta.h"

#include <QString>

#include <functional>
#include <span>
#include <string>
#include <unordered_map>

namespace quarrydex {

class CellValues {
  public:
    /// `changed` is called when a cell shows something else than before.
    CellValues(FileMetaSource& files, std::function<void()> changed)
        : lazy_(files, std::move(changed)) {}

    [[nodiscard]] QString text(const ShownRow& row, Column column);

    /// What a closer look shows: dates with their time, the path as a whole.
    [[nodiscard]] QString longText(const ShownRow& row, Column column);

    /// The name in raw bytes, as it is or is about to be.
    [[nodiscard]] std::string name(const ShownRow& row) const;
    [[nodiscard]] static FileKind kind(const ShownRow& row);

    /// The file is no longer there: the catalogue says so, or soon will.
    [[nodiscard]] bool isGone(const ShownRow& row) const;

    /// Asks for the lazy values of rows that are visible, as far as the columns show any.
    void look(std::span<const ShownRow> rows, std::span<const Column> columns);

    void setKindStyle(KindStyle style);

    /// The language changed.
    void resetTexts() { kindCache_.clear(); }

    /// The rows are about something else now.
    void resetMeta();

    [[nodiscard]] LazyMeta& lazy() { return lazy_; }

    [[nodiscard]] PendingChanges& pending() { return pending_; }

  private:
    struct AudioRow {
        std::int64_t version{}; ///< of the audio table
        AudioMeta meta;
    };

    static constexpr std::size_t audioCapacity = 1'024;
    static constexpr std::size_t kindCapacity = 1'024;

    /// What the audio table has about the row; an empty record when it has none.
    [[nodiscard]] const AudioMeta& audio(const ShownRow& row);
    [[nodiscard]] QString kindOfRow(const ShownRow& row);

    /// The column shows something of the row that is not known without its file.
    [[nodiscard]] bool needsFile(const ShownRow& row, Column column);

    LazyMeta lazy_; ///< with the metaCache
    PendingChanges pending_;
    KindStyle kindStyle_ = KindStyle::exact;
    RecentCache<AudioRow> audioCache_{audioCapacity};
    std::unordered_map<std::string, QString> kindCache_; ///< by kind and extension
};

} // namespace quarrydex
