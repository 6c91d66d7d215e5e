#include "QuarrydexApp/windows/DupTreeModel.h"

#include "QuarrydexApp/look/Symbols.h"
#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/windows/DupText.h"
#include "QuarrydexCore/text/tr.h"

#include <QFont>

namespace quarrydex {

namespace {

using Column = DupTreeModel::Column;

/// Of an index: 0 for a heading, else one more than the position of the group it belongs to.
constexpr quintptr headingId = 0;

bool isNumeric(Column column) {
    return column == Column::duration || column == Column::size;
}

QString columnTitle(Column column) {
    switch (column) {
    case Column::name:
        return qt(quarrydex::tr("File name"));
    case Column::artist:
        return qt(quarrydex::tr("Artist"));
    case Column::title:
        return qt(quarrydex::tr("Title"));
    case Column::duration:
        return qt(quarrydex::tr("Duration"));
    case Column::quality:
        return qt(quarrydex::tr("Quality"));
    case Column::size:
        return qt(quarrydex::tr("Size"));
    case Column::folder:
        return qt(quarrydex::tr("Folder"));
    case Column::drive:
        return qt(quarrydex::tr("Drive"));
    }
    return {};
}

} // namespace

DupTreeModel::DupTreeModel(const DupModel& dupes, QObject* parent)
    : QAbstractItemModel(parent), dupes_(dupes), check_(symbolIcon("checkmark")) {
    connect(&dupes, &DupModel::stateChanged, this, &DupTreeModel::reset);
    connect(&dupes, &DupModel::groupsChanged, this, &DupTreeModel::groupsChanged);
}

void DupTreeModel::reset() {
    beginResetModel();
    endResetModel();
}

void DupTreeModel::groupsChanged(const std::vector<std::size_t>& groups) {
    for (std::size_t group : groups) {
        const QModelIndex heading = indexOf(group);
        Q_EMIT dataChanged(heading, heading.siblingAtColumn(columns - 1));
        Q_EMIT dataChanged(index(0, 0, heading),
                           index(rowCount(heading) - 1, columns - 1, heading));
    }
}

// --- Where things are ---------------------------------------------------------------------------

QModelIndex DupTreeModel::indexOf(std::size_t group, std::optional<std::size_t> member) const {
    const QModelIndex heading = index(static_cast<int>(group), 0);
    return member ? index(static_cast<int>(*member), 0, heading) : heading;
}

std::size_t DupTreeModel::groupOf(const QModelIndex& index) {
    return index.internalId() == headingId ? static_cast<std::size_t>(index.row())
                                           : static_cast<std::size_t>(index.internalId() - 1);
}

std::optional<std::size_t> DupTreeModel::memberOf(const QModelIndex& index) {
    if (index.internalId() == headingId)
        return std::nullopt;
    return static_cast<std::size_t>(index.row());
}

QModelIndex DupTreeModel::index(int row, int column, const QModelIndex& parent) const {
    if (!hasIndex(row, column, parent))
        return {};
    return createIndex(row, column,
                       parent.isValid() ? static_cast<quintptr>(parent.row()) + 1 : headingId);
}

QModelIndex DupTreeModel::parent(const QModelIndex& child) const {
    if (!child.isValid() || child.internalId() == headingId)
        return {};
    return createIndex(static_cast<int>(child.internalId() - 1), 0, headingId);
}

int DupTreeModel::rowCount(const QModelIndex& parent) const {
    if (!parent.isValid())
        return static_cast<int>(dupes_.groups().size());
    if (parent.internalId() != headingId || parent.column() != 0)
        return 0;
    return static_cast<int>(dupes_.groups()[groupOf(parent)].members.size());
}

int DupTreeModel::columnCount(const QModelIndex&) const {
    return columns;
}

// --- What they say ------------------------------------------------------------------------------

QVariant DupTreeModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid())
        return {};
    const DupGroup& group = dupes_.groups()[groupOf(index)];
    const auto column = static_cast<Column>(index.column());
    if (const auto member = memberOf(index))
        return memberData(group, *member, column, role);
    return headingData(group, column, role);
}

QVariant DupTreeModel::headingData(const DupGroup& group, Column column, int role) const {
    if (column != Column::name)
        return {};
    if (role == Qt::DisplayRole)
        return groupTitle(group);
    if (role == factsRole)
        return groupFacts(group);
    if (role == Qt::AccessibleTextRole)
        return QString(groupTitle(group) + QStringLiteral(", ") + groupFacts(group));
    return {};
}

QVariant
DupTreeModel::memberData(const DupGroup& group, std::size_t member, Column column, int role) const {
    const DupMember& one = group.members[member];
    const bool isKept = member == group.keep;
    switch (role) {
    case Qt::DisplayRole:
        return text(one, column);
    case Qt::AccessibleTextRole:
        if (column == Column::name && isKept)
            return qt(quarrydex::tr("{name}, kept", {{"name", nameText(one).toStdString()}}));
        return text(one, column);
    case Qt::ToolTipRole:
        return shown(one.path);
    case Qt::DecorationRole:
        return column == Column::name && isKept ? QVariant(check_) : QVariant();
    case Qt::FontRole: {
        if (!isKept)
            return {};
        QFont bold;
        bold.setBold(true);
        return bold;
    }
    case Qt::TextAlignmentRole:
        return isNumeric(column) ? QVariant(Qt::AlignRight | Qt::AlignVCenter) : QVariant();
    default:
        return {};
    }
}

QString DupTreeModel::text(const DupMember& member, Column column) const {
    switch (column) {
    case Column::name:
        return nameText(member);
    case Column::artist:
        return member.meta ? shown(member.meta->artist) : QString();
    case Column::title:
        return member.meta ? shown(member.meta->title) : QString();
    case Column::duration:
        return durationText(member);
    case Column::quality:
        return qualityText(member);
    case Column::size:
        return shortSize(member.size);
    case Column::folder:
        return folderText(member);
    case Column::drive:
        return shown(dupes_.driveOf(member));
    }
    return {};
}

QVariant DupTreeModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || section < 0 || section >= columns)
        return {};
    const auto column = static_cast<Column>(section);
    if (role == Qt::DisplayRole)
        return columnTitle(column);
    if (role == Qt::TextAlignmentRole)
        return QVariant((isNumeric(column) ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter);
    return {};
}

} // namespace quarrydex
