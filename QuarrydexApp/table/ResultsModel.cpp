#include "QuarrydexApp/table/ResultsModel.h"

#include "QuarrydexApp/look/Text.h"

namespace quarrydex {

QVariant ResultsModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const auto column = static_cast<Column>(index.column());
    if (role == Qt::DisplayRole)
        return values_.text(shown_.row(static_cast<std::size_t>(index.row())), column);
    if (role == Qt::TextAlignmentRole)
        return QVariant::fromValue(
            Qt::AlignVCenter | (ColumnDef::of(column).isNumeric ? Qt::AlignRight : Qt::AlignLeft));
    return {};
}

QVariant ResultsModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || section < 0 || section >= columnCount() ||
        role != Qt::DisplayRole)
        return {};
    return qt(ColumnDef::all[static_cast<std::size_t>(section)].shownTitle());
}

Qt::ItemFlags ResultsModel::flags(const QModelIndex& index) const {
    if (!index.isValid())
        return Qt::NoItemFlags;
    return Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemNeverHasChildren;
}

} // namespace quarrydex
