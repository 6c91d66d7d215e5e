/// The files that a duplicate run is about: what the catalogues say of them and, for those that are
/// looked at, what they are on the disk.
///
///   cands    [ 24 bytes each, by (volume, entry) ]   one for every file that qualifies
///   sights   [ only for those that were looked at ]
///
/// A file is looked at once, before anything of it is read, and again when the groups are complete.
/// It takes part no further when it is gone, when it is not what the catalogue says (the catalogue
/// will catch up; until then its tags say nothing about it either), or when it was reached already
/// by another path: one (device, inode) is one file, and the first path in catalogue order names
/// it.
///
/// Threads: one, but for the const members, which any may call, and the parallel loop inside
/// look(). Fails: never.
#pragma once

#include "QuarrydexAudio/dupes/DupTypes.h"
#include "QuarrydexAudio/dupes/StageRun.h"
#include "QuarrydexAudio/platform/FileReads.h"
#include "QuarrydexCore/catalog/VolumeIndex.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <unordered_map>
#include <vector>

namespace quarrydex {

/// Position in the list of candidates.
using CandId = std::uint32_t;

struct Cand {
    std::uint64_t size{}; ///< bytes, as the catalogue has it
    EntryId entry{};
    std::uint32_t vol{};
    std::uint32_t mtime{}; ///< as the catalogue has it
    std::uint32_t sight{}; ///< position among the sights + 1; 0: not looked at
};

/// What was seen of a candidate.
struct Sight {
    FileState state{};
    Digest128 digest{};
    bool takesPart{};
    bool hasDigest{};
    bool isWhole{}; ///< the digest covers every byte
};

/// Files that did not take part, for the user to know.
struct LeftOut {
    std::size_t changed{};            ///< gone, or not what the catalogue says
    std::size_t unreadable{};         ///< not compared by content
    std::size_t sameFile{};           ///< further paths to a file that takes part
    std::size_t withoutFingerprint{}; ///< fpcalc had nothing to say of them

    bool operator==(const LeftOut&) const = default;
};

using DupVolumes = std::vector<std::shared_ptr<const VolumeIndex>>;

class Candidates {
  public:
    /// Which files qualify.
    struct Wanted {
        std::vector<std::string> extensions; ///< without dots
        std::uint64_t minSize{};             ///< bytes
    };

    /// Takes the live files that qualify. `volumes` and `reads` outlive this.
    Candidates(const DupVolumes& volumes, const Wanted& wanted, const FileReads& reads);

    [[nodiscard]] std::size_t count() const { return cands_.size(); }

    [[nodiscard]] const Cand& operator[](CandId id) const { return cands_[id]; }

    [[nodiscard]] std::string_view name(CandId id) const;
    [[nodiscard]] std::string path(CandId id) const;

    /// What the audio table says of the file as it is now: nothing for an older state of it, and
    /// nothing where the analysis found nothing.
    [[nodiscard]] std::optional<AudioMeta> meta(CandId id) const;
    [[nodiscard]] DupMember member(CandId id) const;

    /// Looks at those that were not looked at yet, and takes out of `ids` what takes no part.
    /// REQUIRES: ids in ascending order. Stopped, it takes out all that it did not come to.
    void look(std::vector<CandId>& ids, const StageRun& run);

    /// REQUIRES: was looked at.
    [[nodiscard]] Sight& sight(CandId id) { return sights_[cands_[id].sight - 1]; }

    [[nodiscard]] const Sight& sight(CandId id) const { return sights_[cands_[id].sight - 1]; }

    /// True when the file is still what it was when first looked at. REQUIRES: was looked at.
    [[nodiscard]] bool isUnchanged(CandId id) const;

    [[nodiscard]] LeftOut& leftOut() { return leftOut_; }

  private:
    struct Volume {
        std::shared_ptr<const VolumeIndex> index;
        std::shared_ptr<const AudioTable::Cols> audio;
    };

    struct Inode {
        std::uint64_t device;
        std::uint64_t number;

        bool operator==(const Inode&) const = default;
    };

    struct InodeHash {
        std::size_t operator()(const Inode& inode) const;
    };

    void collect(std::uint32_t vol, const Wanted& wanted);
    /// The look itself; any thread.
    void lookAt(CandId id);

    const FileReads& reads_;
    std::vector<Volume> volumes_;
    std::vector<Cand> cands_;
    std::vector<Sight> sights_;
    std::unordered_map<Inode, CandId, InodeHash> files_; ///< the first path to each
    LeftOut leftOut_;
};

} // namespace quarrydex
