/// One volume of the model: a root with its catalogue, how it is kept current, and what is shown of
/// its progress.
///
///   scanning ──────────────→ live        no saved catalogue
///   updating ──────────────→ live        a saved one, catching up with the disk
///   live ── unplugged ─────→ offline ── plugged in ──→ updating
///
/// Threads: the fields belong to the main thread. Background work takes `index` and `searcher`,
/// which may be used from any thread, and posts what it found. `bg` runs what reads or writes this
/// volume's drive and files, one after the other.
#pragma once

#include "QuarrydexApp/model/OpenVolume.h"
#include "QuarrydexAudio/index/AudioIndexer.h"
#include "QuarrydexCore/base/SerialQueue.h"
#include "QuarrydexCore/search/Searcher.h"
#include "QuarrydexCore/watch/VolumeWatcher.h"

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quarrydex {

struct VolumeState {
    std::string id;   ///< identity, the same on every run; empty until the drive was asked
    std::string name; ///< display name: the root's last component, or "System" for "/"
    std::string root; ///< absolute path without a "/" at its end
    bool isInternal{};
    std::shared_ptr<VolumeIndex> index;
    std::shared_ptr<Searcher> searcher; ///< over *index

    // --- The saved catalogue ---------------------------------------------------------------------
    VolumePlan plan;
    std::string snapshotPath;           ///< empty when nothing is kept
    std::string historyId;              ///< of the change history that event ids belong to
    std::uint64_t configHash{};         ///< a catalogue made under another one is not used
    std::optional<SnapshotInfo> loaded; ///< of the catalogue the index came from
    VolumeID::Resume resume{};
    std::shared_ptr<const FileLock> lock; ///< null: another process saves this catalogue

    // --- Keeping it current ----------------------------------------------------------------------
    std::shared_ptr<VolumeWatcher> watcher;
    std::int64_t lastReconcile{}; ///< seconds since 1970 at which the last one ended
    /// Event id when the scan or the last reconcile began: up to there the catalogue is right.
    std::uint64_t scanEventID{};
    std::weak_ptr<VolumeState> replacing;   ///< the state whose place this one takes when scanned
    std::weak_ptr<VolumeState> replacement; ///< the reverse
    /// The last catalogue that was complete, until this one is: tags are taken over from it.
    std::shared_ptr<VolumeIndex> before;
    std::int64_t lastSave{}; ///< seconds since 1970
    std::shared_ptr<SerialQueue> bg;

    // --- Its music -------------------------------------------------------------------------------
    std::shared_ptr<AudioIndexer> audioIndexer; ///< of the pass that runs
    std::int64_t audioSig = -1;                 ///< mutations of the index that a pass has seen
    std::int64_t lastAudioVersion{};            ///< rows that results were last made with
    std::uint64_t audioNotBefore{};             ///< monotonic ns: passes keep a distance
    std::int64_t audioAgainAt = neverAgain;     ///< seconds since 1970: new files have settled
    bool audioRunning{};
    std::size_t audioDone{}; ///< files, of audioTotal
    std::size_t audioTotal{};

    static constexpr std::int64_t neverAgain = std::numeric_limits<std::int64_t>::max();

    // --- What is shown ---------------------------------------------------------------------------
    std::uint32_t count{};                   ///< live entries, as last published
    bool attaching{};                        ///< the scan waits for the watcher to watch
    bool scanning{};                         ///< also while the drive is first asked
    bool updating{};                         ///< catching up with changes
    bool maintaining{};                      ///< orders are being rebuilt in the background
    bool hidden{};                           ///< left out of searches
    bool offline{};                          ///< not connected; the catalogue is searchable
    double seconds{};                        ///< duration of the scan
    std::optional<std::int64_t> catalogDate; ///< of an offline catalogue, seconds since 1970
    std::optional<std::string> failure;      ///< why the scan failed, as shown to the user

    /// What a volume that takes this one's place begins with as `before`.
    [[nodiscard]] std::shared_ptr<VolumeIndex> lastComplete() const {
        return before ? before : index;
    }
};

} // namespace quarrydex
