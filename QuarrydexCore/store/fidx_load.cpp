#include "QuarrydexCore/base/Bits.h"
#include "QuarrydexCore/base/EntryFlags.h"
#include "QuarrydexCore/base/Fd.h"
#include "QuarrydexCore/base/ParallelFor.h"
#include "QuarrydexCore/store/fidx_format.h"
#include "QuarrydexCore/store/fidx_priv.h"

#include <algorithm>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>

namespace quarrydex {

namespace {

// --- What a file must be ------------------------------------------------------------------------

struct OpenSnapshot {
    Fd file;
    fidx_header header;
};

bool liesInside(const fidx_section& section, std::uint64_t fileSize) {
    const auto length = fidx_aligned(section.length);
    const auto end = length ? checkedAdd(section.offset, *length) : std::nullopt;
    return section.offset % fidx_section_align == 0 && end && *end <= fileSize;
}

/// Columns exactly as long as the counts ask for; orders no longer than the catalogue.
bool lengthsFit(const fidx_header& header) {
    const auto columns = fidx_column_lengths(header.count, header.extCount, header.nameBytes);
    for (std::size_t i = 0; i < columns.size(); ++i)
        if (header.sections[i].length != columns[i])
            return false;
    for (std::size_t i = 0; i < fidx_order_slots; ++i) {
        const std::uint64_t order = header.sections[fidx_section_orders + i].length;
        const std::uint64_t moved = header.sections[fidx_section_moved + i].length;
        if (order % 4 != 0 || order / 4 > header.count || moved % 8 != 0 ||
            moved / 8 > bitWords(header.count))
            return false;
    }
    return true;
}

bool isSnapshot(const fidx_header& header, std::uint64_t fileSize) {
    return header.magic == fidx_magic && header.endMark == fidx_end_mark &&
           header.version == fidx_format_version && header.headerSize == sizeof header &&
           header.fileSize == fileSize && header.extCount >= 1 && header.extCount <= fidx_max_ext &&
           std::ranges::all_of(
               header.sections,
               [&](const auto& section) { return liesInside(section, fileSize); }) &&
           lengthsFit(header);
}

/// The orders as the section table has them; texts that end.
void completeInfo(fidx_header& header) {
    fidx_info& info = header.info;
    for (std::size_t i = 0; i < fidx_order_slots; ++i) {
        const fidx_section& order = header.sections[fidx_section_orders + i];
        const fidx_section& moved = header.sections[fidx_section_moved + i];
        info.orderCount[i] = static_cast<std::uint32_t>(order.length / 4);
        info.movedWords[i] = static_cast<std::uint32_t>(moved.length / 8);
        info.orderOffset[i] = order.offset;
        info.movedOffset[i] = moved.offset;
    }
    info.uuid[sizeof info.uuid - 1] = 0;
    info.fseUUID[sizeof info.fseUUID - 1] = 0;
    info.root[sizeof info.root - 1] = 0;
}

std::optional<OpenSnapshot> openSnapshot(const char* path) {
    // Without waiting for a writer, should it be a pipe.
    OpenSnapshot out{Fd(::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK)), {}};

    struct stat status {};

