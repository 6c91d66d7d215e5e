/// The entry store: one catalogue's files and folders as fixed-width columns and two name heaps.
///
///   entry id      0        1        2                    count
///   name_off   [  0   |    6   |   11   |  …        | heap bytes in use ]
///   names      [ /data\0 | Café\0… | notes.txt\0 …                     ]
///   folded     [ /data\0 | cafe\1\0 | notes.txt\0 …                    ]  same offsets
///   parent     [ none   | 0       | 0           | …                    ]
///   size mtime ctime flags ext   one element an entry
///
/// Memory: every column is reserved at its largest at creation, backed by the system when first
/// written, and never moves.
///
/// Threads: one writer at a time appends, under the store's append mutex. Readers take no lock:
/// they load `count` (acquire) and may then read every slot below it, since a slot is complete
/// before the count that covers it is published (release). Names, offsets, parents and extension
/// ids never change after that. `flags`, `size`, `mtime` and `ctime` of a published entry may: they
/// are written through std::atomic_ref (relaxed) under the append mutex too, and readers load them
/// the same way (a hot loop copies a block by relaxed 64-bit loads and works on the copy).
///
/// A store may be mapped from a file whose contents nobody has checked. Until fidx_validate says
/// otherwise any column may hold anything: walks must be bounded whatever they read. To make that
/// cheap, the heaps have addresses for every 32-bit offset and the longest name after it, those
/// beyond the bytes in use reading as zeros; so only indices need looking at, never offsets.
///
/// Errors: 0 success, -1 system error (errno kept), -2 state changed meanwhile, -3 refused path.
/// A failed allocation ends the process.
#pragma once

#include "QuarrydexCore/base/EntryId.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quarrydex {

class DirReader;

enum fidx_result : int { fidx_ok = 0, fidx_error = -1, fidx_changed = -2, fidx_refused = -3 };

struct fidx_priv;

/// Length of an extension slot: at most 15 bytes and a NUL.
inline constexpr std::size_t fidx_ext_slot = 16;
inline constexpr std::uint32_t fidx_max_ext = 65535;
/// No name is longer, bytes; no system has paths of that length.
inline constexpr std::uint32_t fidx_max_name = 65535;

struct fidx {
    char* names;             ///< [maxNameBytes + 1] raw name bytes, one NUL after each name
    char* folded;            ///< [maxNameBytes + 1] folded copy, byte for byte the same length
    std::uint32_t* name_off; ///< [maxEntries + 1] offset in both heaps; at `count`: bytes in use
    std::uint32_t* parent;   ///< [maxEntries + 1] id of the folder, noParent for a root
    std::uint64_t* size;     ///< [maxEntries + 1] bytes; 0 for anything but a regular file
    std::uint32_t* mtime;    ///< [maxEntries + 1] seconds since 1970-01-01 UTC, clamped
    std::uint32_t* ctime;    ///< [maxEntries + 1] creation time, the same unit and clamp
    std::uint8_t* flags;     ///< [maxEntries + 1] EntryFlags
    std::uint16_t* ext;      ///< [maxEntries + 1] extension id, 0 = none
    char (*ext_names)[fidx_ext_slot];     ///< [65,536] folded extension text, NUL-terminated
    std::atomic<std::uint32_t> ext_count; ///< next free extension id, 1 … 65,535
    std::atomic<std::uint32_t> count;     ///< entries whose columns are complete
    fidx_priv* priv;
};

/// One listed child, before it becomes an entry.
struct fidx_record {
    std::uint64_t size{};
    std::uint32_t name{}; ///< offset in both heaps of the listing
    std::uint32_t mtime{};
    std::uint32_t ctime{};
    std::uint8_t flags{}; ///< EntryFlags, and 0x40 for a folder on another device
};

/// One folder's recorded children with their name heaps (each name followed by a NUL).
struct fidx_listing {
    std::vector<fidx_record> records;
    std::string names;
    std::string folded;
};

/// Counters of a scan, added to by every call that takes them.
struct fidx_stats {
    std::uint64_t files{}; ///< regular files recorded
    std::uint64_t dirs{};  ///< folders recorded
    std::uint64_t other{}; ///< links and other objects recorded
    std::uint64_t
        errors{}; ///< folders not opened or read (but for ENOENT), batches refused as full
    std::uint64_t enoent{}; ///< folders that vanished before they could be read
    std::uint64_t bytes{};  ///< sum of the sizes of recorded regular files
    std::uint64_t nested{}; ///< folders not entered because their path repeats itself

    fidx_stats& operator+=(const fidx_stats& more);
};

// --- Life ---------------------------------------------------------------------------------------

[[nodiscard]] fidx* fidx_new(std::uint32_t maxEntries, std::uint64_t maxNameBytes);

/// Also stops nothing: no other thread may use the store any more.
void fidx_free(fidx* store);

/// Number of complete entries (acquire).
[[nodiscard]] std::uint32_t fidx_count(const fidx* store);

/// Length of an entry's name in bytes; in range whatever the offsets hold.
[[nodiscard]] inline std::uint32_t fidx_name_length(const fidx& store, EntryId id) {
    const std::uint32_t length = store.name_off[id + 1] - store.name_off[id] - 1;
    return length < fidx_max_name ? length : fidx_max_name;
}

