#include "QuarrydexApp/windows/DupText.h"

#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/table/CellText.h"
#include "QuarrydexCore/base/Files.h"
#include "QuarrydexCore/text/tr.h"

namespace quarrydex {

namespace {

constexpr QChar separator = u'·';

void appendPart(QString& text, const QString& part) {
    if (part.isEmpty())
        return;
    if (!text.isEmpty())
        text.append(u' ').append(separator).append(u' ');
    text.append(part);
}

std::string reasonSentence(KeepReason reason) {
    switch (reason) {
    case KeepReason::lossless:
        return tr("The suggested copy is lossless, the others are not.");
    case KeepReason::resolution:
        return tr("The suggested copy has the highest resolution of the lossless ones.");
    case KeepReason::bitRate:
        return tr("The suggested copy has the highest bit rate.");
    case KeepReason::tags:
        return tr("The suggested copy has the fullest tags of those of the best quality.");
    case KeepReason::age:
        return tr("The suggested copy is the oldest of those with the best quality and tags.");
    case KeepReason::path:
        return tr("The best copies differ in their paths alone; the suggested one has the "
                  "shortest.");
    case KeepReason::position:
        return tr("The best copies are alike in quality, tags, age and path length; the first of "
                  "them is suggested.");
    }
    return {};
}

} // namespace

QString durationText(const DupMember& member) {
    return member.meta && member.meta->durationMs != 0 ? CellText::duration(member.meta->durationMs)
                                                       : QString();
}

QString qualityText(const DupMember& member) {
    if (!member.meta)
        return {};
    const AudioMeta& meta = *member.meta;
    QString text = qt(label(meta.codec));
    if (isLossless(meta.codec)) {
        if (meta.bits != 0)
            appendPart(text, qt(tr("{count} bit", {{"count", meta.bits}})));
        if (meta.sampleRate != 0)
            appendPart(text, CellText::sampleRate(meta.sampleRate));
    } else if (meta.bitrateKbps != 0) {
        appendPart(text, CellText::bitrate(meta.bitrateKbps, meta.vbr));
    }
    return text;
}

QString nameText(const DupMember& member) {
    const std::string_view path = member.path;
    return shown(path.substr(path.rfind('/') + 1));
}

QString folderText(const DupMember& member) {
    return shown(folderOf(member.path));
}

QString groupTitle(const DupGroup& group) {
    const DupMember& kept = group.members[group.keep];
    if (!kept.meta || kept.meta->artist.empty() || kept.meta->title.empty())
        return nameText(kept);
    return shown(kept.meta->artist) + QStringLiteral(" – ") + shown(kept.meta->title);
}

QString kindText(const DupGroup& group) {
    if (group.kind == DupKind::identical)
        return qt(tr("identical"));
    if (!group.confirmed)
        return qt(tr("same song"));
    return qt(*group.confirmed ? tr("same song · confirmed") : tr("same song · not confirmed"));
}

QString groupFacts(const DupGroup& group) {
    QString text = qt(trn("{count} copy", "{count} copies", group.members.size()));
    appendPart(text, kindText(group));
    appendPart(
        text, qt(tr("surplus: {size}", {{"size", shortSize(group.surplusBytes()).toStdString()}})));
    return text;
}

QString verdictText(const DupGroup& group) {
    if (!group.confirmed)
        return {};
    return qt(*group.confirmed ? tr("Their acoustic fingerprints agree.")
                               : tr("Their acoustic fingerprints do not agree, or some have none: "
                                    "fpcalc gives none for short files."));
}

QString reasonText(const DupGroup& group) {
    const std::string reason = reasonSentence(keepReason(group.members));
    const std::size_t suggested = best(group.members);
    if (group.keep == suggested)
        return qt(reason);
    return qt(tr("You keep copy {kept} instead of copy {suggested}, which was suggested.",
                 {{"kept", group.keep + 1}, {"suggested", suggested + 1}}) +
              " " + reason);
}

} // namespace quarrydex
