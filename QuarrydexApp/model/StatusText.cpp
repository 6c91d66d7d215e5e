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
    const std::string count = std::to_string(volume.count);
    if (volume.offline)
        return volume.name + tr(" is not connected. The catalog (") + count +
               tr(" entries, as of ") + localDateTime(volume.catalogDate.value_or(0)) +
               tr(") stays searchable.");
    if (volume.scanning)
        return count + tr(" entries so far, searching already works on what is there");
    if (volume.updating && volume.loaded)
        return count +
               tr(" entries from the snapshot, changes since the last run are being replayed");
    return {};
}

std::string watchNotice(const VolumeState& volume) {
    if (!volume.watcher)
        return {};
    const StreamStatus stream = volume.watcher->status().stream;
    if (!stream.limitReached)
        return {};
    return tr("{name}: {count} folders are looked at only now and then, because the system lets "
              "programs watch no more. Raise fs.inotify.max_user_watches to change that.",
              {{"name", volume.name}, {"count", stream.polledFolders}});
}

} // namespace quarrydex
