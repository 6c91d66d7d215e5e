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

void add(fidx_stats& total, const fidx_stats& more) {
    total.files += more.files;
    total.dirs += more.dirs;
    total.other += more.other;
    total.errors += more.errors;
    total.enoent += more.enoent;
    total.bytes += more.bytes;
    total.nested += more.nested;
}

} // namespace

// --- Life ---------------------------------------------------------------------------------------

VolumeIndex::VolumeIndex(fidx* base, std::uint64_t storeID, std::vector<std::string> excludes)
    : base_(base), excludes_(cleaned(std::move(excludes))), storeID_(storeID),
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
            add(stats_, found);
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

std::uint64_t VolumeIndex::arrayBytes() const {
    return 2 * fidx_name_bytes(base_) + 27 * std::uint64_t{count()} + 4;
}

std::string_view VolumeIndex::foldedName(EntryId id) const {
    const std::uint32_t begin = base_->name_off[id];
    const std::string_view folded{base_->folded + begin, base_->name_off[id + 1] - begin - 1};
    // Only names beyond ASCII are filled up; in another, the byte is part of the name.
    const bool isFilled = folded.ends_with(foldFiller) && (flags(id) & EntryFlags::nonAscii) != 0;
    return isFilled ? withoutFiller(folded) : folded;
}

std::optional<std::string_view> VolumeIndex::ext(EntryId id) const {
    const std::uint16_t extension = extID(id);
    return extension == 0 ? std::nullopt : std::optional(extName(extension));
}

std::string_view VolumeIndex::extName(std::uint16_t extId) const {
    const char* slot = base_->ext_names[extId];
    return {slot, ::strnlen(slot, fidx_ext_slot)};
}

std::vector<std::uint16_t> VolumeIndex::extIDs(std::span<const std::string> exts) const {
    const std::uint32_t known = base_->ext_count.load(std::memory_order_acquire);
    std::vector<std::uint16_t> ids;
    for (const std::string& asked : exts) {
        const std::string folded = fold(asked);
        for (std::uint32_t id = 1; id < known; ++id) {
            if (extName(static_cast<std::uint16_t>(id)) == folded) {
                ids.push_back(static_cast<std::uint16_t>(id));
                break;
            }
        }
    }
    return ids;
}

std::string VolumeIndex::path(EntryId id) const {
    // A parent has a lower id than its children. Where damage says otherwise the walk ends.
    std::vector<EntryId> chain{id};
    for (std::optional<EntryId> up = parent(id); up && *up < chain.back(); up = parent(*up))
        chain.push_back(*up);

    std::string text;
    for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
        if (it != chain.rbegin())
            text += '/';
        text += name(*it);
    }
    if (text.starts_with("//"))
        text.erase(0, 1);
    return text;
}

VolumeIndex::FolderIds VolumeIndex::folderIds(std::uint32_t upTo) const {
    MutexLock held(lock_);
    if (!dirCache_.ids)
        dirCache_.ids = std::make_shared<std::vector<EntryId>>();
    for (; dirCache_.examined < upTo; ++dirCache_.examined) {
        if ((flags(dirCache_.examined) & EntryFlags::dir) == 0)
            continue;
        std::vector<EntryId>& ids = *dirCache_.ids;
        if (ids.size() == ids.capacity()) {
            // Views of the list stay valid: a longer list is a new one.
            auto longer = std::make_shared<std::vector<EntryId>>();
            longer->reserve(ids.size() + ids.size() / 4 + 1024);
            longer->assign(ids.begin(), ids.end());
            dirCache_.ids = std::move(longer);
        }
        dirCache_.ids->push_back(dirCache_.examined);
    }
    const std::span<const EntryId> all = *dirCache_.ids;
    const auto end = std::lower_bound(all.begin(), all.end(), upTo);
    return {all.first(static_cast<std::size_t>(end - all.begin())), dirCache_.ids};
}

std::vector<EntryId> VolumeIndex::directories(std::uint32_t upTo) const {
    const FolderIds view = folderIds(upTo);
    return {view.ids.begin(), view.ids.end()};
}

std::vector<EntryId> VolumeIndex::roots() const {
    std::vector<EntryId> ids(4);
    for (;;) {
        const std::size_t n = fidx_roots(base_, ids.data(), ids.size());
        if (n < ids.size()) {
            ids.resize(n);
            return ids;
        }
        ids.resize(ids.size() * 2);
    }
}

// --- Changing -----------------------------------------------------------------------------------

void VolumeIndex::markDeleted(EntryId id) {
    MutexLock held(lock_);
    if ((flags(id) & EntryFlags::deleted) != 0)
        return;
    fidx_set_deleted(base_, id);
    ++deletedCount_;
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

std::string VolumeIndex::fold(std::string_view text) {
    return quarrydex::fold(text);
}

} // namespace quarrydex
