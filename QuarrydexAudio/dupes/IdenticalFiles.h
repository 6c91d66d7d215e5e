/// The stages that compare files by their bytes: size, hash of both ends, full hash.
///
/// Each stage splits the groups that the one before has left; whoever is alone drops out, and so
/// does a file that cannot be read. Files are read in the order in which a disk is likely to hold
/// them, once a stage.
///
/// Threads: called on the thread of the run. Fails: never.
#pragma once

#include "QuarrydexAudio/dupes/Candidates.h"
#include "QuarrydexAudio/dupes/DupTypes.h"
#include "QuarrydexAudio/dupes/StageRun.h"
#include "QuarrydexAudio/platform/FileReads.h"

#include <cstddef>
#include <vector>

namespace quarrydex {

class IdenticalFiles {
  public:
    /// The groups found: candidates in ascending order, groups by their first one.
    using Groups = std::vector<std::vector<CandId>>;

    /// All of these outlive this. `context.groups` is kept up to date.
    IdenticalFiles(Candidates& cands, RunContext& context, const FileReads& reads)
        : cands_(cands), context_(context), reads_(reads) {}

    /// Runs the selected ones of the three stages. Without a hash among them nothing is known to be
    /// identical. Stopped, it returns the groups that are certain by then.
    [[nodiscard]] Groups find(const DupStages& stages);

  private:
    void bySize(bool isSelected);
    void byQuickHash();
    void byFullHash();

    /// The candidates of all groups, looked at; groups lose those that take no part.
    std::vector<CandId> looked(const StageRun& run);
    /// In the order of the disk.
    [[nodiscard]] std::vector<CandId> readingOrder(std::vector<CandId> ids) const;
    void splitByDigest(Groups& groups) const;

    Candidates& cands_;
    RunContext& context_;
    const FileReads& reads_;
    Groups open_;  ///< may still fall apart
    Groups whole_; ///< every byte was compared
};

} // namespace quarrydex
