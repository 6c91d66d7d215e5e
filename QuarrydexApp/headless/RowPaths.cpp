#include "QuarrydexApp/headless/RowPaths.h"

namespace quarrydex {

std::string_view RowPaths::path(Row row) {
    const VolumeIndex& index = *results_.indexes[rowVolume(row)];
    const EntryId id = rowEntry(row);
    const EntryId parent = index.parent(id).value_or(noParent);
    if (parent == noParent)
        return index.name(id);
    const Row folder = makeRow(rowVolume(row), parent);
    if (folder != folder_) {
        setFolder(index, parent);
        folder_ = folder;
        folderBytes_ = text_.size();
    }
    text_.resize(folderBytes_);
    return text_.append(index.name(id));
}

void RowPaths::setFolder(const VolumeIndex& index, EntryId folder) {
    ancestors_.clear();
    for (std::optional<EntryId> id = folder; id; id = index.parent(*id))
        ancestors_.push_back(*id);
    text_.clear();
    for (auto id = ancestors_.rbegin(); id != ancestors_.rend(); ++id) {
        text_.append(index.name(*id));
        if (!text_.ends_with('/')) // the root "/" is its own separator
            text_ += '/';
    }
}

} // namespace quarrydex
