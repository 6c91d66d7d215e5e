#include "QuarrydexAudio/dupes/DupNotices.h"

#include "QuarrydexCore/text/tr.h"

namespace quarrydex {

std::vector<std::string> notices(const LeftOut& leftOut) {
    std::vector<std::string> out;
    if (leftOut.changed > 0)
        out.push_back(trn("{count} file was left out: it has just changed.",
                          "{count} files were left out: they have just changed.", leftOut.changed));
    if (leftOut.unreadable > 0)
        out.push_back(trn("{count} file could not be read and was not compared by content.",
                          "{count} files could not be read and were not compared by content.",
                          leftOut.unreadable));
    if (leftOut.withoutFingerprint > 0)
        out.push_back(trn("{count} file has no fingerprint: fpcalc cannot read it, or it is short.",
                          "{count} files have no fingerprint: fpcalc cannot read them, or they "
                          "are short.",
                          leftOut.withoutFingerprint));
    return out;
}

std::string notConnectedNotice(std::string_view drive) {
    return tr("“{drive}” is not connected and is left out.", {{"drive", drive}});
}

std::string notListedNotice(std::size_t count) {
    if (count == 0)
        return {};
    return trn("{count} file is not in the playlist: its path holds a line break.",
               "{count} files are not in the playlist: their paths hold line breaks.", count);
}

} // namespace quarrydex
