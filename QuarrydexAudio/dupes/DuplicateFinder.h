/// Finds audio files that are the same recording, in stages from cheap to dear, and suggests which
/// copy to keep. It only ever reads.
///
///   size ─ quickHash ─ fullHash ─▶ identical groups ─ sameSong ─▶ song groups ─ fingerprint
///
/// What a group says can be relied on: its members are different files (hard links and a second
/// path to one file count once), they were there and unchanged when the run ended, and no file is
/// to be kept in one group and surplus in another. An identical group stays when one of its files
/// also takes part in a song group.
///
/// Left out are files that are not what the catalogue says (it will catch up), and, from comparing
/// by content, those that cannot be read.
///
/// Threads: run() once, on a background thread, which it spreads over `threads`; the progress
/// function is called on that thread. cancel(), isCancelled(): any thread, at any time.
/// Failure: none; whatever cannot be read, run or looked at drops out and is counted.
#pragma once

#include "QuarrydexAudio/dupes/Candidates.h"
#include "QuarrydexAudio/dupes/DupTypes.h"
#include "QuarrydexAudio/dupes/Fingerprint.h"
#include "QuarrydexAudio/dupes/StageRun.h"
#include "QuarrydexAudio/platform/FileReads.h"
#include "QuarrydexAudio/platform/ProcessLauncher.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace quarrydex {

class DuplicateFinder {
  public:
    struct Options {
        std::vector<std::string> extensions = {"mp3", "mp2",  "flac", "wav", "wave",
                                               "aif", "aiff", "aifc", "m4a", "m4b",
                                               "ogg", "opus", "wma",  "ape", "wv"};
        std::uint64_t minSize = 1024; ///< bytes
        int threads = 4;
        DupStages stages = {DupStage::size, DupStage::quickHash, DupStage::fullHash,
                            DupStage::sameSong};
        std::uint32_t durationToleranceMs = 2000;
    };

    using Progress = DupProgress;

    /// Called when a stage begins and ends, and some hundred times in between.
    using ProgressFunction = std::function<void(const Progress&)>;

    /// What the finder reaches the system by; outlives it.
    struct Tools {
        const FileReads& files = systemFileReads();
        const ProcessLauncher& launcher = systemProcessLauncher();
        std::function<std::optional<std::string>()> fpcalc = fpcalcPath;
    };

    /// `DuplicateFinder(volumes:options:)`. Volumes whose drives are not connected do not belong
    /// here: all their files would be left out.
    DuplicateFinder(DupVolumes volumes, Options options)
        : DuplicateFinder(std::move(volumes), std::move(options), Tools{}) {}

    DuplicateFinder(DupVolumes volumes, Options options, Tools tools)
        : volumes_(std::move(volumes)), options_(std::move(options)), tools_(std::move(tools)) {}

    /// `run(progress:)`: the groups, largest surplus first. When cancelled, those found so far.
    [[nodiscard]] std::vector<DupGroup> run(const ProgressFunction& progress = {});

    /// Every stage stops at its next item, a long file at its next read; fpcalc is ended.
    void cancel() { stop_.request_stop(); }

    [[nodiscard]] bool isCancelled() const { return stop_.stop_requested(); }

    /// After run(), on the same thread.
    [[nodiscard]] const LeftOut& leftOut() const { return leftOut_; }

  private:
    const DupVolumes volumes_;
    const Options options_;
    const Tools tools_;
    std::stop_source stop_;
    LeftOut leftOut_;
};

} // namespace quarrydex
