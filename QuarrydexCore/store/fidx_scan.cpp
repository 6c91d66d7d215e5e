#include "QuarrydexCore/base/EntryFlags.h"
#include "QuarrydexCore/base/Files.h"
#include "QuarrydexCore/store/fidx_priv.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <system_error>
#include <thread>

namespace quarrydex {

namespace {

constexpr int maxThreads = 256;

// --- Repeated paths -----------------------------------------------------------------------------

/// The last components of a folder's path, from the end. The child's own name is the first of the
/// components that are looked at, which leaves room for periods 1 and 2.
class PathTail {
  public:
    explicit PathTail(std::string_view folder) {
        while (count_ < parts_.size() && !folder.empty()) {
            const std::size_t slash = folder.rfind('/');
            const std::string_view part = folder.substr(slash + 1); // npos + 1 = 0: the whole
            if (!part.empty())
                parts_[count_++] = part;
            folder = slash == std::string_view::npos ? "" : folder.substr(0, slash);
        }
    }

    [[nodiscard]] bool isRepeatedBy(std::string_view child) const {
        const auto part = [&](std::size_t i) { return i == 0 ? child : parts_[i - 1]; };
        for (std::size_t period = 1; times * period <= count_ + 1; ++period) {
            std::size_t i = 0;
            while (i < (times - 1) * period && part(i) == part(i + period))
                ++i;
            if (i == (times - 1) * period)
                return true;
        }
        return false;
    }

  private:
    static constexpr std::size_t components = 16; ///< looked at, the child's included
    static constexpr std::size_t times = 6;       ///< a repetition so often is a cycle

    std::array<std::string_view, components - 1> parts_; ///< into the folder's path
    std::size_t count_ = 0;
};

// --- Job stack ----------------------------------------------------------------------------------

/// Waits for a job. Returns false when there will be none any more.
bool take(fidx_priv& priv, fidx_job& out) {
    const MutexLock hold(priv.queueLock);
    while (priv.jobs.empty() && priv.unfinished != 0) {
        ++priv.waiting;
        priv.queueChanged.wait(priv.queueLock);
        --priv.waiting;
    }
    if (priv.jobs.empty())
        return false;
    out = std::move(priv.jobs.back());
    priv.jobs.pop_back();
    return true;
}

/// Pushes the folders found by a finished job. The caller takes one of them itself, so one waiting
/// worker less is woken.
void finish(fidx_priv& priv, std::vector<fidx_job>& found) {
    const MutexLock hold(priv.queueLock);
    priv.unfinished += found.size();
    std::move(found.begin(), found.end(), std::back_inserter(priv.jobs));
    for (std::size_t i = 1; i < found.size() && i <= priv.waiting; ++i)
        priv.queueChanged.notifyOne();
    found.clear();
    if (--priv.unfinished == 0)
        priv.queueChanged.notifyAll();
}

// --- Workers ------------------------------------------------------------------------------------

struct Totals {
    Mutex lock;
    fidx_stats stats QDX_GUARDED_BY(lock){};
};

/// One thread's loop with its buffers: a folder costs no allocation but the paths of its folders.
class Worker {
  public:
    Worker(fidx* store, Totals& totals) : store_(store), totals_(totals) {}

    void run() {
        fidx_job job;
        while (take(*store_->priv, job)) {
            readFolder(job);
            finish(*store_->priv, found_);
        }
        const MutexLock hold(totals_.lock);
        totals_.stats += stats_;
    }

  private:
    void readFolder(const fidx_job& job) {
        if (store_->priv->scansAreStopped.load(std::memory_order_relaxed))
            return;
        // A folder that fails midway keeps what was read of it; the counters tell.
        (void)fidx_read_dir(store_, job, raw_, batch_, stats_);
        if (batch_.records.empty())
            return;
        const EntryId first = fidx_commit(store_, job.folder, batch_);
        if (first == noParent) {
            ++stats_.errors;
            return;
        }
        const PathTail tail(job.path);
        for (std::size_t i = 0; i < batch_.records.size(); ++i) {
            const fidx_record& record = batch_.records[i];
            if ((record.flags & (EntryFlags::dir | EntryFlags::otherDevice)) == EntryFlags::dir)
                enter(job, tail, record, static_cast<EntryId>(first + i));
        }
    }

