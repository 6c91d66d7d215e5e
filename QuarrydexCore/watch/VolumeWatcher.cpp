#include "QuarrydexCore/watch/VolumeWatcher.h"

#include "QuarrydexCore/catalog/FolderSweep.h"
#include "QuarrydexCore/platform/DirReader.h"
#include "QuarrydexCore/store/fidx.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace quarrydex {

namespace {

constexpr std::uint32_t lostFlags =
    ChangeFlags::mustScanSubDirs | ChangeFlags::userDropped | ChangeFlags::kernelDropped;
constexpr std::uint32_t noFolderFlags =
    ChangeFlags::rootChanged | ChangeFlags::mount | ChangeFlags::unmount;

/// The deep pass rests so many times as long as it works.
constexpr std::uint64_t restFactor = 19;
constexpr std::uint64_t minRestNs = 200'000'000;

std::uint64_t nanoseconds(double seconds) {
    return static_cast<std::uint64_t>(std::max(seconds, 0.0) * 1e9);
}

void logSubtree(const std::string& path, const ChangeEvent& event) {
    char numbers[64];
    std::snprintf(numbers, sizeof numbers, " flags=0x%" PRIX32 " id=%" PRIu64 "\n", event.flags,
                  event.id);
    const std::string line = "fsevents: rescan subtree " + path + numbers;
    std::fwrite(line.data(), 1, line.size(), stderr);
}

} // namespace

void VolumeWatcher::Gate::post(std::function<void()> task) {
    MutexLock held(lock);
    if (queue != nullptr)
        queue->post(std::move(task));
}

VolumeWatcher::VolumeWatcher(std::shared_ptr<VolumeIndex> index,
                             Options options,
                             Callbacks callbacks,
                             ChangeStreams& streams,
                             const Clock& clock)
    : root_(options.root), scopes_(options.scopes), callbacks_(std::move(callbacks)),
      index_(std::move(index)), options_(std::move(options)), dataPrefix_(options_.dataPrefix),
      debounce_(options_.debounce),
      // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody writes it
      verbose_(std::getenv("QUARRYDEX_VERBOSE") != nullptr), streams_(streams), clock_(clock),
      isHeld_(options_.isHeld), maxID_(options_.since ? *options_.since : streams.currentEventId()),
      applied_(maxID_), gate_(std::make_shared<Gate>()) {
    MutexLock held(gate_->lock);
    gate_->queue = &q_;
}

VolumeWatcher::~VolumeWatcher() {
    stop();
    MutexLock held(gate_->lock);
    gate_->queue = nullptr;
}

// --- Life ---------------------------------------------------------------------------------------

void VolumeWatcher::start() {
    isStopping_.store(false, std::memory_order_release);
    q_.post([this] {
        open();
        if (historyDone_)
            scheduleApply(true);
    });
}

void VolumeWatcher::open() {
    StreamOptions options = options_.stream;
    options.paths = scopes_.empty() ? std::vector{root_} : scopes_;
    options.ignored = options_.ignored;
    for (const std::string& exclude : index_->excludes())
        options.ignored.push_back(exclude);
    std::optional<std::int64_t> reference = options_.reference;
    {
        MutexLock held(idLock_);
        if (stream_ || isStopping_.load(std::memory_order_acquire) || isOver_)
            return;
        // Opened again after stop(), it goes on where it ended.
        const bool isFirst = !historyDone_ && !options_.since;
        options.since = isFirst ? std::nullopt : std::optional(applied_);
        if (!reference && options.since)
            reference = eventSeconds(applied_);
        options.sweep = [index = index_, reference,
                         threads = options_.threads](const SweepCalls& calls) {
            FolderSweep(*index, {.reference = reference, .threads = threads}).run(calls);
        };
        stream_ = streams_.open(std::move(options));
    }
    historyDone_ = false;
    const auto deliver = [this, gate = gate_](std::vector<ChangeEvent> events) {
        gate->post([this, events = std::move(events)] { handle(events); });
    };
    if (const std::shared_ptr<ChangeStream> opened = stream())
        opened->start(deliver);
}

void VolumeWatcher::stop() {
    isStopping_.store(true, std::memory_order_release);
    std::shared_ptr<ChangeStream> ended;
    {
        MutexLock held(idLock_);
        ended.swap(stream_);
    }
    if (ended)
        ended->stop();
}

