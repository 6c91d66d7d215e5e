#include "QuarrydexApp/windows/DupDetailModel.h"

#include "QuarrydexApp/look/Appearance.h"
#include "QuarrydexApp/look/Symbols.h"
#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/table/CellText.h"
#include "QuarrydexApp/windows/DupText.h"
#include "QuarrydexCore/text/tr.h"

#include <QFont>

#include <utility>

namespace quarrydex {

DupDetailModel::DupDetailModel(const DupModel& dupes, QObject* parent)
    : QAbstractTableModel(parent), dupes_(dupes), check_(symbolIcon("checkmark")) {}

void DupDetailModel::show(std::optional<std::size_t> position) {
    beginResetModel();
    lines_.clear();
    members_ = 0;
    if (position) {
        const DupGroup& group = dupes_.groups()[*position];
        members_ = group.members.size();
        keep_ = group.keep;
        suggested_ = best(group.members);
        addFile(group);
        addTags(group);
    }
    endResetModel();
}

/// A line is left out when no member has a value for it.
template <class Value>
void DupDetailModel::add(const std::string& label, const DupGroup& group, const Value& valueOf) {
    Line line{.label = qt(label), .values = {}, .isSame = true};
    bool isKnown = false;
    for (const DupMember& member : group.members) {
        line.values.push_back(valueOf(member));
        line.isSame = line.isSame && line.values.back() == line.values.front();
        isKnown = isKnown || !line.values.back().isEmpty();
    }
    if (isKnown)
        lines_.push_back(std::move(line));
}

void DupDetailModel::addFile(const DupGroup& group) {
    add(quarrydex::tr("File name"), group, nameText);
    add(quarrydex::tr("Folder"), group, folderText);
    add(quarrydex::tr("Drive"), group,
        [this](const DupMember& member) { return shown(dupes_.driveOf(member)); });
    add(quarrydex::tr("Size"), group, [](const DupMember& member) {
        return qt(trn("{size} ({count} byte)", "{size} ({count} bytes)", member.size,
                      {{"size", shortSize(member.size).toStdString()}}));
    });
    add(quarrydex::tr("Modified"), group,
        [](const DupMember& member) { return CellText::dateAndTime(member.mtime); });
    add(quarrydex::tr("Quality"), group, qualityText);
    add(quarrydex::tr("Duration"), group, durationText);
}

void DupDetailModel::addTags(const DupGroup& group) {
    const auto text = [&](const std::string& label, std::string AudioMeta::*tag) {
        add(label, group, [tag](const DupMember& member) {
            return member.meta ? shown((*member.meta).*tag) : QString();
        });
    };
    text(quarrydex::tr("Artist"), &AudioMeta::artist);
    text(quarrydex::tr("Title"), &AudioMeta::title);
    text(quarrydex::tr("Album"), &AudioMeta::album);
    text(quarrydex::tr("Genre"), &AudioMeta::genre);
    add(quarrydex::tr("Year"), group, [](const DupMember& member) {
        return member.meta ? CellText::number(member.meta->year) : QString();
    });
    add(quarrydex::tr("BPM"), group, [](const DupMember& member) {
        return member.meta && member.meta->bpm10 != 0 ? CellText::tempo(member.meta->bpm10)
                                                      : QString();
    });
    text(quarrydex::tr("Key"), &AudioMeta::key);
}

int DupDetailModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(lines_.size());
}

int DupDetailModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(members_);
}

bool DupDetailModel::stands(const Line& line, std::size_t member) const {
    return line.values[member] != line.values[keep_];
}

QVariant DupDetailModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid())
        return {};
    const Line& line = lines_[static_cast<std::size_t>(index.row())];
    const auto member = static_cast<std::size_t>(index.column());
    const QString& value = line.values[member];
    switch (role) {
    case Qt::DisplayRole:
    case Qt::ToolTipRole:
        return value;
    case Qt::AccessibleTextRole:
        return stands(line, member)
                   ? qt(quarrydex::tr("{value}, differs", {{"value", value.toStdString()}}))
                   : value;
    case Qt::FontRole: {
        if (!stands(line, member))
            return {};
        QFont bold;
        bold.setBold(true);
        return bold;
    }
    case Qt::ForegroundRole:
        return line.isSame ? QVariant(tints().secondaryText) : QVariant();
    default:
        return {};
    }
}

QString DupDetailModel::memberTitle(std::size_t member) const {
    const TrArg number("number", member + 1);
    if (member == keep_)
        return qt(quarrydex::tr("Copy {number} · kept", {number}));
    if (member == suggested_)
        return qt(quarrydex::tr("Copy {number} · suggested", {number}));
    return qt(quarrydex::tr("Copy {number}", {number}));
}

QVariant DupDetailModel::headerData(int section, Qt::Orientation orientation, int role) const {
    const auto position = static_cast<std::size_t>(section);
    if (orientation == Qt::Vertical) {
        if (role == Qt::DisplayRole && position < lines_.size())
            return lines_[position].label;
        return {};
    }
    if (position >= members_)
        return {};
    if (role == Qt::DisplayRole)
        return memberTitle(position);
    if (role == Qt::DecorationRole && position == keep_)
        return check_;
    if (role == Qt::TextAlignmentRole)
        return QVariant(Qt::AlignLeft | Qt::AlignVCenter);
    return {};
}

} // namespace quarrydex
