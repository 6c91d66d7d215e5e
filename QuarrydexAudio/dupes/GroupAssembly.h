/// The groups that a run reports, made of those it found.
///
/// Everything is looked at once more: a member that has changed, or gone, since it was first looked
/// at takes no part, so that whatever is to be kept is there and is what was compared.
///
/// One file plays one role in all groups that hold it: where a copy of a song is not the one to
/// keep and stands for a group of identical files, it is one of the surplus files of that group.
/// Acting on all groups at once therefore leaves one file of every group.
///
/// Threads: called on the thread of the run. Fails: never.
#pragma once

#include "QuarrydexAudio/dupes/Candidates.h"
#include "QuarrydexAudio/dupes/DupTypes.h"
#include "QuarrydexAudio/dupes/IdenticalFiles.h"
#include "QuarrydexAudio/dupes/SongGroups.h"

#include <vector>

namespace quarrydex {

/// Largest surplus first, equal ones in order of creation.
[[nodiscard]] std::vector<DupGroup> assembleGroups(Candidates& cands,
                                                   const IdenticalFiles::Groups& identical,
                                                   const std::vector<SongGroup>& songs);

} // namespace quarrydex