void VolumeWatcher::release() {
    q_.post([this] {
        isHeld_ = false;
        if (historyDone_)
            scheduleApply(true);
    });
}

void VolumeWatcher::flush() {
    q_.drain(); // start() has run
    if (const std::shared_ptr<ChangeStream> current = stream())
        current->flush();
    q_.post([this] {
        if (!isHeld_ && hasPending())
            applyPending();
    });
    q_.drain();
}

std::uint64_t VolumeWatcher::lastEventID() const {
    MutexLock held(idLock_);
    return applied_;
}

bool VolumeWatcher::isCaughtUp() const {
    MutexLock held(idLock_);
    return caughtUp_;
}

WatchStatus VolumeWatcher::status() const {
    WatchStatus status;
    {
        MutexLock held(idLock_);
        status = deepStatus_;
        status.isCaughtUp = caughtUp_;
    }
    if (const std::shared_ptr<ChangeStream> current = stream())
        status.stream = current->status();
    return status;
}

std::shared_ptr<ChangeStream> VolumeWatcher::stream() const {
    MutexLock held(idLock_);
    return stream_;
}

bool VolumeWatcher::wasStopped(const std::shared_ptr<ChangeStream>& since) const {
    return isStopping_.load(std::memory_order_acquire) || stream() != since;
}

/// A refresh that ends when the watcher is stopped, and believes nothing once a root is gone.
RefreshOptions VolumeWatcher::refreshOptions(const std::shared_ptr<ChangeStream>& stream,
                                             int threads) const {
    return {.recursive = false, .threads = threads, .subtrees = {}, .mayGoOn = [this, stream] {
                return !wasStopped(stream) && stream->rootsAreIntact();
            }};
}

void VolumeWatcher::after(std::uint64_t delayNs, std::function<void()> task) {
    clock_.callAfter(delayNs, [gate = gate_, task = std::move(task)] { gate->post(task); });
}

// --- Events -------------------------------------------------------------------------------------

void VolumeWatcher::handle(const std::vector<ChangeEvent>& events) {
    if (isOver_)
        return;
    const bool wasDone = historyDone_;
    for (const ChangeEvent& event : events)
        handleOne(event);
    if (historyDone_ && !wasDone && callbacks_.onAttached)
        callbacks_.onAttached();
    if (hasPending() || historyDone_ != wasDone)
        scheduleApply(historyDone_ && !wasDone);
}

void VolumeWatcher::handleOne(const ChangeEvent& event) {
    {
        MutexLock held(idLock_);
        maxID_ = std::max(maxID_, event.id);
    }
    if ((event.flags & ChangeFlags::historyDone) != 0) {
        historyDone_ = true;
        return;
    }
    std::string path = mappedBack(event.path);
    if ((event.flags & lostFlags) != 0) {
        if (verbose_)
            logSubtree(path, event);
        rec_.insert(std::move(path));
    } else if ((event.flags & noFolderFlags) == 0) {
        dirs_.insert(std::move(path));
    } else if ((event.flags & ChangeFlags::rootChanged) != 0) {
        rootFlags_ |= event.flags;
    }
}

/// The path under which the catalogue knows a folder.
std::string VolumeWatcher::mappedBack(const std::string& path) const {
    if (dataPrefix_.empty() || !path.starts_with(dataPrefix_) || path.starts_with(root_))
        return path;
    return path.substr(dataPrefix_.size());
}

bool VolumeWatcher::hasPending() const {
    return !dirs_.empty() || !rec_.empty() || rootFlags_ != 0;
}

// --- Applying -----------------------------------------------------------------------------------

void VolumeWatcher::scheduleApply(bool atOnce) {
    if (isHeld_)
        return;
    ++timerGen_;
    if (atOnce) {
        applyPending();
        return;
    }
    const std::uint64_t now = clock_.monotonicNs();
    firstPendingNs_ = firstPendingNs_.value_or(now);
    const std::uint64_t latest = *firstPendingNs_ + nanoseconds(options_.maxDelay);
    const std::uint64_t due = std::min(now + nanoseconds(debounce_), std::max(latest, now));
    after(due - now, [this, generation = timerGen_] {
        if (generation == timerGen_)
            applyPending();
    });
}

