/// The audio metadata of one catalogue: a column store with one row for every analysed file.
///
///   entry    [   7 |  12 |  13 | … ]   ascending entry ids
///   mtime    [     |     |     | … ]   one element a row in every column
///   artist   [   1 |   1 |  64 | … ]   texts are offsets in the pool
///   pool     [ \0 | Sigur Rós \0 sigur ros \0 | … ]
///
/// Searches read whole columns; single rows are found by binary search.
///
/// Threads: any. A reader takes the columns of one moment (snapshot) and works on them without a
/// lock, for as long as it likes; upsert builds new columns beside them and swaps them in, so no
/// reader ever waits for a merge. The pool only grows and is shared by all snapshots.
/// Locks: writeLock_ (one upsert at a time) before lock_ (the published columns; leaf, held for a
/// swap or a copy of a pointer). Both come after an audio indexer's lock.
/// Fails: reading never; a pool beyond 4 GiB ends the process, as does a failed allocation.
#pragma once

#include "QuarrydexCore/audio/AudioCond.h"
#include "QuarrydexCore/audio/AudioMeta.h"
#include "QuarrydexCore/audio/EntryWords.h"
#include "QuarrydexCore/audio/TextPool.h"
#include "QuarrydexCore/base/EntryId.h"
#include "QuarrydexCore/base/Mapping.h"
#include "QuarrydexCore/base/Mutex.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quarrydex {

class AudioTable {
  public:
    /// The whole table at one moment. Every array is as long as `entry`, but for `words`.
    struct Cols {
        std::vector<std::uint32_t> entry;   ///< entry ids, strictly increasing
        std::vector<std::uint32_t> mtime;   ///< the file's modification time when it was analysed
        std::vector<std::uint32_t> dur;     ///< milliseconds
        std::vector<std::uint32_t> rate;    ///< Hz
        std::vector<std::uint16_t> bitrate; ///< kbit/s
        std::vector<std::uint16_t> bpm;     ///< tenths of a beat per minute
        std::vector<std::uint16_t> year;
        std::vector<std::uint8_t> bits; ///< bits per sample
        std::vector<std::uint8_t> channels;
        std::vector<std::uint8_t> codec;   ///< AudioCodec; may hold foreign numbers
        std::vector<std::uint8_t> flags;   ///< bit 0: variable bit rate
        std::vector<std::uint32_t> artist; ///< pool offsets, as in the next four; within the pool
        std::vector<std::uint32_t> title;
        std::vector<std::uint32_t> album;
        std::vector<std::uint32_t> genre;
        std::vector<std::uint32_t> key;
        EntryWords words;                             ///< the same entries as bits
        std::string_view pool = TextPool::emptyBytes; ///< see TextPool.h; read it by textAt()
        std::shared_ptr<const Mapping> poolMemory;    ///< keeps `pool` alive

        [[nodiscard]] std::size_t count() const { return entry.size(); }
    };

    /// The result of analysing one file.
    struct Analysed {
        EntryId entry{};
        std::uint32_t mtime{}; ///< the file's modification time, as the entry store has it
        AudioMeta meta;
    };

    /// The row time of a file that had just changed when it was read: it may yet change within the
    /// second that its time tells, so it is to be read again.
    static constexpr std::uint32_t noTime = 0;

    /// An empty table of version 0.
    AudioTable();
    AudioTable(const AudioTable&) = delete;
    AudioTable& operator=(const AudioTable&) = delete;

    // --- Reading --------------------------------------------------------------------------------

    /// Number of rows.
    [[nodiscard]] std::size_t count() const { return snapshot()->count(); }

    /// The columns of this moment; they never change. Not null.
    [[nodiscard]] std::shared_ptr<const Cols> snapshot() const QDX_EXCLUDES(lock_);

    /// Raised by one with every change.
    [[nodiscard]] std::int64_t version() const QDX_EXCLUDES(lock_);

    /// `row(of:in:)`: the row of an entry, if it has one.
    [[nodiscard]] static std::optional<std::size_t> row(EntryId entry, const Cols& cols);

    /// `meta(entry:)`: the record of an entry, if it has a row.
    [[nodiscard]] std::optional<AudioMeta> meta(EntryId entry) const;

    /// `meta(cols, row)`: the record of a row. REQUIRES: row < cols.count().
    [[nodiscard]] static AudioMeta meta(const Cols& cols, std::size_t row);

    /// `analyzedMTime(entry:)`: the stored modification time of the entry's row.
    [[nodiscard]] std::optional<std::uint32_t> analyzedMTime(EntryId entry) const;

    /// `fill(cond, into:entries:)`: sets the bit of every entry below `entries` whose row satisfies
    /// the condition; other bits stay. bits[entries / 64 + 1], bit n is bit n mod 64 of word n
    /// / 64.
    ///
    /// A number: the value is known (not 0) and lies in lo … hi. A text: the folded text holds the
    /// folded text looked for; looking for an empty text finds the rows that have any. Rows without
    /// the text never match.
    void fill(const AudioCond& cond, std::span<std::uint64_t> bits, std::size_t entries) const;

    /// The same over columns that the caller already holds.
    static void fill(const Cols& cols,
                     const AudioCond& cond,
                     std::span<std::uint64_t> bits,
                     std::size_t entries);

    // --- Changing -------------------------------------------------------------------------------

    /// Adds or replaces rows. Of two rows for one entry the later one counts. An empty batch is no
    /// change.
    void upsert(std::span<const Analysed> rows) QDX_EXCLUDES(writeLock_, lock_);

    // --- File -----------------------------------------------------------------------------------

    /// `serialize(storeID:)`: the bytes of an ".aud" file; docs/formats/aud.md has the layout.
    [[nodiscard]] std::string serialize(std::uint64_t storeID) const;

    /// `deserialize(_:storeID:)`: the table of such bytes, or null when they are no whole table of
    /// that store. What the rows and texts hold is not checked, only made safe to read. Rows of
    /// entries from `entries` on, which the catalogue does not have, are left out.
    [[nodiscard]] static std::unique_ptr<AudioTable>
    deserialize(std::string_view bytes, std::uint64_t storeID, EntryId entries = noParent);

  private:
    static constexpr std::uint8_t vbrFlag = 0x01;

    /// Takes over columns read from a file; their pool is copied.
    explicit AudioTable(Cols loaded);

    /// Lets new rows share the texts that a loaded table came with.
    void adoptTexts(const Cols& cols) QDX_REQUIRES(writeLock_);

    /// Appends one row.
    void push(const Analysed& row, Cols& into) QDX_REQUIRES(writeLock_);

    Mutex writeLock_ QDX_ACQUIRED_BEFORE(lock_);
    TextPool pool_ QDX_GUARDED_BY(writeLock_);
    bool textsAdopted_ QDX_GUARDED_BY(writeLock_) = true;

    mutable Mutex lock_;
    std::shared_ptr<const Cols> cols_ QDX_GUARDED_BY(lock_); ///< never null
    std::int64_t version_ QDX_GUARDED_BY(lock_) = 0;
};

} // namespace quarrydex
