#include "QuarrydexApp/table/CellValues.h"

#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/table/CellText.h"
#include "QuarrydexCore/base/Files.h"

#include <algorithm>
#include <vector>

namespace quarrydex {

namespace {

QString folderText(const ShownRow& row) {
    const auto folder = row.index->parent(row.entry);
    return shown(folder ? row.index->path(*folder) : folderOf(row.index->path(row.entry)));
}

/// What the table of tags knows counts more than what was read for the view.
std::uint32_t firstKnown(std::uint32_t ofTable, std::uint32_t ofFile) {
    return ofTable != 0 ? ofTable : ofFile;
}

} // namespace

QString CellValues::text(const ShownRow& row, Column column) {
    static const FileMeta nothing;
    const AudioMeta& tags = audio(row);
    const FileMeta* known = ColumnDef::of(column).lazy ? lazy_.find(row.key()) : nullptr;
    const FileMeta& meta = known != nullptr ? *known : nothing;
    switch (column) {
    case Column::name:
        return shown(name(row));
    case Column::artist:
        return shown(tags.artist);
    case Column::title:
        return shown(tags.title);
    case Column::album:
        return shown(tags.album);
    case Column::genre:
        return shown(tags.genre);
    case Column::year:
        return CellText::number(tags.year);
    case Column::bpm:
        return CellText::tempo(tags.bpm10);
    case Column::key:
        return shown(tags.key);
    case Column::duration:
        return CellText::duration(firstKnown(tags.durationMs, meta.durationMs));
    case Column::bitrate:
        return CellText::bitrate(firstKnown(tags.bitrateKbps, meta.bitrateKbps), tags.vbr);
    case Column::rate:
        return CellText::sampleRate(firstKnown(tags.sampleRate, meta.rate));
    case Column::codec:
        return qt(label(tags.codec));
    case Column::bits:
        return CellText::number(tags.bits);
    case Column::channels:
        return CellText::channels(tags.channels);
    case Column::dims:
        return CellText::dimensions(meta.w, meta.h);
    case Column::pages:
        return CellText::number(meta.pages);
    case Column::size:
        return row.isRegularFile() ? shortSize(row.index->size(row.entry)) : QString();
    case Column::date:
        return CellText::date(row.index->mtime(row.entry));
    case Column::created:
        return CellText::date(row.index->ctime(row.entry));
    case Column::atime:
        return CellText::date(meta.atime.value_or(0));
    case Column::ext:
        return shown(row.index->ext(row.entry).value_or(""));
    case Column::kind:
        return kindOfRow(row);
    case Column::drive:
        return shown(row.volume->name);
    case Column::path:
        return folderText(row);
    }
    return {};
}

QString CellValues::longText(const ShownRow& row, Column column) {
    if (column == Column::date)
        return CellText::dateAndTime(row.index->mtime(row.entry));
    if (column == Column::created)
        return CellText::dateAndTime(row.index->ctime(row.entry));
    if (column == Column::atime) {
        const FileMeta* meta = lazy_.find(row.key());
        return meta != nullptr ? CellText::dateAndTime(meta->atime.value_or(0)) : QString();
    }
    return text(row, column);
}

const AudioMeta& CellValues::audio(const ShownRow& row) {
    static const AudioMeta nothing;
    const std::int64_t version = row.index->audioVersion();
    if (version == 0 || kind(row) != FileKind::audio)
        return nothing;
    AudioRow* known = audioCache_.find(row.key());
    if (known == nullptr || known->version != version)
        known = &audioCache_.put(
            row.key(), {version, row.index->audio().meta(row.entry).value_or(AudioMeta())});
    return known->meta;
}

QString CellValues::kindOfRow(const ShownRow& row) {
    const FileKind itsKind = kind(row);
    const std::string ext(row.index->ext(row.entry).value_or(""));
    const std::string key = static_cast<char>('a' + static_cast<int>(itsKind)) + ext;
    if (const auto found = kindCache_.find(key); found != kindCache_.end())
        return found->second;
    if (kindCache_.size() >= kindCapacity)
        kindCache_.clear();
    return kindCache_[key] = shown(kindText(itsKind, ext, kindStyle_));
}

std::string CellValues::name(const ShownRow& row) const {
    if (const std::string* newName = pending_.newName(row.key()))
        return *newName;
    return std::string(row.index->name(row.entry));
}

FileKind CellValues::kind(const ShownRow& row) {
    return kindOf(row.flags(), row.index->ext(row.entry).value_or(""));
}

bool CellValues::isGone(const ShownRow& row) const {
    const bool isDeleted = (row.flags() & EntryFlags::deleted) != 0;
    return (isDeleted && pending_.newName(row.key()) == nullptr) || pending_.isGone(row.key());
}

void CellValues::setKindStyle(KindStyle style) {
    kindStyle_ = style;
    kindCache_.clear();
}

void CellValues::resetMeta() {
    lazy_.resetMeta();
    audioCache_.clear();
}

bool CellValues::needsFile(const ShownRow& row, Column column) {
    if (column == Column::atime)
        return true;
    const FileKind itsKind = kind(row);
    if (column == Column::pages)
        return itsKind == FileKind::document;
    if (column == Column::dims)
        return itsKind == FileKind::image || itsKind == FileKind::video;
    if (!ColumnDef::of(column).lazy)
        return false;
    if (itsKind == FileKind::video)
        return true;
    const AudioMeta& tags = audio(row);
    const std::uint32_t known = column == Column::duration  ? tags.durationMs
                                : column == Column::bitrate ? tags.bitrateKbps
                                                            : tags.sampleRate;
    return itsKind == FileKind::audio && known == 0;
}

void CellValues::look(std::span<const ShownRow> rows, std::span<const Column> columns) {
    std::vector<ShownRow> wanted;
    for (const ShownRow& row : rows) {
        const bool isThere = row.isRegularFile() && !row.volume->offline && !isGone(row);
        const auto needs = [&](Column column) { return needsFile(row, column); };
        if (isThere && std::ranges::any_of(columns, needs))
            wanted.push_back(row);
    }
    lazy_.wantOnly(wanted);
}

} // namespace quarrydex
