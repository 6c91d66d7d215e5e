/// The store's private part and the functions that its sources share. Included by store/*.cpp only.
///
/// Locks: `append` may be held while `rootsLock` is taken, or a lock of the store's owner.
/// `rootsLock` and `queueLock` are leaves.
#pragma once

#include "QuarrydexCore/base/FaultGuard.h"
#include "QuarrydexCore/base/Mapping.h"
#include "QuarrydexCore/base/Mutex.h"
#include "QuarrydexCore/platform/DirReader.h"
#include "QuarrydexCore/store/fidx.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quarrydex {

/// ASCII alone.
constexpr char fidx_lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
}

/// Slots of the extension hash table, a power of two.
inline constexpr std::size_t fidx_ext_hash_slots = 131'072;

/// Bits that a folder hands down to everything in it.
inline constexpr std::uint8_t fidx_inherited_mask = 0x0A;

/// One folder waiting to be read.
struct fidx_job {
    std::string path;
    EntryId folder{};
    std::uint8_t inherited{}; ///< flags that its children take over
    bool followLink{};        ///< a root may be a link to a folder
};

struct fidx_priv {
    fidx_priv(std::uint32_t entriesLimit, std::uint64_t nameBytesLimit)
        : maxEntries(entriesLimit), maxNameBytes(nameBytesLimit), extHash(fidx_ext_hash_slots) {
        roots.reserve(4);
    }

    const std::uint32_t maxEntries;
    const std::uint64_t maxNameBytes;
    std::array<Mapping, 10> columns;  ///< owns what the pointers of fidx show
    std::array<FaultGuard, 9> guards; ///< of the parts of the columns that are mapped from a file

    Mutex append;
    std::uint32_t entries QDX_GUARDED_BY(append) = 0;          ///< in use
    std::uint64_t nameBytes QDX_GUARDED_BY(append) = 0;        ///< heap bytes in use
    std::vector<std::uint16_t> extHash QDX_GUARDED_BY(append); ///< extension ids; 0 = empty slot
    std::uint32_t extsEntered QDX_GUARDED_BY(append) = 1;      ///< ids below it are in extHash
    std::atomic<bool> overflowed = false;
    std::atomic<bool> scansAreStopped = false;

    Mutex rootsLock; ///< readers ask for the roots while a save holds `append`
    std::vector<EntryId> roots QDX_GUARDED_BY(rootsLock);

    // Settings, not changed during a scan.
    std::vector<std::string> excludes;
    std::vector<std::string> includeExts;
    std::uint64_t scanDevice = 0; ///< of the tree being scanned; 0 before the first scan

    Mutex queueLock;
    CondVar queueChanged; ///< a job was pushed for a waiting worker, or all jobs are finished
    std::vector<fidx_job> jobs QDX_GUARDED_BY(queueLock); ///< taken last in, first out
    std::size_t unfinished QDX_GUARDED_BY(queueLock) = 0; ///< jobs pushed and not yet finished
    std::size_t waiting QDX_GUARDED_BY(queueLock) = 0;    ///< workers waiting for a job
};

/// Adds the whole batch below `parent` and publishes it. Its names stand in record order without
/// gaps. Returns the id of its first record, or noParent when the store is full.
EntryId fidx_commit(fidx* store, EntryId parent, const fidx_listing& batch);

/// Id of the folded name's extension, a new one when it has not been seen; 0 = none.
std::uint16_t fidx_ext_id(fidx* store, fidx_priv& priv, std::string_view folded)
    QDX_REQUIRES(priv.append);

/// Fills the folded heap from the name heap and sets 0x20 where a name holds a byte ≥ 0x80.
void fidx_fold_listing(fidx_listing& listing);

/// Reads one folder into a batch by the rules of recording. `raw` is a buffer to reuse. Returns 0
/// or an errno, counted in `stats`; what was read before a failure stays in `out`.
int fidx_read_dir(
    const fidx* store, const fidx_job& job, DirListing& raw, fidx_listing& out, fidx_stats& stats);

/// The path rule for files of the program's own (see fidx_snapshot.h).
[[nodiscard]] bool fidx_may_write(std::string_view path);

/// True for names of system clutter.
[[nodiscard]] bool fidx_is_junk(std::string_view name, bool isFolder);

} // namespace quarrydex