    void enter(const fidx_job& job, const PathTail& tail, const fidx_record& record, EntryId id) {
        const std::string_view name = batch_.names.data() + record.name;
        if (tail.isRepeatedBy(name)) {
            ++stats_.nested;
            return;
        }
        std::string path = childPath(job.path, name);
        const std::vector<std::string>& excludes = store_->priv->excludes;
        if (std::find(excludes.begin(), excludes.end(), path) != excludes.end())
            return;
        const auto inherited = static_cast<std::uint8_t>(record.flags & fidx_inherited_mask);
        found_.push_back(
            {.path = std::move(path), .folder = id, .inherited = inherited, .followLink = false});
    }

    fidx* store_;
    Totals& totals_;
    DirListing raw_;
    fidx_listing batch_;
    std::vector<fidx_job> found_;
    fidx_stats stats_{};
};

void runWorkers(fidx* store, fidx_job first, int threads, fidx_stats* stats) {
    {
        const MutexLock hold(store->priv->queueLock);
        store->priv->jobs.push_back(std::move(first));
        store->priv->unfinished = 1;
    }
    Totals totals;
    const auto work = [&] { Worker(store, totals).run(); };
    std::vector<std::thread> others; // the caller is the remaining one
    try {
        for (int i = 1; i < std::min(threads, maxThreads); ++i)
            others.emplace_back(work);
    } catch (const std::system_error&) {
        // No more threads to be had: those that started do the work.
    }
    work();
    for (std::thread& other : others)
        other.join();
    const MutexLock hold(totals.lock);
    *stats += totals.stats;
}

fidx_listing rootBatch(std::string_view path) {
    fidx_listing batch;
    batch.records.push_back({.size = 0,
                             .name = 0,
                             .mtime = 0,
                             .ctime = 0,
                             .flags = EntryFlags::dir | EntryFlags::root});
    batch.names.append(path).push_back(0);
    fidx_fold_listing(batch);
    return batch;
}

} // namespace

fidx_stats& fidx_stats::operator+=(const fidx_stats& more) {
    files += more.files;
    dirs += more.dirs;
    other += more.other;
    errors += more.errors;
    enoent += more.enoent;
    bytes += more.bytes;
    nested += more.nested;
    return *this;
}

void fidx_stop_scans(fidx* store) {
    store->priv->scansAreStopped.store(true, std::memory_order_relaxed);
}

bool fidx_path_repeats(std::string_view folder, std::string_view child) {
    return PathTail(folder).isRepeatedBy(child);
}

int fidx_scan(fidx* store, const char* root, int threads, fidx_stats* stats) {
    if (const int error = fidx_dir_reader().probeFolder(root, store->priv->scanDevice)) {
        errno = error;
        return fidx_error;
    }
    const EntryId id = fidx_commit(store, noParent, rootBatch(root));
    if (id == noParent) {
        errno = EOVERFLOW;
        return fidx_error;
    }
    {
        const MutexLock hold(store->priv->rootsLock);
        store->priv->roots.push_back(id);
    }
    runWorkers(store, {.path = root, .folder = id, .inherited = 0, .followLink = true}, threads,
               stats);
    return fidx_ok;
}

int fidx_scan_under(fidx* store,
                    const char* path,
                    EntryId parent,
                    std::uint8_t inherited,
                    int threads,
                    fidx_stats* stats) {
    PathStatus status;
    if (const int error = fidx_dir_reader().status(path, status)) {
        errno = error;
        return fidx_error;
    }
    store->priv->scanDevice = status.device;
    const auto bits = static_cast<std::uint8_t>(inherited & fidx_inherited_mask);
    runWorkers(store, {.path = path, .folder = parent, .inherited = bits, .followLink = false},
               threads, stats);
    return fidx_ok;
}

} // namespace quarrydex
