#include "QuarrydexCore/base/EntryFlags.h"
#include "QuarrydexCore/base/Files.h"
#include "QuarrydexCore/store/fidx_priv.h"

#include <algorithm>
#include <cstring>

namespace quarrydex {

namespace {

/// Every 32-bit offset, the longest name from there and its NUL lie inside.
constexpr std::uint64_t heapAddresses = (std::uint64_t{1} << 32) + fidx_max_name + 1;

template <typename T> T* reserve(Mapping& column, std::uint64_t elements) {
    column = Mapping::reserve(elements * sizeof(T));
    return static_cast<T*>(column.data());
}

/// Values of a published entry may be read at any moment, and a reader's block load may reach past
/// the count: every write is atomic, which costs nothing.
template <typename T> void put(T& slot, T value) {
    std::atomic_ref(slot).store(value, std::memory_order_relaxed);
}

/// Writes the columns of record i of a batch as entry `id`; `base` is where its names will stand.
void writeEntry(fidx* store,
                fidx_priv& priv,
                const fidx_listing& batch,
                std::size_t i,
                EntryId id,
                EntryId parent,
                std::uint64_t base) QDX_REQUIRES(priv.append) {
    const fidx_record& record = batch.records[i];
    const std::size_t end =
        i + 1 < batch.records.size() ? batch.records[i + 1].name : batch.folded.size();
    const auto flags = static_cast<std::uint8_t>(record.flags & ~EntryFlags::otherDevice);
    const std::string_view folded(batch.folded.data() + record.name, end - record.name - 1);
    // The offset of a batch's first entry has been there since the entry before it was published,
    // and may be being read.
    if (i != 0)
        store->name_off[id] = static_cast<std::uint32_t>(base + record.name);
    store->parent[id] = parent;
    store->ext[id] =
        (flags & EntryFlags::dir) != 0 ? std::uint16_t{0} : fidx_ext_id(store, priv, folded);
    put(store->size[id], record.size);
    put(store->mtime[id], record.mtime);
    put(store->ctime[id], record.ctime);
    put(store->flags[id], flags);
}

} // namespace

fidx* fidx_new(std::uint32_t maxEntries, std::uint64_t maxNameBytes) {
    auto* priv = new fidx_priv(maxEntries, maxNameBytes);
    auto* store = new fidx{};
    auto* column = priv->columns.data();
    const std::uint64_t slots = std::uint64_t{maxEntries} + 1;
    const std::uint64_t heap = std::max(maxNameBytes + 1, heapAddresses);
    store->names = reserve<char>(*column++, heap);
    store->folded = reserve<char>(*column++, heap);
    store->name_off = reserve<std::uint32_t>(*column++, slots);
    store->parent = reserve<std::uint32_t>(*column++, slots);
    store->size = reserve<std::uint64_t>(*column++, slots);
    store->mtime = reserve<std::uint32_t>(*column++, slots);
    store->ctime = reserve<std::uint32_t>(*column++, slots);
    store->flags = reserve<std::uint8_t>(*column++, slots);
    store->ext = reserve<std::uint16_t>(*column++, slots);
    store->ext_names = reserve<char[fidx_ext_slot]>(*column++, fidx_max_ext + 1);
    store->ext_count.store(1, std::memory_order_relaxed);
    store->priv = priv;
    return store;
}

void fidx_free(fidx* store) {
    delete store->priv;
    delete store;
}

std::uint32_t fidx_count(const fidx* store) {
    return store->count.load(std::memory_order_acquire);
}

bool fidx_overflowed(const fidx* store) {
    return store->priv->overflowed.load(std::memory_order_relaxed);
}

std::uint64_t fidx_name_bytes(const fidx* store) {
    return store->name_off[fidx_count(store)];
}

void fidx_set_excludes(fidx* store, std::span<const std::string> paths) {
    store->priv->excludes.clear();
    for (const std::string& path : paths)
        store->priv->excludes.emplace_back(withoutEndSlashes(path));
}

void fidx_set_include_exts(fidx* store, std::span<const std::string> exts) {
    store->priv->includeExts.assign(exts.begin(), exts.end());
}

EntryId fidx_commit(fidx* store, EntryId parent, const fidx_listing& batch) {
    fidx_priv& priv = *store->priv;
    const std::uint64_t n = batch.records.size();
    const std::uint64_t bytes = batch.names.size();
    const MutexLock hold(priv.append);
    if (priv.entries + n >= priv.maxEntries || priv.nameBytes + bytes + 1 > priv.maxNameBytes) {
        priv.overflowed.store(true, std::memory_order_relaxed);
        return noParent;
    }
    const EntryId first = priv.entries;
    const auto end = static_cast<EntryId>(first + n);
    for (std::size_t i = 0; i < n; ++i)
        writeEntry(store, priv, batch, i, static_cast<EntryId>(first + i), parent, priv.nameBytes);
    std::memcpy(store->names + priv.nameBytes, batch.names.data(), bytes);
    std::memcpy(store->folded + priv.nameBytes, batch.folded.data(), bytes);
    priv.entries = end;
    priv.nameBytes += bytes;
    store->name_off[end] = static_cast<std::uint32_t>(priv.nameBytes);
    store->count.store(end, std::memory_order_release);
    return first;
}

EntryId fidx_append(fidx* store,
                    EntryId parent,
                    const fidx_listing& listing,
                    const std::uint32_t* indices,
                    std::size_t n) {
    if (n == 0)
        return noParent;
    fidx_listing batch;
    batch.records.reserve(n);
    for (std::size_t i = 0; i < n; ++i) {
        fidx_record record = listing.records[indices[i]];
        const char* name = listing.names.data() + record.name;
        record.flags &= static_cast<std::uint8_t>(~(EntryFlags::nonAscii | EntryFlags::deleted));
        record.name = static_cast<std::uint32_t>(batch.names.size());
        batch.names.append(name, std::strlen(name) + 1);
        batch.records.push_back(record);
    }
    fidx_fold_listing(batch);
    return fidx_commit(store, parent, batch);
}

// The analysis cannot see that the private part's mutex is what an edit holds.
fidx_edit::fidx_edit(fidx* store) QDX_NO_THREAD_SAFETY_ANALYSIS : store_(store) {
    store_->priv->append.lock();
}

fidx_edit::~fidx_edit() QDX_NO_THREAD_SAFETY_ANALYSIS {
    store_->priv->append.unlock();
}

void fidx_edit::set_deleted(EntryId id) const {
    std::atomic_ref(store_->flags[id]).fetch_or(EntryFlags::deleted, std::memory_order_relaxed);
}

void fidx_edit::set_meta(EntryId id,
                         std::uint64_t size,
                         std::uint32_t mtime,
                         std::uint32_t ctime) const {
    put(store_->size[id], size);
    put(store_->mtime[id], mtime);
    put(store_->ctime[id], ctime);
}

void fidx_set_deleted(fidx* store, EntryId id) {
    fidx_edit(store).set_deleted(id);
}

void fidx_set_meta(
    fidx* store, EntryId id, std::uint64_t size, std::uint32_t mtime, std::uint32_t ctime) {
    fidx_edit(store).set_meta(id, size, mtime, ctime);
}

std::size_t fidx_roots(const fidx* store, EntryId* out, std::size_t max) {
    fidx_priv& priv = *store->priv;
    const MutexLock hold(priv.rootsLock);
    const std::size_t n = std::min(max, priv.roots.size());
    std::copy_n(priv.roots.begin(), n, out);
    return n;
}

} // namespace quarrydex
