#include "QuarrydexCore/catalog/VolumeIndex.h"

#include "QuarrydexCore/text/Fold.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <mutex>
#include <random>
#include <utility>

namespace quarrydex {

namespace {

void installFold() {
    static std::once_flag installed;
    std::call_once(installed, [] { fidx_set_fold(foldName); });
}

std::uint64_t randomStoreID() {
    std::random_device device;
    std::uint64_t id = 0;
    while (id == 0)
        id = (std::uint64_t{device()} << 32) | device();
    return id;
}

/// Each path of two bytes or more loses one final "/".
std::vector<std::string> cleaned(std::vector<std::string> excludes) {
    for (std::string& path : excludes)
        if (path.size() >= 2 && path.back() == '/')
            path.pop_back();
    return excludes;
}

} // namespace

// --- Life ---------------------------------------------------------------------------------------

VolumeIndex::VolumeIndex(fidx* base, std::uint64_t storeID, std::vector<std::string> excludes)
    : Entries(base), excludes_(cleaned(std::move(excludes))), storeID_(storeID),
      audio_(std::make_unique<AudioTable>()) {
    installFold();
    fidx_set_excludes(base_, excludes_);
}

VolumeIndex::VolumeIndex(std::uint32_t maxEntries,
                         std::uint64_t maxNameBytes,
                         std::vector<std::string> excludes)
    : VolumeIndex(fidx_new(maxEntries, maxNameBytes), randomStoreID(), std::move(excludes)) {}

std::unique_ptr<VolumeIndex>
VolumeIndex::adopting(fidx* base, std::uint64_t storeID, std::vector<std::string> excludes) {
    std::unique_ptr<VolumeIndex> index(new VolumeIndex(base, storeID, std::move(excludes)));
    const auto isDeleted = [](std::uint8_t flags) { return (flags & EntryFlags::deleted) != 0; };
    MutexLock held(index->lock_);
    index->deletedCount_ = std::count_if(base->flags, base->flags + fidx_count(base), isDeleted);
    return index;
}

VolumeIndex::~VolumeIndex() {
    fidx_free(base_);
}

void VolumeIndex::setIncludeExts(std::vector<std::string> exts) {
    includeExts_ = std::move(exts);
    fidx_set_include_exts(base_, includeExts_);
}

// --- Filling ------------------------------------------------------------------------------------

void VolumeIndex::scan(std::span<const std::string> roots, int threads) {
    const auto start = std::chrono::steady_clock::now();
    const auto finish = [&] {
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
        {
            MutexLock held(lock_);
            scanSeconds_ += elapsed.count();
        }
        isScanning_.store(false, std::memory_order_release);
        noteChange();
    };

    isScanning_.store(true, std::memory_order_release);
    for (const std::string& root : roots) {
        fidx_stats found{};
        errno = 0;
        const int result = fidx_scan(base_, root.c_str(), threads, &found);
        const int error = errno;
        {
            MutexLock held(lock_);
            stats_ += found;
        }
        if (result != fidx_ok) {
            finish();
            throw IndexError::cannotOpen(root, error);
        }
    }
    finish();
}

fidx_stats VolumeIndex::stats() const {
    MutexLock held(lock_);
    return stats_;
}

double VolumeIndex::scanSeconds() const {
    MutexLock held(lock_);
    return scanSeconds_;
}

// --- Entries ------------------------------------------------------------------------------------

std::uint32_t VolumeIndex::liveCount() const {
    MutexLock held(lock_);
    return static_cast<std::uint32_t>(count() - deletedCount_);
}

FolderIds VolumeIndex::folderIds(std::uint32_t upTo) const {
    MutexLock held(lock_);
    return dirCache_.upTo(upTo, *this);
}

std::vector<EntryId> VolumeIndex::directories(std::uint32_t upTo) const {
    const FolderIds view = folderIds(upTo);
    return {view.ids.begin(), view.ids.end()};
}

// --- Changing -----------------------------------------------------------------------------------

// A change is one critical section with what is noted of it: a save sees all of it or nothing, and
// counts as saved what it has seen.

void VolumeIndex::markDeleted(std::span<const EntryId> ids) {
    if (ids.empty())
        return;
    const fidx_edit edit(base_);
    MutexLock held(lock_);
    for (EntryId id : ids) {
        if ((flags(id) & EntryFlags::deleted) != 0)
            continue;
        edit.set_deleted(id);
        ++deletedCount_;
        ++mutations_;
    }
}

void VolumeIndex::change(std::span<const EntryChange> changes) {
    if (changes.empty())
        return;
    std::vector<EntryId> sizes;
    std::vector<EntryId> dates;
    std::vector<EntryId> created;
    const fidx_edit edit(base_);
    for (const EntryChange& now : changes) {
        if (size(now.id) != now.size)
            sizes.push_back(now.id);
        if (mtime(now.id) != now.mtime)
            dates.push_back(now.id);
        if (ctime(now.id) != now.ctime)
            created.push_back(now.id);
        edit.set_meta(now.id, now.size, now.mtime, now.ctime);
    }
    // Values first, then the orders: an order that is being rebuilt meanwhile learns of the ids
    // late rather than never. Many ids in one call, since a call may copy a bitset.
    MutexLock held(lock_);
    orders_.markMoved(SortKey::size, sizes);
    orders_.markMoved(SortKey::date, dates);
    orders_.markMoved(SortKey::created, created);
    if (!sizes.empty() || !dates.empty() || !created.empty())
        ++mutations_;
}

void VolumeIndex::noteChange() {
    MutexLock held(lock_);
    ++mutations_;
}

std::int64_t VolumeIndex::mutations() const {
    MutexLock held(lock_);
    return mutations_;
}

bool VolumeIndex::hasUnsavedChanges() const {
    MutexLock held(lock_);
    return mutations_ != savedMutations_;
}

bool VolumeIndex::hasUnsavedAudio() const {
    return audioVersion() != savedAudioVersion_;
}

std::string VolumeIndex::fold(std::string_view text) {
    return quarrydex::fold(text);
}

} // namespace quarrydex
