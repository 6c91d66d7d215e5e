#include "QuarrydexCore/platform/linux/InotifyBackend.h"

#include "QuarrydexCore/base/Files.h"
#include "QuarrydexCore/platform/linux/Subfolders.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>

namespace quarrydex {

namespace {

constexpr std::uint32_t watchMask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO |
                                    IN_CLOSE_WRITE | IN_ATTRIB | IN_ONLYDIR | IN_EXCL_UNLINK;
constexpr std::int64_t recentNs = 2'000'000'000;

std::int64_t nanoseconds(const timespec& time) {
    return time.tv_sec * 1'000'000'000 + time.tv_nsec;
}

/// The folder's modification time, 0 when it cannot be told.
std::int64_t folderTime(const std::string& folder) {
    struct stat st;
    return ::lstat(folder.c_str(), &st) == 0 ? nanoseconds(st.st_mtim) : 0;
}

} // namespace

std::unique_ptr<InotifyBackend> InotifyBackend::open(const ChangeBatch& scope,
                                                     std::shared_ptr<WatchBudget> budget) {
    Fd queue(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (!queue)
        return nullptr;
    return std::unique_ptr<InotifyBackend>(
        new InotifyBackend(std::move(queue), scope, std::move(budget)));
}

InotifyBackend::InotifyBackend(Fd queue,
                               const ChangeBatch& scope,
                               std::shared_ptr<WatchBudget> budget)
    : queue_(std::move(queue)), scope_(scope), budget_(std::move(budget)) {}

InotifyBackend::~InotifyBackend() {
    MutexLock held(lock_);
    budget_->give(map_.size() + orphans_.size());
}

StreamStatus InotifyBackend::status() const {
    MutexLock held(lock_);
    return {.kind = StreamKind::inotify,
            .watchedFolders = map_.size(),
            .polledFolders = polled_.size(),
            .limitReached = limitReached_,
            .watchLimit = budget_->limit()};
}

// --- Watching -----------------------------------------------------------------------------------

bool InotifyBackend::isRoot(const std::string& folder) const {
    const std::vector<std::string>& roots = scope_.roots();
    return std::find(roots.begin(), roots.end(), folder) != roots.end();
}

bool InotifyBackend::isKnown(const std::string& folder) const {
    return map_.contains(folder) || polled_.contains(folder);
}

/// Watches one folder, or has it polled. False when there is no such folder.
bool InotifyBackend::watch(const std::string& folder) {
    const bool mayTakeNew = budget_->take();
    if (!mayTakeNew && orphans_.empty()) {
        pollInstead(folder);
        limitReached_ = true;
        return true;
    }
    const std::uint32_t follow = isRoot(folder) ? IN_MOVE_SELF | IN_DELETE_SELF : IN_DONT_FOLLOW;
    const int watch = ::inotify_add_watch(queue_.get(), folder.c_str(), watchMask | follow);
    const int error = watch < 0 ? errno : 0;
    const bool isNew = watch >= 0 && orphans_.count(watch) == 0 && map_.path(watch) == nullptr;
    if (mayTakeNew && !isNew)
        budget_->give(1);
    if (watch >= 0 && (mayTakeNew || !isNew)) {
        claim(watch, folder);
        return true;
    }
    if (watch >= 0)
        ::inotify_rm_watch(queue_.get(), watch);
    const bool isLimit = watch >= 0 || error == ENOSPC || error == ENOMEM;
    limitReached_ = limitReached_ || isLimit;
    if (isLimit || error == ENAMETOOLONG)
        pollInstead(folder);
    return isLimit || error == ENAMETOOLONG;
}

void InotifyBackend::claim(int watch, const std::string& folder) {
    orphans_.erase(watch);
    polled_.erase(folder);
    const int before = map_.set(watch, folder);
    if (before >= 0)
        orphans_.insert(before);
}

void InotifyBackend::pollInstead(const std::string& folder) {
    if (!map_.contains(folder))
        polled_[folder] = folderTime(folder);
}

void InotifyBackend::attach(ChangeBatch& /*out*/) {
    for (const std::string& root : scope_.roots())
        attachTree(root);
}

/// Each folder is watched before it is listed: a subfolder that appears in between is reported, one
/// that was there before is found. False when there is no such folder.
bool InotifyBackend::attachTree(const std::string& folder) {
    bool exists = false;
    std::vector<std::string> waiting = {folder};
    std::vector<std::string> names;
    while (!waiting.empty()) {
        const std::string path = std::move(waiting.back());
        waiting.pop_back();
        if (scope_.isIgnored(path))
            continue;
        {
            MutexLock held(lock_);
            if (!watch(path))
                continue;
        }
        exists = true;
        if (listSubfolders(path, isRoot(path), names) != 0)
            continue;
        for (const std::string& name : names)
            waiting.push_back(childPath(path, name));
    }
    return exists;
}

void InotifyBackend::enter(const std::string& folder) {
    if (scope_.isIgnored(folder))
        return;
    MutexLock held(lock_);
    watch(folder);
}

/// Watches the subfolders that are not watched yet, and reports them.
void InotifyBackend::attachNewIn(const std::string& folder, ChangeBatch& out) {
    std::vector<std::string> names;
    if (scope_.isIgnored(folder) || listSubfolders(folder, isRoot(folder), names) != 0)
        return;
    for (const std::string& name : names) {
        const std::string child = childPath(folder, name);
        {
            MutexLock held(lock_);
            if (isKnown(child))
                continue;
        }
        if (attachTree(child))
            out.add(child, ChangeFlags::mustScanSubDirs);
    }
}

void InotifyBackend::settle(std::span<const std::string> differing, ChangeBatch& out) {
    for (const std::string& folder : differing)
        attachNewIn(folder, out);
}

// --- Events -------------------------------------------------------------------------------------

bool InotifyBackend::translate(std::string_view bytes, ChangeBatch& out) {
    bool isWhole = true;
    MutexLock held(lock_);
    while (bytes.size() >= sizeof(inotify_event)) {
        const auto& event = *reinterpret_cast<const inotify_event*>(bytes.data());
        if ((event.mask & IN_Q_OVERFLOW) != 0)
            isWhole = false;
        else
            translateOne(event, out);
        bytes.remove_prefix(sizeof(inotify_event) + event.len);
    }
    return isWhole;
}

void InotifyBackend::translateOne(const inotify_event& event, ChangeBatch& out) {
    if ((event.mask & IN_IGNORED) != 0) { // the folder is gone, and the watch with it
        if (orphans_.erase(event.wd) != 0 || map_.path(event.wd) != nullptr)
            budget_->give(1);
        map_.erase(event.wd);
        return;
    }
    const std::string* known = map_.path(event.wd);
    if (known == nullptr)
        return; // moved away: read again wherever it turns up
    const std::string folder = *known;
    if (event.len != 0 && (event.mask & IN_ISDIR) != 0)
        translateFolder(event, childPath(folder, event.name), out);
    if (event.len == 0 || (event.mask & IN_ISDIR) == 0 || (event.mask & IN_ATTRIB) == 0)
        out.add(folder, 0);
}

/// A subfolder came, went or changed.
void InotifyBackend::translateFolder(const inotify_event& event,
                                     const std::string& child,
                                     ChangeBatch& out) {
    if ((event.mask & IN_ATTRIB) != 0) {
        out.add(child, 0);
        if (!isKnown(child)) // it may not have been open to us
            fresh_.insert(child);
        return;
    }
    // Also after it went: of two folders that change places, one goes from a name after the other
    // has come to it.
    detach(child);
    fresh_.insert(child);
}

/// Forgets what is known of a folder that is no longer, or no longer the same, under this path.
void InotifyBackend::detach(const std::string& folder) {
    for (int watch : map_.detach(folder))
        orphans_.insert(watch);
    eraseSubtree(polled_, folder);
}

void InotifyBackend::finishRound(ChangeBatch& out) {
    std::set<std::string> fresh;
    {
        MutexLock held(lock_);
        fresh.swap(fresh_);
    }
    std::string last = "//"; // no folder
    for (const std::string& folder : fresh) {
        if (isWithin(folder, last))
            continue;
        if (!attachTree(folder))
            continue;
        last = folder;
        out.add(folder, ChangeFlags::mustScanSubDirs);
    }
    dropOrphans();
}

void InotifyBackend::dropOrphans() {
    MutexLock held(lock_);
    for (int watch : orphans_)
        ::inotify_rm_watch(queue_.get(), watch);
    budget_->give(orphans_.size());
    orphans_.clear();
}

/// Moves may have been missed, so every path is found anew.
void InotifyBackend::recover(ChangeBatch& out) {
    {
        MutexLock held(lock_);
        for (const std::string& root : scope_.roots())
            detach(root);
    }
    attach(out);
    dropOrphans();
}

// --- Polling ------------------------------------------------------------------------------------

void InotifyBackend::poll(ChangeBatch& out) {
    std::vector<std::pair<std::string, std::int64_t>> changed;
    {
        MutexLock held(lock_);
        struct timespec now;
        ::clock_gettime(CLOCK_REALTIME, &now);
        for (auto& [folder, known] : polled_) {
            const std::int64_t time = folderTime(folder);
            if (time == known && time < nanoseconds(now) - recentNs)
                continue;
            changed.emplace_back(folder, time);
            known = time;
        }
    }
    for (const auto& [folder, time] : changed) {
        out.add(folder, 0);
        {
            MutexLock held(lock_);
            if (time == 0)
                polled_.erase(folder);
            else
                watch(folder); // one may have become free
        }
        if (time != 0)
            attachNewIn(folder, out);
    }
}

} // namespace quarrydex