/// True once an append was refused because the store is full.
[[nodiscard]] bool fidx_overflowed(const fidx* store);

/// Heap bytes in use for the first fidx_count() entries.
[[nodiscard]] std::uint64_t fidx_name_bytes(const fidx* store);

/// Folders never entered. Trailing "/" are stripped (never below one byte). Not during a scan.
void fidx_set_excludes(fidx* store, std::span<const std::string> paths);

/// When not empty, only these extensions (no dot, any case) are recorded for non-folders.
/// Not during a scan.
void fidx_set_include_exts(fidx* store, std::span<const std::string> exts);

// --- Appending and changing ----------------------------------------------------------------------

/// Appends the chosen records of a listing, in the given order, as children of `parent`; bits 0x20
/// and 0x80 of their flags are cleared and 0x20 is set again from the name. The names are folded
/// anew, so a listing made by hand needs no folded heap. All or nothing.
/// Returns the id of the first, or noParent when n is 0 or the store is full.
EntryId fidx_append(fidx* store,
                    EntryId parent,
                    const fidx_listing& listing,
                    const std::uint32_t* indices,
                    std::size_t n);

/// The right to change entries: holds the append mutex, so nothing is appended, changed or saved by
/// others while it lives. REQUIRES: the thread calls no other function that takes the mutex.
class fidx_edit {
  public:
    explicit fidx_edit(fidx* store);
    ~fidx_edit();
    fidx_edit(const fidx_edit&) = delete;
    fidx_edit& operator=(const fidx_edit&) = delete;

    /// Sets the deleted bit of an entry and nothing else (atomic OR, relaxed).
    void set_deleted(EntryId id) const;

    /// Overwrites the three values of one entry.
    void set_meta(EntryId id, std::uint64_t size, std::uint32_t mtime, std::uint32_t ctime) const;

    [[nodiscard]] fidx* store() const { return store_; }

  private:
    fidx* store_;
};

/// One change by itself; waits for a save that is under way.
void fidx_set_deleted(fidx* store, EntryId id);

void fidx_set_meta(
    fidx* store, EntryId id, std::uint64_t size, std::uint32_t mtime, std::uint32_t ctime);

/// Copies at most `max` root ids in the order in which the roots were added; returns how many.
std::size_t fidx_roots(const fidx* store, EntryId* out, std::size_t max);

/// Re-enters extension `id` into the hash table from its ext_names text.
void fidx_ext_insert(fidx* store, fidx_priv* priv, std::uint32_t id);

// --- Process-wide hooks --------------------------------------------------------------------------

/// Folds `name` (n bytes, NUL-terminated) into out[n]: exactly n bytes, filled up with 0x01.
using fidx_fold = void (*)(const char* name, std::size_t n, char* out);

/// Installs the routine that folds names with bytes ≥ 0x80. Without it only A–Z are folded.
void fidx_set_fold(fidx_fold routine);

/// Installs the folder reader that scans use; it must outlive every scan. nullptr restores the
/// system's.
void fidx_set_dir_reader(const DirReader* reader);

/// The folder reader in use.
[[nodiscard]] const DirReader& fidx_dir_reader();

// --- Scanning ------------------------------------------------------------------------------------

/// Adds `root` and everything below it, one folder's children at a time, with max(1, min(threads,
/// 256)) threads. Readers see each folder appear as a whole. Returns 0, or -1 when the root cannot
/// be opened as a folder or the store has no room for it; nothing is added then.
[[nodiscard]] int fidx_scan(fidx* store, const char* root, int threads, fidx_stats* stats);

/// Makes the scans under way, and later ones, end without reading further folders. What such a scan
/// leaves is no catalogue of its root. Any thread.
void fidx_stop_scans(fidx* store);

/// Adds everything below `path` under the existing entry `parent`; children inherit the bits
/// `inherited` & (hidden | junk). Returns 0, or -1 when the path cannot be examined.
[[nodiscard]] int fidx_scan_under(fidx* store,
                                  const char* path,
                                  EntryId parent,
                                  std::uint8_t inherited,
                                  int threads,
                                  fidx_stats* stats);

/// Lists one folder by the same rules without adding anything. A link at the end of the path is
/// followed for a root alone. Returns 0, or -1 with errno; `out` may then hold a part.
[[nodiscard]] int
fidx_list(const fidx* store, const char* path, std::uint8_t inherited, fidx_listing* out);

/// Empties the listing and gives its memory back.
void fidx_listing_free(fidx_listing* listing);

/// True for a child folder that scans do not enter because its path repeats itself: its last six
/// components are equal, or its last six pairs. Stops folder cycles and runaway nesting.
[[nodiscard]] bool fidx_path_repeats(std::string_view folder, std::string_view child);

/// A time as the columns keep it.
[[nodiscard]] constexpr std::uint32_t fidx_seconds(std::int64_t time) {
    return time < 0 ? 0 : time > 0xFFFFFFFF ? 0xFFFFFFFF : static_cast<std::uint32_t>(time);
}

} // namespace quarrydex