    if (!out.file || ::fstat(out.file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    const auto size = static_cast<std::uint64_t>(status.st_size);
    if (size < fidx_section_align || !readAt(out.file.get(), &out.header, sizeof out.header, 0) ||
        !isSnapshot(out.header, size))
        return std::nullopt;
    completeInfo(out.header);
    return out;
}

// --- Filling a store ----------------------------------------------------------------------------

/// Reads the extension texts; the first append enters them into the hash table. False when one does
/// not end.
bool readExtensions(fidx* store, const fidx_header& header, int fd) {
    const auto [offset, length] = header.sections[fidx_section_ext_names];
    if (!readAt(fd, store->ext_names, length, offset))
        return false;
    for (std::uint32_t id = 0; id < header.extCount; ++id)
        if (store->ext_names[id][fidx_ext_slot - 1] != 0)
            return false;
    store->ext_count.store(header.extCount, std::memory_order_relaxed);
    return true;
}

/// Those of ids first … last − 1 that have the root flag. Many flags at a time, since they are
/// looked at for all entries.
std::vector<EntryId> rootsAmong(const std::uint8_t* flags, EntryId first, EntryId last) {
    constexpr std::uint64_t rootOfEight = 0x0101010101010101 * EntryFlags::root;
    constexpr std::uint32_t step = 64;
    std::vector<EntryId> roots;
    for (EntryId id = first; id < last;) {
        const EntryId end = std::min(last, id + step);
        std::uint64_t any = rootOfEight; // a rest that is shorter is looked at one by one
        if (end - id == step) {
            any = 0;
            for (std::uint32_t i = 0; i < step; i += 8)
                any |= loadLE<std::uint64_t>(flags + id + i);
        }
        if ((any & rootOfEight) == 0) {
            id = end;
            continue;
        }
        for (; id < end; ++id)
            if ((flags[id] & EntryFlags::root) != 0)
                roots.push_back(id);
    }
    return roots;
}

/// Ids with the root flag, ascending: most of the work of loading.
std::vector<EntryId> findRoots(const std::uint8_t* flags, std::uint32_t count) {
    constexpr std::uint32_t perTask = 1 << 20;
    std::vector<std::vector<EntryId>> found(count / perTask + 1);
    parallelFor(found.size(), processorCount(), [&](std::size_t task) {
        const auto first = static_cast<EntryId>(task * perTask);
        found[task] = rootsAmong(flags, first, std::min(count, first + perTask));
    });
    std::vector<EntryId> roots;
    for (const std::vector<EntryId>& part : found)
        roots.insert(roots.end(), part.begin(), part.end());
    return roots;
}

void publish(fidx* store, const fidx_header& header) {
    fidx_priv& priv = *store->priv;
    {
        const MutexLock hold(priv.rootsLock);
        priv.roots = findRoots(store->flags, header.count);
    }
    const MutexLock hold(priv.append);
    priv.entries = header.count;
    priv.nameBytes = header.nameBytes;
    store->count.store(header.count, std::memory_order_release);
}

// --- Validation ---------------------------------------------------------------------------------

/// Whether the names of ids first … last − 1 follow each other, each with its NULs. `store` may be
/// appended to meanwhile, beyond them.
bool namesAreSound(const fidx& store, EntryId first, EntryId last, std::uint32_t heapEnd) {
    for (EntryId id = first; id < last; ++id) {
        const std::uint32_t begin = store.name_off[id];
        const std::uint32_t end = store.name_off[id + 1];
        if (end <= begin || end > heapEnd || end - begin - 1 > fidx_max_name ||
            store.names[end - 1] != 0 || store.folded[end - 1] != 0 ||
            std::memchr(store.names + begin, 0, end - begin - 1) != nullptr ||
            std::memchr(store.folded + begin, 0, end - begin - 1) != nullptr)
            return false;
    }
    return true;
}

bool linksAreSound(const fidx& store, EntryId first, EntryId last, std::uint32_t extCount) {
    for (EntryId id = first; id < last; ++id) {
        const EntryId parent = store.parent[id];
        const auto flags = std::atomic_ref(store.flags[id]).load(std::memory_order_relaxed);
        const bool isRoot = (flags & EntryFlags::root) != 0;
        if (isRoot ? parent != noParent : parent >= id)
            return false;
        if (store.ext[id] >= extCount)
            return false;
    }
    return true;
}

} // namespace

fidx* fidx_load(const char* path,
                std::uint32_t maxEntries,
                std::uint64_t maxNameBytes,
                fidx_info* info) {
    const std::optional<OpenSnapshot> snapshot = openSnapshot(path);
    if (!snapshot)
        return nullptr;
    const fidx_header& header = snapshot->header;
    if (header.count > maxEntries || header.nameBytes > maxNameBytes)
        return nullptr;
    fidx* store = fidx_new(maxEntries, maxNameBytes);
    const int fd = snapshot->file.get();
    // Both ends of the offsets are looked at: they bound what a search reads.
    if (!fidx_map_columns(store, header, fd) || !readExtensions(store, header, fd) ||
        store->name_off[0] != 0 || store->name_off[header.count] != header.nameBytes) {
        fidx_free(store);
        return nullptr;
    }
    publish(store, header);
    *info = header.info;
    return store;
}

bool fidx_peek(const char* path, fidx_info* info, std::uint32_t* count) {
    const std::optional<OpenSnapshot> snapshot = openSnapshot(path);
    if (!snapshot)
        return false;
    *info = snapshot->header.info;
    *count = snapshot->header.count;
    return true;
}

bool fidx_validate(const fidx* store) {
    constexpr std::uint32_t perTask = 1 << 16;
    const std::uint32_t count = fidx_count(store);
    const std::uint32_t heapEnd = store->name_off[count];
    const std::uint32_t extCount = store->ext_count.load(std::memory_order_acquire);
    std::atomic<bool> isSound = store->name_off[0] == 0;
    parallelFor(count / perTask + 1, processorCount(), [&](std::size_t task) {
        const auto first = static_cast<EntryId>(task * perTask);
        const EntryId last = std::min(count, first + perTask);
        if (isSound.load(std::memory_order_relaxed) &&
            !(linksAreSound(*store, first, last, extCount) &&
              namesAreSound(*store, first, last, heapEnd)))
            isSound.store(false, std::memory_order_relaxed);
    });
    return isSound.load() && !fidx_damaged(store);
}

bool fidx_damaged(const fidx* store) {
    return std::ranges::any_of(store->priv->guards,
                               [](const FaultGuard& guard) { return guard.wasHit(); });
}

} // namespace quarrydex
