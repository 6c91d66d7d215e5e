#include "QuarrydexAudio/dupes/DuplicateFinder.h"

#include "QuarrydexAudio/dupes/GroupAssembly.h"
#include "QuarrydexAudio/dupes/IdenticalFiles.h"
#include "QuarrydexAudio/dupes/SongGroups.h"

#include <algorithm>

namespace quarrydex {

std::vector<DupGroup> DuplicateFinder::run(const ProgressFunction& progress) {
    RunContext context{.progress = progress,
                       .stop = stop_.get_token(),
                       .threads = static_cast<unsigned>(std::max(options_.threads, 1))};
    const DupStages& stages = options_.stages;
    Candidates cands(volumes_, {options_.extensions, options_.minSize}, tools_.files);
    const IdenticalFiles::Groups identical =
        IdenticalFiles(cands, context, tools_.files).find(stages);

    std::vector<SongGroup> songs;
    if (stages.contains(DupStage::sameSong) && !isCancelled())
        songs = findSongs(cands, identical, options_.durationToleranceMs, context);
    if (stages.contains(DupStage::fingerprint) && !isCancelled()) {
        if (const std::optional<std::string> fpcalc = tools_.fpcalc())
            confirmWithFingerprints(songs, cands, *fpcalc, tools_.launcher, context);
        else if (progress)
            progress(
                {.stage = DupStage::fingerprint, .groups = context.groups, .lacksFpcalc = true});
    }
    std::vector<DupGroup> groups = assembleGroups(cands, identical, songs);
    leftOut_ = cands.leftOut();
    return groups;
}

} // namespace quarrydex
