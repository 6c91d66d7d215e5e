/// Same-song groups while a run is under way: which candidates take part, how they cluster, and
/// what their fingerprints say.
///
/// Of a group of identical files one takes part for all. It is the one to keep, unless only another
/// of them has a name that tells the song.
///
/// Threads: called on the thread of the run. Fails: never.
#pragma once

#include "QuarrydexAudio/dupes/Candidates.h"
#include "QuarrydexAudio/dupes/Fingerprint.h"
#include "QuarrydexAudio/dupes/IdenticalFiles.h"
#include "QuarrydexAudio/dupes/StageRun.h"
#include "QuarrydexAudio/platform/ProcessLauncher.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quarrydex {

/// Candidates that hold one song; of identical files only one is named.
struct SongGroup {
    std::vector<CandId> files; ///< ascending
    std::optional<bool> confirmed{};
};

/// Stage sameSong. `context.groups` is kept up to date; stopped, nothing is found.
[[nodiscard]] std::vector<SongGroup> findSongs(Candidates& cands,
                                               const IdenticalFiles::Groups& identical,
                                               std::uint32_t toleranceMs,
                                               RunContext& context);

/// `confirmWithFingerprints`: stage fingerprint. A group whose files match becomes one confirmed
/// group for each set of them that is connected by matches, and loses the others; a group without
/// any match is unconfirmed. Stopped, groups not yet decided stay as they were.
void confirmWithFingerprints(std::vector<SongGroup>& songs,
                             Candidates& cands,
                             const std::string& fpcalc,
                             const ProcessLauncher& launcher,
                             RunContext& context);

} // namespace quarrydex
