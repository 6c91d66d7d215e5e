#include "QuarrydexAudio/dupes/DupList.h"

#include "QuarrydexAudio/dupes/DupExport.h"
#include "QuarrydexCore/text/tr.h"

namespace quarrydex {

namespace {

/// REQUIRES: a playlist.
DupExport::Which whichOf(DupList list) {
    if (list == DupList::m3uSurplus)
        return DupExport::Which::surplus;
    return list == DupList::m3uKeep ? DupExport::Which::keep : DupExport::Which::all;
}

} // namespace

std::string menuTitle(DupList list) {
    switch (list) {
    case DupList::csv:
        return tr("CSV (everything) …");
    case DupList::m3uSurplus:
        return tr("M3U (surplus) …");
    case DupList::m3uKeep:
        return tr("M3U (to keep) …");
    case DupList::m3uAll:
        return tr("M3U (all) …");
    }
    return {};
}

std::string_view fileEnding(DupList list) {
    static constexpr std::array<std::string_view, allDupLists.size()> endings = {
        "-duplicates.csv", DupExport::surplusEnding, "-duplicates-keep.m3u", "-duplicates-all.m3u"};
    return endings[static_cast<std::size_t>(list)];
}

std::string textOf(std::span<const DupGroup> groups, DupList list) {
    return list == DupList::csv ? DupExport::csv(groups) : DupExport::m3u(groups, whichOf(list));
}

std::size_t unlistable(std::span<const DupGroup> groups, DupList list) {
    return list == DupList::csv ? 0 : DupExport::unlistable(groups, whichOf(list));
}

} // namespace quarrydex
