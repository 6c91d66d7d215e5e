/// Brings a catalogue's audio table up to date: reads the tags of the audio files that have no row
/// yet, or another modification time than when they were read. One object a run.
///
/// Rows are added in batches, so that searches find the first files while the rest is being read. A
/// file that is no audio gets an empty row and is left alone until it changes.
///
/// Threads: run() blocks its caller and reads on threads of its own; cancel() may be called by any.
/// Locks: lock_ before the audio table's; onProgress is called under it, on the readers' threads.
/// Fails: never; files that cannot be read get empty rows. A file that is gone keeps what was known
/// of it and is looked for again by a later run: its drive may have gone with it.
#pragma once

#include "QuarrydexCore/base/Mutex.h"
#include "QuarrydexCore/catalog/VolumeIndex.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace quarrydex {

class AudioIndexer {
  public:
    /// What is analysed.
    static constexpr std::array<std::string_view, 10> extensions = {
        "mp3", "mp2", "flac", "wav", "wave", "aif", "aiff", "aifc", "m4a", "m4b"};

    /// What is kept of each text, bytes: far more than any tag made for people to read holds. A
    /// file may state texts of many megabytes, and the texts of a table share 4 GiB that nothing
    /// gives back; so no file takes more than some kilobytes of them.
    static constexpr std::size_t maxTextBytes = 2048;

    /// Files, of all that the catalogue has.
    struct Progress {
        std::size_t done{};
        std::size_t total{};
    };

    struct Pending {
        std::vector<EntryId> todo; ///< to be read, ascending
        std::size_t total{};       ///< audio files in the catalogue
    };

    /// `threads`: how many read at once.
    AudioIndexer(std::shared_ptr<VolumeIndex> index, unsigned threads);

    /// Set before the run. Must not call back into the indexer.
    std::function<void(const Progress&)> onProgress;

    /// Leaves processor and disk to everything else; off where someone waits for the run.
    bool yields = true;

    /// A file changed at this time or later (seconds since 1970) is read, and again by a later run:
    /// its row has no time (AudioTable::noTime).
    std::int64_t settledBefore = std::numeric_limits<std::int64_t>::max();

    /// A file whose time is later than this has it from somewhere else, and counts as settled.
    std::int64_t now = std::numeric_limits<std::int64_t>::max();

    /// Seconds until a file has settled: the second that its time tells, and what file systems with
    /// coarse times add.
    static constexpr std::int64_t settlingTime = 2;

    /// Sets both for a run that begins at `time`.
    void beginAt(std::int64_t time) {
        now = time;
        settledBefore = time - settlingTime;
    }

    /// The last run has read files that have to be read again.
    [[nodiscard]] bool hasUnsettled() const QDX_EXCLUDES(lock_);

    [[nodiscard]] Pending pending() const;

    /// The same of these entries alone; `total` is their number.
    [[nodiscard]] Pending pending(std::span<const EntryId> among) const;

    /// Reads what is pending. Returns the number of files read.
    std::size_t run();

    /// Reads `work`, which pending() gave.
    std::size_t run(const Pending& work) QDX_EXCLUDES(lock_);

    /// Ends the run after the file that each thread is at; what was read is kept.
    void cancel() QDX_EXCLUDES(lock_);

  private:
    class Selection;

    void work(const Pending& work) QDX_EXCLUDES(lock_);
    [[nodiscard]] std::span<const EntryId> nextSlice(const Pending& work) QDX_EXCLUDES(lock_);
    [[nodiscard]] AudioTable::Analysed analyse(EntryId id) const;
    void add(AudioTable::Analysed row, const Pending& work) QDX_EXCLUDES(lock_);
    void storeBatch(const Pending& work) QDX_REQUIRES(lock_);

    const std::shared_ptr<VolumeIndex> index_;
    const unsigned threads_;

    mutable Mutex lock_;
    std::size_t next_ QDX_GUARDED_BY(lock_) = 0; ///< place in the work that nobody has taken
    std::vector<AudioTable::Analysed>
        results_ QDX_GUARDED_BY(lock_); ///< read, not yet in the table
    std::size_t stored_ QDX_GUARDED_BY(lock_) = 0;
    bool hasUnsettled_ QDX_GUARDED_BY(lock_) = false;
    std::chrono::steady_clock::time_point storeAt_ QDX_GUARDED_BY(lock_);
    bool cancelled_ QDX_GUARDED_BY(lock_) = false;
};

} // namespace quarrydex
