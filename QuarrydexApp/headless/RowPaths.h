/// Full paths of a result's rows, built without an allocation a row.
/// Threads: one. The result set must outlive the object.
#pragma once

#include "QuarrydexApp/model/ResultSet.h"

#include <string>
#include <string_view>
#include <vector>

namespace quarrydex {

class RowPaths {
  public:
    explicit RowPaths(const ResultSet& results) : results_(results) {}

    /// Raw bytes; the view lives until the next call.
    [[nodiscard]] std::string_view path(Row row);

  private:
    /// Makes text_ the path of the folder, with "/" at its end.
    void setFolder(const VolumeIndex& index, EntryId folder);

    const ResultSet& results_;
    Row folder_ = ~Row{0};        ///< the folder whose path text_ begins with
    std::size_t folderBytes_ = 0; ///< length of that part, "/" included
    std::string text_;
    std::vector<EntryId> ancestors_; ///< scratch
};

} // namespace quarrydex
