#include "QuarrydexApp/model/StatusText.h"

#include "QuarrydexApp/model/VolumeState.h"
#include "QuarrydexCore/text/tr.h"

#include <QDateTime>
#include <QLocale>

namespace quarrydex {

std::string localDateTime(std::int64_t time) {
    return QLocale()
        .toString(QDateTime::fromSecsSinceEpoch(time), QLocale::ShortFormat)
        .toStdString();
}

std::string statusSuffix(const VolumeState& volume) {
    if (volume.offline)
        return tr(" · not connected");
    if (volume.scanning)
        return tr(" · scanning …");
    if (volume.updating)
        return tr(" · updating …");
    return {};
}

std::string statusSentence(const VolumeState& volume) {
    if (volume.offline)
        return trn(
            "{name} is not connected. The catalog ({count} entry, as of {date}) stays "
            "searchable.",
            "{name} is not connected. The catalog ({count} entries, as of {date}) stays "
            "searchable.",
            volume.count,
            {{"name", volume.name}, {"date", localDateTime(volume.catalogDate.value_or(0))}});
    if (volume.scanning)
        return trn("{count} entry so far, searching already works on what is there",
                   "{count} entries so far, searching already works on what is there",
                   volume.count);
    if (volume.updating && volume.loaded)
        return trn("{count} entry from the snapshot, changes since the last run are being replayed",
                   "{count} entries from the snapshot, changes since the last run are being "
                   "replayed",
                   volume.count);
    return {};
}

std::string offlineSummary(const VolumeState& volume) {
    return trn("not connected · {count} entry · as of {date}",
               "not connected · {count} entries · as of {date}", volume.count,
               {{"date", localDateTime(volume.catalogDate.value_or(0))}});
}

std::string watchNotice(const VolumeState& volume) {
    if (!volume.watcher)
        return {};
    const StreamStatus stream = volume.watcher->status().stream;
    if (!stream.limitReached)
        return {};
    return trn("{name}: {count} folder is looked at only now and then, because the system lets "
               "programs watch no more. Raise fs.inotify.max_user_watches to change that.",
               "{name}: {count} folders are looked at only now and then, because the system lets "
               "programs watch no more. Raise fs.inotify.max_user_watches to change that.",
               stream.polledFolders, {{"name", volume.name}});
}

} // namespace quarrydex
