/// A store's files: the snapshot that is mapped back at the next start, and the writers for the
/// program's other files. docs/formats/idx.md has the bytes.
///
/// Every write replaces the old file as a whole or leaves it alone (base/AtomicFile.h). Files of
/// the program's own are written and removed only by the path rule: 5 … 1,015 bytes, ending in
/// ".idx", ".ord" or ".aud", in a folder that exists and does not lie in or below "/Volumes".
///
/// Threads: any. A save holds the store's append mutex to its end; readers are not blocked.
/// Errors: as fidx.h; a file that is not a whole snapshot counts as absent.
#pragma once

#include "QuarrydexCore/store/fidx.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace quarrydex {

inline constexpr std::size_t fidx_order_slots = 5;

/// What a snapshot says about itself, byte for byte as in the file. Texts are cut to fit and always
/// end in a NUL.
struct fidx_info {
    char uuid[48];    ///< the volume's identity
    char fseUUID[48]; ///< the identity of its change history
    char root[1024];
    std::uint64_t eventID;  ///< the catalogue is current up to this change event
    std::uint64_t savedAt;  ///< seconds since 1970-01-01 UTC
    std::uint64_t exclHash; ///< of the configuration that decides what is recorded
    std::uint64_t deleted;  ///< entries marked deleted
    std::uint64_t storeID;
    // Of saved order 0 … 4, each 0 where the slot is empty; filled in by saving and by loading.
    std::uint32_t orderCount[fidx_order_slots]; ///< ids
    std::uint32_t orderKey[fidx_order_slots];
    std::uint32_t movedWords[fidx_order_slots]; ///< 64-bit words of its bitset of moved entries
    std::uint32_t zero;
    std::uint64_t orderOffset[fidx_order_slots]; ///< in the file
    std::uint64_t movedOffset[fidx_order_slots];
};

static_assert(sizeof(fidx_info) == 1304);

/// One sort order to be saved; count 0 = an empty slot.
struct fidx_saved_order {
    const EntryId* ids = nullptr;
    std::uint32_t count = 0;
    std::uint32_t key = 0;
    const std::uint64_t* moved = nullptr; ///< bit id: its value changed since the order was built
    std::uint32_t movedWords = 0;
};

using fidx_saved_orders = std::array<fidx_saved_order, fidx_order_slots>;

// --- Snapshots ----------------------------------------------------------------------------------

/// Writes the store and maps what was written in place of its columns, which from then on weigh
/// nothing that the system could not drop. `info` gets the orders' fields.
/// Returns -1 on a system error, or when the store is damaged; -2 when its count is not `expected`;
/// -3 for a refused path. Nothing is written then.
[[nodiscard]] int fidx_save(fidx* store,
                            const char* path,
                            fidx_info* info,
                            std::uint32_t expected,
                            const fidx_saved_orders& orders);

/// The same for a caller who holds the store already, to gather what belongs into the file.
[[nodiscard]] int fidx_save(const fidx_edit& held,
                            const char* path,
                            fidx_info* info,
                            std::uint32_t expected,
                            const fidx_saved_orders& orders);

/// Maps a snapshot as a new store, or returns null. Reads its header, the flags column and the
/// extensions; everything else comes from the disk when it is touched, unchecked.
[[nodiscard]] fidx*
fidx_load(const char* path, std::uint32_t maxEntries, std::uint64_t maxNameBytes, fidx_info* info);

/// Reads the header alone; false for a file that fidx_load would not look at.
[[nodiscard]] bool fidx_peek(const char* path, fidx_info* info, std::uint32_t* count);

/// Whether the columns agree with each other: parents before their children and missing for roots
/// alone, names one after the other and ended by a NUL in both heaps, extensions known. Reads all
/// of them: for the background. Does not look at what is appended meanwhile.
[[nodiscard]] bool fidx_validate(const fidx* store);

/// True once a part of the columns was lost because their file was cut or its disk failed; that
/// part reads as zeros.
[[nodiscard]] bool fidx_damaged(const fidx* store);

// --- Other files --------------------------------------------------------------------------------

/// Removes a ".idx" or ".aud" file. Returns -1 when that fails, -3 for a refused path.
int fidx_remove_cache(const char* path);

/// Writes a whole file of the program's own. Returns 0, -1, -3.
[[nodiscard]] int fidx_write_file(const char* path, const void* bytes, std::size_t length);

/// Writes a whole file that the user asked for, readable by others: 6 … 1,015 bytes of path ending
/// in ".csv", ".tsv", ".m3u" or ".m3u8" in any case, not below "/Volumes". Returns 0, -1, -3.
[[nodiscard]] int fidx_export_file(const char* path, const void* bytes, std::size_t length);

/// Maps a part of a file read-only and private; null for a length of 0 or on failure. The offset is
/// a multiple of 16 KiB and the length is rounded up to one.
[[nodiscard]] const void* fidx_map_ro(const char* path, std::uint64_t offset, std::size_t length);
void fidx_unmap(const void* address, std::size_t length);

} // namespace quarrydex
