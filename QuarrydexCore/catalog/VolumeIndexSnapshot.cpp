#include "QuarrydexCore/base/Fd.h"
#include "QuarrydexCore/catalog/CacheFile.h"
#include "QuarrydexCore/catalog/LoadedCatalog.h"
#include "QuarrydexCore/catalog/OrderCheck.h"
#include "QuarrydexCore/catalog/VolumeIndex.h"
#include "QuarrydexCore/store/fidx_snapshot.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <limits>

#include <fcntl.h>

namespace quarrydex {

namespace {

using Orders = std::array<std::optional<PermEntry>, sortKeyCount>;

static_assert(sortKeyCount == fidx_order_slots);

// --- The information record ---------------------------------------------------------------------

/// As much as fits, and a NUL. The field is zeroed already.
template <std::size_t n> void put(char (&field)[n], const std::string& text) {
    std::memcpy(field, text.data(), std::min(text.size(), n - 1));
}

fidx_info recordOf(const SnapshotInfo& info) {
    fidx_info record{};
    put(record.uuid, info.uuid);
    put(record.fseUUID, info.fseUUID);
    put(record.root, info.root);
    record.eventID = info.eventID;
    record.savedAt = static_cast<std::uint64_t>(std::max<std::int64_t>(info.savedAt, 0));
    record.exclHash = info.exclHash;
    return record;
}

SnapshotInfo infoOf(const fidx_info& record) {
    constexpr std::uint64_t latest = std::numeric_limits<std::int64_t>::max();
    return {.uuid = record.uuid,
            .fseUUID = record.fseUUID,
            .root = record.root,
            .eventID = record.eventID,
            .savedAt = static_cast<std::int64_t>(std::min(record.savedAt, latest)),
            .exclHash = record.exclHash,
            .deleted = record.deleted,
            .storeID = record.storeID};
}

// --- Orders -------------------------------------------------------------------------------------

/// Views of the orders, which must outlive them. An order's slot is its key's number.
fidx_saved_orders savedOrders(const Orders& orders) {
    fidx_saved_orders saved{};
    for (std::size_t i = 0; i < orders.size(); ++i) {
        if (!orders[i])
            continue;
        saved[i].ids = orders[i]->perm.ids().data();
        saved[i].count = static_cast<std::uint32_t>(orders[i]->perm.count());
        saved[i].key = static_cast<std::uint32_t>(i);
        if (orders[i]->moved == nullptr)
            continue;
        saved[i].moved = orders[i]->moved->data();
        saved[i].movedWords = static_cast<std::uint32_t>(orders[i]->moved->size());
    }
    return saved;
}

/// How many entries an order of so many rows covers: the roots among them take no row. Nothing
/// when there are not so many. A root right behind the last row's entry counts as covered.
std::optional<std::uint32_t>
coversOf(std::uint32_t rows, std::span<const EntryId> roots, std::uint32_t count) {
    std::uint64_t covers = rows;
    for (EntryId root : roots)
        covers += root <= covers ? 1 : 0;
    return covers <= count ? std::optional(static_cast<std::uint32_t>(covers)) : std::nullopt;
}

/// The bits of covered entries; words that are missing are zero.
BitWords
readMoved(const std::string& path, std::uint64_t offset, std::size_t words, std::uint32_t covers) {
    const std::size_t bytes = words * sizeof(std::uint64_t);
    const void* mapped = fidx_map_ro(path.c_str(), offset, bytes);
    if (mapped == nullptr)
        return {};
    BitWords moved(bitWords(covers));
    const auto* from = static_cast<const std::uint64_t*>(mapped);
    std::copy_n(from, std::min(words, moved.size()), moved.begin());
    fidx_unmap(mapped, bytes);
    moved[covers / 64] &= (std::uint64_t{1} << (covers % 64)) - 1;
    return moved;
}

} // namespace

// --- Saving -------------------------------------------------------------------------------------

void VolumeIndex::save(const std::string& path, const SnapshotInfo& info) {
    const MutexLock onlySave(saveLock_);
    // Kept open to the end: giving the old file's blocks back takes as long as writing some of
    // them, and would happen when the last of its mappings is replaced, while changes wait.
    const Fd old(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    fidx_info record = recordOf(info);
    record.storeID = storeID_;
    std::int64_t mutations = 0;
    Orders orders;
    int result = fidx_ok;
    int error = 0;
    {
        // Whatever changes the catalogue holds the latter, and so changes it before all of the
        // following or after. Half a round of a refresh would be a catalogue that is never mended:
        // a deleted folder whose content is not, or a new one, with its time, whose content lacks.
        const MutexLock betweenRounds(roundLock_);
        const fidx_edit held(base_);
        const std::uint32_t count = this->count();
        {
            const MutexLock lock(lock_);
            mutations = mutations_;
            record.deleted = static_cast<std::uint64_t>(deletedCount_);
            for (SortKey key : allSortKeys)
                orders[indexOf(key)] = orders_.usable(key, count, KeptOrders::Trust::any);
        }
        errno = 0;
        result = isDamaged() ? fidx_error
                             : fidx_save(held, path.c_str(), &record, count, savedOrders(orders));
        error = result == fidx_ok ? 0 : errno;
    }
    if (result == fidx_refused)
        throw IndexError::refusedPath(path);
    if (error == EFAULT) // what a reader would have got SIGBUS for
        isUnreadable_.store(true, std::memory_order_relaxed);
    if (result != fidx_ok)
        throw IndexError::cannotSave(path, error);
    moveOrders(path, record, orders);
    const MutexLock lock(lock_);
    savedMutations_ = mutations;
}

/// Orders that are mapped from the file before the new one go over to that: else its blocks on the
/// disk would stay taken.
void VolumeIndex::moveOrders(const std::string& path,
                             const fidx_info& info,
                             std::span<const std::optional<PermEntry>> orders) {
    for (SortKey key : allSortKeys) {
        const std::optional<PermEntry>& order = orders[indexOf(key)];
        if (!order || !order->perm.isMapped())
            continue;
        auto perm = Perm::map(path, info.orderOffset[indexOf(key)], order->perm.count());
        const MutexLock lock(lock_);
        if (perm)
            orders_.replacePerm(key, order->perm, std::move(*perm));
    }
}

// --- Loading ------------------------------------------------------------------------------------

std::optional<LoadedCatalog> VolumeIndex::load(const std::string& path,
                                               std::vector<std::string> excludes,
                                               std::uint32_t maxEntries,
                                               std::uint64_t maxNameBytes) {
    fidx_info record;
    fidx* store = fidx_load(path.c_str(), maxEntries, maxNameBytes, &record);
    if (store == nullptr)
        return std::nullopt;
    std::unique_ptr<VolumeIndex> index(new VolumeIndex(store, record.storeID, std::move(excludes)));
    {
        const MutexLock lock(index->lock_);
        index->deletedCount_ =
            static_cast<std::int64_t>(std::min<std::uint64_t>(record.deleted, index->count()));
    }
    index->mapOrders(path, record);
    return LoadedCatalog{std::move(index), infoOf(record)};
}

void VolumeIndex::mapOrders(const std::string& path, const fidx_info& info) {
    const std::vector<EntryId> rootIds = roots();
    for (std::size_t slot = 0; slot < fidx_order_slots; ++slot) {
        const std::uint32_t rows = info.orderCount[slot];
        const auto covers = coversOf(rows, rootIds, count());
        if (rows == 0 || info.orderKey[slot] >= sortKeyCount || !covers)
            continue;
        auto perm = Perm::map(path, info.orderOffset[slot], rows);
        if (!perm)
            continue;
        PermEntry entry;
        entry.covers = *covers;
        entry.perm = std::move(*perm);
        entry.isVerified = false;
        BitWords moved = readMoved(path, info.movedOffset[slot], info.movedWords[slot], *covers);
        const MutexLock lock(lock_);
        orders_.adopt(static_cast<SortKey>(info.orderKey[slot]), std::move(entry),
                      std::move(moved));
    }
}

std::optional<SnapshotHeader> VolumeIndex::peek(const std::string& path) {
    fidx_info record;
    SnapshotHeader header;
    if (!fidx_peek(path.c_str(), &record, &header.count))
        return std::nullopt;
    header.info = infoOf(record);
    return header;
}

// --- Checking -----------------------------------------------------------------------------------

bool VolumeIndex::isDamaged() const {
    if (fidx_damaged(base_) || isUnreadable_.load(std::memory_order_relaxed))
        return true;
    const MutexLock lock(lock_);
    return orders_.isDamaged();
}

bool VolumeIndex::validateEntries() const {
    const auto counted = [&] {
        const MutexLock lock(lock_);
        return deletedCount_;
    };
    const std::uint32_t n = count();
    const std::int64_t atLeast = counted();
    std::int64_t deleted = 0;
    for (EntryId id = 0; id < n; ++id)
        deleted += (flags(id) & EntryFlags::deleted) != 0 ? 1 : 0;
    // Deletions while they were counted may have been seen or not; others beyond n may count too.
    const bool agrees = n != count() || (atLeast <= deleted && deleted <= counted());
    return agrees && fidx_validate(base_);
}

bool VolumeIndex::validateOrders() const {
    for (SortKey key : allSortKeys)
        if (checkOrder(key) == Check::broken)
            return false;
    return !isDamaged();
}

VolumeIndex::Check VolumeIndex::checkOrder(SortKey key) const {
    constexpr int attempts = 3; // values may change meanwhile
    for (int attempt = 0; attempt < attempts; ++attempt) {
        std::optional<PermEntry> loaded;
        {
            const MutexLock lock(lock_);
            loaded = orders_.beginCheck(key);
        }
        if (!loaded)
            return Check::none;
        const std::optional<PermEntry> checked = checkedOrder(*base_, key, *loaded);
        {
            // Held so that no value has been written that is not yet marked as moved.
            const fidx_edit quiet(base_);
            const MutexLock lock(lock_);
            if (!orders_.endCheck(key, checked ? &*checked : nullptr))
                continue;
            if (!checked) {
                orders_.drop(key, loaded->perm);
                return Check::broken;
            }
        }
        if (key == SortKey::name)
            addRanks(checked->perm, checked->covers);
        return Check::sound;
    }
    return Check::none;
}

// --- Audio, forgetting --------------------------------------------------------------------------

std::string VolumeIndex::audioPath(const std::string& snapshotPath) {
    const std::string_view path = snapshotPath;
    const std::size_t kept = path.ends_with(".idx") ? path.size() - 4 : path.size();
    return std::string(path.substr(0, kept)) + ".aud";
}

bool VolumeIndex::saveAudio(const std::string& snapshotPath) {
    const std::int64_t version = audioVersion(); // rows that come now may be saved or not
    if (!CacheFile{audio_->serialize(storeID_)}.writeCache(audioPath(snapshotPath)))
        return false;
    savedAudioVersion_ = version;
    return true;
}

bool VolumeIndex::loadAudio(const std::string& snapshotPath) {
    const auto file = CacheFile::read(audioPath(snapshotPath));
    // The audio table of a later moment than the snapshot may know entries that this one never had.
    auto table = file ? AudioTable::deserialize(file->bytes, storeID_, count()) : nullptr;
    if (table == nullptr)
        return false;
    audio_ = std::move(table);
    savedAudioVersion_ = audioVersion();
    return true;
}

bool VolumeIndex::forgetCatalog(const std::string& snapshotPath) {
    const bool isGone = fidx_remove_cache(snapshotPath.c_str()) == fidx_ok;
    fidx_remove_cache(audioPath(snapshotPath).c_str());
    return isGone;
}

} // namespace quarrydex
