#include "QuarrydexCore/catalog/RefreshPass.h"

#include "QuarrydexCore/base/Files.h"
#include "QuarrydexCore/base/ParallelFor.h"
#include "QuarrydexCore/catalog/VisitTree.h"

#include <algorithm>
#include <cerrno>
#include <unordered_map>
#include <utility>

namespace quarrydex {

namespace {

constexpr std::size_t chunk = 256; ///< listings held in memory at once
constexpr std::uint8_t inheritedMask = EntryFlags::hidden | EntryFlags::junk;
/// A child that differs in one of these is another object of the same name.
constexpr std::uint8_t identityMask = EntryFlags::dir | EntryFlags::symlink | inheritedMask;

bool isGone(int error) {
    return error == ENOENT || error == ENOTDIR;
}

} // namespace

RefreshPass::RefreshPass(VolumeIndex& index, fidx& store, RefreshOptions options)
    : index_(index), store_(store), options_(std::move(options)), excludes_(index.excludes()) {
    for (std::string& path : excludes_)
        path.resize(withoutEndSlashes(path).size());
}

// --- What to read -------------------------------------------------------------------------------

void RefreshPass::request(std::span<const std::string> dirs) {
    note(dirs, options_.recursive);
    note(options_.subtrees, true);
}

void RefreshPass::note(std::span<const std::string> dirs, bool recursive) {
    if (dirs.empty())
        return;
    VisitTree tree(index_);
    for (const std::string& dir : dirs)
        if (!isExcluded(dir))
            tree.add(dir);
    for (const Visit& visit : tree.visits()) {
        wanted_.push_back(visit.folder);
        if (recursive && visit.isExact)
            wantedBelow_.push_back(visit.folder);
    }
}

/// False, and nothing is left to do, when what was read must not be believed.
bool RefreshPass::mayGoOn() {
    if (!options_.mayGoOn || options_.mayGoOn())
        return true;
    stats_.rootMissing = true;
    wanted_.clear();
    wantedBelow_.clear();
    return false;
}

/// Moves every known folder below wantedBelow_ to wanted_: one pass over the folder list, in which
/// parents precede their children.
void RefreshPass::wantFoldersBelow() {
    if (wantedBelow_.empty())
        return;
    const std::uint32_t count = index_.count();
    BitWords isBelow(bitWords(count));
    for (EntryId id : wantedBelow_) {
        setBit(isBelow, id);
        wanted_.push_back(id);
    }
    const FolderIds folders = index_.folderIds(count);
    for (EntryId id : folders.ids) {
        const std::optional<EntryId> parent = index_.parent(id);
        if (!parent || *parent >= id || !testBit(isBelow, *parent))
            continue;
        setBit(isBelow, id);
        wanted_.push_back(id);
    }
    wantedBelow_.clear();
}

std::vector<EntryId> RefreshPass::takeWanted() {
    wantFoldersBelow();
    std::vector<EntryId> folders;
    folders.swap(wanted_);
    std::sort(folders.begin(), folders.end());
    folders.erase(std::unique(folders.begin(), folders.end()), folders.end());
    isDone_.resize(bitWords(index_.count()));
    std::erase_if(folders, [&](EntryId id) { return testBit(isDone_, id) || !isLive(id); });
    for (EntryId id : folders)
        setBit(isDone_, id);
    return folders;
}

bool RefreshPass::isExcluded(std::string_view path) const {
    path = withoutEndSlashes(path);
    return std::any_of(excludes_.begin(), excludes_.end(), [&](const std::string& exclude) {
        return path.starts_with(exclude) &&
               (path.size() == exclude.size() || path[exclude.size()] == '/');
    });
}

/// False when the entry or a folder above it is deleted: descendants of a folder that this round
/// removed have not been marked yet.
bool RefreshPass::isLive(EntryId id) const {
    for (;;) {
        if ((index_.flags(id) & EntryFlags::deleted) != 0)
            return false;
        const std::optional<EntryId> parent = index_.parent(id);
        if (!parent || *parent >= id)
            return true;
        id = *parent;
    }
}

bool RefreshPass::isRoot(EntryId id) const {
    return (index_.flags(id) & EntryFlags::root) != 0;
}

bool RefreshPass::runRound() {
    const std::vector<EntryId> folders = takeWanted();
    if (folders.empty())
        return false;
    const RefreshStats before = stats_;
    const std::uint32_t countBefore = index_.count();
    const ChildIndex children(index_, folders);
    const auto threads = static_cast<unsigned>(std::max(options_.threads, 1));
    for (std::size_t start = 0; start < folders.size(); start += chunk) {
        std::vector<Reading> readings(std::min(chunk, folders.size() - start));
        parallelFor(readings.size(), threads, [&](std::size_t i) {
            readings[i].folder = folders[start + i];
            read(readings[i]);
        });
        if (!mayGoOn())
            break;
        for (const Reading& reading : readings)
            apply(reading, children);
        writeChanges();
    }
    removeBelowRemoved();
    stats_.added += index_.count() - countBefore;
    return stats_.added != before.added || stats_.removed != before.removed ||
           stats_.updated != before.updated;
}

// --- Reading: on several threads, changes nothing ------------------------------------------------

void RefreshPass::read(Reading& reading) const {
    reading.path = index_.path(reading.folder);
    reading.outcome = isExcluded(reading.path) ? Outcome::ignored
                      : isRoot(reading.folder) ? readRoot(reading)
                                               : readFolder(reading);
    if (reading.outcome != Outcome::listed)
        return;
    const auto inherited = static_cast<std::uint8_t>(index_.flags(reading.folder) & inheritedMask);
    if (fidx_list(&store_, reading.path.c_str(), inherited, &reading.listing) != fidx_ok)
        reading.outcome = isGone(errno) ? Outcome::gone : Outcome::ignored;
}

/// A root may be a link or a mount point, and its own times are not kept.
RefreshPass::Outcome RefreshPass::readRoot(Reading& reading) const {
    std::uint64_t device = 0;
    const int error = fidx_dir_reader().probeFolder(reading.path, device);
    return error == 0 ? Outcome::listed : isGone(error) ? Outcome::gone : Outcome::ignored;
}

RefreshPass::Outcome RefreshPass::readFolder(Reading& reading) const {
    const int error = fidx_dir_reader().status(reading.path, reading.status);
    if (error != 0)
        return isGone(error) ? Outcome::gone : Outcome::ignored;
    if (reading.status.type != ObjectType::folder)
        return Outcome::gone;
    const std::size_t slash = reading.path.rfind('/');
    const std::string_view path = reading.path;
    const bool repeats = fidx_path_repeats(path.substr(0, slash), path.substr(slash + 1));
    return reading.status.isMountPoint || repeats ? Outcome::closed : Outcome::listed;
}

// --- Applying -----------------------------------------------------------------------------------

void RefreshPass::apply(const Reading& reading, const ChildIndex& children) {
    const EntryId folder = reading.folder;
    if (!isLive(folder))
        return;
    if (reading.outcome == Outcome::gone) {
        if (isRoot(folder))
            stats_.rootMissing = true;
        else
            wanted_.push_back(*index_.parent(folder)); // its listing tells what is there instead
    }
    if (reading.outcome == Outcome::gone || reading.outcome == Outcome::ignored)
        return;
    if (!isRoot(folder)) {
        const std::uint32_t ctime = fidx_seconds(reading.status.birthTime);
        if (ctime != index_.ctime(folder) && reading.outcome == Outcome::listed)
            wantedBelow_.push_back(folder); // replaced by another folder
        update({folder, 0, fidx_seconds(reading.status.mtime), ctime});
    }
    if (reading.outcome == Outcome::listed) {
        match(reading, children.of(folder));
    } else {
        for (EntryId child : children.of(folder))
            remove(child);
    }
}

void RefreshPass::match(const Reading& reading, std::span<const EntryId> children) {
    ++stats_.listed;

    struct Known {
        EntryId id = noParent;
        bool isSeen = false;
    };

    std::unordered_map<std::string_view, Known> known; // names live in the store and the listing
    known.reserve(children.size());
    for (EntryId child : children)
        known.try_emplace(index_.name(child), Known{.id = child});

    std::vector<std::uint32_t> fresh;
    const fidx_listing& listing = reading.listing;
    for (std::uint32_t i = 0; i < listing.records.size(); ++i) {
        const fidx_record& record = listing.records[i];
        Known& child = known[listing.names.data() + record.name];
        if (child.isSeen)
            continue; // a folder that changes while it is read may show a name twice
        child.isSeen = true;
        if (child.id != noParent && isSameObject(child.id, record)) {
            matchChild(child.id, record);
            continue;
        }
        fresh.push_back(i);
        if (child.id != noParent)
            remove(child.id);
    }
    for (EntryId child : children)
        if (const Known& of = known[index_.name(child)]; !of.isSeen || of.id != child)
            remove(child);
    append(reading, fresh);
}

/// False where the name stands for another object now.
bool RefreshPass::isSameObject(EntryId id, const fidx_record& record) const {
    return ((index_.flags(id) ^ record.flags) & identityMask) == 0;
}

void RefreshPass::matchChild(EntryId id, const fidx_record& record) {
    if ((record.flags & EntryFlags::dir) == 0) {
        update({id, record.size, record.mtime, record.ctime});
        return;
    }
    const bool isReplaced = record.ctime != index_.ctime(id);
    if ((record.flags & EntryFlags::otherDevice) != 0) {
        // Mounted over since, as far as times tell: the folder is read for closing it.
        if (isReplaced || record.mtime != index_.mtime(id))
            wanted_.push_back(id);
    } else if (isReplaced) {
        wantedBelow_.push_back(id);
    }
}

void RefreshPass::append(const Reading& reading, std::span<const std::uint32_t> fresh) {
    if (fresh.empty())
        return;
    const fidx_listing& listing = reading.listing;
    const EntryId first = fidx_append(&store_, reading.folder, listing, fresh.data(), fresh.size());
    if (first == noParent) {
        stats_.fullRescan = true;
        return;
    }
    for (std::size_t i = 0; i < fresh.size(); ++i) {
        const std::uint8_t flags = listing.records[fresh[i]].flags;
        if ((flags & (EntryFlags::dir | EntryFlags::otherDevice)) == EntryFlags::dir)
            enter(reading.path, static_cast<EntryId>(first + i));
    }
}

/// Fills a new folder, by the rules of a scan.
void RefreshPass::enter(const std::string& folder, EntryId id) {
    const std::string path = childPath(folder, index_.name(id));
    if (isExcluded(path) || fidx_path_repeats(folder, index_.name(id)))
        return;
    fidx_stats ignored{};
    const bool wasFull = index_.overflowed();
    // A folder that vanished meanwhile stays empty until its parent is read again.
    (void)fidx_scan_under(&store_, path.c_str(), id, index_.flags(id), options_.threads, &ignored);
    if (!wasFull && index_.overflowed())
        stats_.fullRescan = true;
}

void RefreshPass::remove(EntryId id) {
    if ((index_.flags(id) & EntryFlags::deleted) != 0)
        return;
    index_.markDeleted(id);
    ++stats_.removed;
    if ((index_.flags(id) & EntryFlags::dir) != 0)
        removedFolders_.push_back(id);
}

/// Marks the descendants of removed folders: one pass over the parent column, in which parents
/// precede their children.
void RefreshPass::removeBelowRemoved() {
    if (removedFolders_.empty())
        return;
    const std::uint32_t count = index_.count();
    BitWords isRemoved(bitWords(count));
    for (EntryId id : removedFolders_)
        setBit(isRemoved, id);
    const EntryId* parents = store_.parent;
    std::vector<EntryId> gone;
    for (EntryId id = *std::min_element(removedFolders_.begin(), removedFolders_.end()); id < count;
         ++id) {
        if (parents[id] >= count || !testBit(isRemoved, parents[id]))
            continue;
        setBit(isRemoved, id);
        if ((index_.flags(id) & EntryFlags::deleted) == 0)
            gone.push_back(id);
    }
    index_.markDeleted(gone);
    stats_.removed += gone.size();
    removedFolders_.clear();
}

void RefreshPass::update(const EntryChange& change) {
    if (index_.size(change.id) == change.size && index_.mtime(change.id) == change.mtime &&
        index_.ctime(change.id) == change.ctime)
        return;
    changes_.push_back(change);
    ++stats_.updated;
}

void RefreshPass::writeChanges() {
    index_.change(changes_);
    changes_.clear();
}

} // namespace quarrydex