void VolumeWatcher::applyPending() {
    if (isOver_ || isStopping_.load(std::memory_order_acquire))
        return;
    ++timerGen_;
    firstPendingNs_.reset();
    if (rootFlags_ != 0) {
        reportRootChange();
        return;
    }
    std::uint64_t upTo = 0;
    {
        MutexLock held(idLock_);
        upTo = maxID_;
    }
    const std::vector<std::string> dirs(dirs_.begin(), dirs_.end());
    const std::vector<std::string> subtrees(rec_.begin(), rec_.end());
    const std::shared_ptr<ChangeStream> current = stream();
    if (!current)
        return;
    RefreshOptions options = refreshOptions(current, options_.threads);
    options.subtrees = subtrees;
    RefreshStats stats;
    if (!dirs.empty() || !subtrees.empty())
        stats = index_->refresh(dirs, std::move(options));
    if (wasStopped(current))
        return; // what was not done stays pending
    dirs_.clear();
    rec_.clear();
    if (stats.rootMissing || stats.fullRescan) {
        needRescan(stats.rootMissing);
        return;
    }
    {
        MutexLock held(idLock_);
        applied_ = std::max(applied_, upTo);
    }
    finishApply(stats);
}

void VolumeWatcher::finishApply(const RefreshStats& stats) {
    if (callbacks_.onApplied)
        callbacks_.onApplied(stats);
    bool isFirst = false;
    if (historyDone_) {
        MutexLock held(idLock_);
        isFirst = !std::exchange(caughtUp_, true);
    }
    if (!isFirst)
        return;
    if (callbacks_.onCaughtUp)
        callbacks_.onCaughtUp();
    if (options_.deepPass && !deepPass_) {
        deepPass_ = std::make_unique<DeepPass>(*index_);
        scheduleDeepSlice(minRestNs);
    }
}

/// A watched path names nothing, or another folder. One that was unmounted, too, names a folder
/// still: the empty one below.
void VolumeWatcher::reportRootChange() {
    bool isMissing = (rootFlags_ & ChangeFlags::unmount) != 0;
    for (const std::string& path : scopes_.empty() ? std::vector{root_} : scopes_) {
        std::uint64_t device = 0;
        isMissing = isMissing || fidx_dir_reader().probeFolder(path, device) != 0;
    }
    needRescan(isMissing);
}

void VolumeWatcher::needRescan(bool rootMissing) {
    isOver_ = true;
    dirs_.clear();
    rec_.clear();
    if (callbacks_.onNeedsRescan)
        callbacks_.onNeedsRescan(rootMissing);
}

// --- Deep pass ----------------------------------------------------------------------------------

void VolumeWatcher::startDeepPass() {
    q_.post([this] {
        deepPass_ = std::make_unique<DeepPass>(*index_);
        scheduleDeepSlice(0);
    });
}

void VolumeWatcher::scheduleDeepSlice(std::uint64_t delayNs) {
    if (isSliceScheduled_)
        return;
    isSliceScheduled_ = true;
    after(delayNs, [this] {
        isSliceScheduled_ = false;
        deepSlice();
    });
}

void VolumeWatcher::deepSlice() {
    if (!deepPass_ || isOver_ || isStopping_.load(std::memory_order_acquire))
        return;
    if (hasPending()) { // what was reported comes first
        scheduleDeepSlice(minRestNs);
        return;
    }
    const std::shared_ptr<ChangeStream> current = stream();
    if (!current)
        return;
    const std::uint64_t start = clock_.monotonicNs();
    const RefreshStats stats = deepPass_->step(refreshOptions(current, 1));
    if (wasStopped(current))
        return;
    {
        MutexLock held(idLock_);
        deepStatus_.deepPassDone = deepPass_->done();
        deepStatus_.deepPassTotal = deepPass_->total();
    }
    if (stats.rootMissing || stats.fullRescan) {
        needRescan(stats.rootMissing);
        return;
    }
    if (stats.changedAnything() && callbacks_.onApplied)
        callbacks_.onApplied(stats);
    const std::uint64_t spent = clock_.monotonicNs() - start;
    if (!deepPass_->isDone()) {
        scheduleDeepSlice(std::max(minRestNs, spent * restFactor));
        return;
    }
    deepPass_.reset();
    if (callbacks_.onDeepPassDone)
        callbacks_.onDeepPassDone();
}

} // namespace quarrydex
