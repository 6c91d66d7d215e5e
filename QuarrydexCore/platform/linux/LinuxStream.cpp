#include "QuarrydexCore/platform/linux/LinuxStream.h"

#include <algorithm>
#include <chrono>

namespace quarrydex {

namespace {

using SteadyClock = std::chrono::steady_clock;

/// How often the roots and what is polled are looked at while nothing is reported: renaming a
/// folder above a root reports nothing.
constexpr std::uint64_t tickNs = 15'000'000'000;
constexpr std::uint64_t pollRest = 400; ///< polling takes one part in so many of one core

std::uint64_t steadyNs() {
    const auto time = SteadyClock::now().time_since_epoch();
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(time).count());
}

SteadyClock::time_point moment(std::uint64_t ns) {
    return SteadyClock::time_point(std::chrono::nanoseconds(ns));
}

} // namespace

LinuxStream::LinuxStream(StreamOptions options,
                         std::unique_ptr<StreamBackend> backend,
                         EventIds& ids,
                         MountTable& mounts)
    : options_(std::move(options)), ids_(ids), mounts_(mounts), backend_(std::move(backend)),
      batch_(options_.paths, options_.ignored) {
    for (const std::string& root : options_.paths)
        rootIdentities_.push_back(rootIdentity(root));
}

LinuxStream::~LinuxStream() {
    silence();
    if (worker_.joinable())
        worker_.join();
    mountSubscription_.reset();
    reader_.reset();
}

void LinuxStream::start(ChangeStream::Deliver deliver) {
    {
        MutexLock held(deliverLock_);
        if (isStopping())
            return;
        deliver_ = std::move(deliver);
    }
    reader_ = std::make_unique<EventReader>(backend_->queue(), options_.queuedBytes,
                                            [this] { noteArrival(); });
    mountSubscription_ =
        mounts_.observe([this](const std::vector<Mount>& added, const std::vector<Mount>& removed) {
            noteMounts(added, removed);
        });
    worker_ = std::thread([this] { run(); });
}

void LinuxStream::silence() {
    {
        MutexLock held(lock_);
        stopping_ = true;
    }
    changed_.notifyAll();
    MutexLock held(deliverLock_);
    deliver_ = nullptr;
}

void LinuxStream::flush() {
    {
        MutexLock held(lock_);
        if (!isLive_ || stopping_)
            return;
    }
    reader_->sync();
    MutexLock held(lock_);
    const std::uint64_t wanted = ++flushWanted_;
    changed_.notifyAll();
    while (flushed_ < wanted && !stopping_)
        changed_.wait(lock_);
}

StreamStatus LinuxStream::status() const {
    StreamStatus status = backend_->status();
    MutexLock held(lock_);
    status.overflows = overflows_;
    return status;
}

bool LinuxStream::rootsAreIntact() const {
    for (std::size_t i = 0; i < options_.paths.size(); ++i)
        if (!rootIdentities_[i] || rootIdentity(options_.paths[i]) != rootIdentities_[i])
            return false;
    return true;
}

// --- What wakes the worker ----------------------------------------------------------------------

bool LinuxStream::isStopping() const {
    MutexLock held(lock_);
    return stopping_;
}

void LinuxStream::noteArrival() {
    {
        MutexLock held(lock_);
        if (hasArrived_)
            return;
        hasArrived_ = true;
    }
    changed_.notifyAll();
}

void LinuxStream::noteMounts(const std::vector<Mount>& added, const std::vector<Mount>& removed) {
    {
        MutexLock held(lock_);
        for (const Mount& mount : removed)
            mountChanges_.emplace_back(mount.path, ChangeFlags::unmount);
        for (const Mount& mount : added)
            mountChanges_.emplace_back(mount.path, ChangeFlags::mount);
    }
    changed_.notifyAll();
}

std::optional<LinuxStream::Work> LinuxStream::nextWork() {
    MutexLock held(lock_);
    while (!stopping_ && !hasArrived_ && flushed_ == flushWanted_ && mountChanges_.empty() &&
           steadyNs() < nextTick_)
        changed_.waitUntil(lock_, moment(nextTick_));
    waitForLatency();
    if (stopping_)
        return std::nullopt;
    hasArrived_ = false;
    return Work{.isFlush = flushed_ != flushWanted_,
                .isTick = steadyNs() >= nextTick_,
                .flushTarget = flushWanted_,
                .mounts = std::exchange(mountChanges_, {})};
}

/// Events come in crowds: one round for many of them.
void LinuxStream::waitForLatency() {
    const std::uint64_t due = steadyNs() + options_.latencyNs;
    while (!stopping_ && hasArrived_ && flushed_ == flushWanted_ && steadyNs() < due)
        changed_.waitUntil(lock_, moment(due));
}

// --- The worker ---------------------------------------------------------------------------------

void LinuxStream::run() {
    nextTick_ = steadyNs() + tickNs;
    nextPoll_ = nextTick_;
    replay();
    while (const std::optional<Work> work = nextWork())
        round(*work);
}

void LinuxStream::replay() {
    ids_.raiseTo(options_.since.value_or(0));
    const std::uint64_t id = ids_.next(); // whatever happens from here on is reported live
    if (options_.since && options_.sweep)
        sweep();
    else
        backend_->attach(batch_);
    if (isStopping())
        return;
    std::vector<ChangeEvent> events = batch_.take(options_.since.value_or(id));
    events.push_back({.path = options_.paths.empty() ? std::string() : options_.paths.front(),
                      .flags = ChangeFlags::historyDone,
                      .id = id});
    {
        MutexLock held(lock_);
        isLive_ = true; // whoever hears of it may flush
    }
    deliver(std::move(events));
}

/// Everything that differs is delivered at the end only: an apply beside the sweep would take a
/// folder's new time over before the folder is watched.
void LinuxStream::sweep() {
    std::vector<std::string> differing;
    options_.sweep({.enter = [this](const std::string& folder) { backend_->enter(folder); },
                    .differs =
                        [&](const std::string& folder, bool isReplaced) {
                            batch_.add(folder, isReplaced ? ChangeFlags::mustScanSubDirs : 0);
                            differing.push_back(folder);
                        },
                    .mayGoOn = [this] { return !isStopping(); }});
    if (!isStopping())
        backend_->settle(differing, batch_);
}

void LinuxStream::round(const Work& work) {
    const std::uint64_t id = ids_.next(); // before the events are taken: none that follows is lower
    readEvents();
    if (work.isFlush || steadyNs() >= nextPoll_)
        poll();
    if (work.isTick)
        nextTick_ = steadyNs() + tickNs;
    for (const auto& [path, flags] : work.mounts) {
        if (std::find(options_.paths.begin(), options_.paths.end(), path) != options_.paths.end())
            continue; // checkRoots tells what became of it
        batch_.add(path, ChangeFlags::mustScanSubDirs);
    }
    if (checkRoots(id)) {
        std::vector<ChangeEvent> events = batch_.take(id);
        // Apart from that the folder is to be read again, since a mount alone asks for no reading.
        for (const auto& [path, flags] : work.mounts)
            batch_.add(path, flags);
        for (ChangeEvent& event : batch_.take(id))
            events.push_back(std::move(event));
        deliver(std::move(events));
    }
    {
        MutexLock held(lock_);
        flushed_ = work.flushTarget;
    }
    changed_.notifyAll();
}

void LinuxStream::readEvents() {
    const EventReader::Batch batch = reader_->take();
    const bool isWhole = backend_->translate(batch.bytes, batch_);
    if (isWhole && !batch.wasDropped) {
        backend_->finishRound(batch_);
        return;
    }
    {
        MutexLock held(lock_);
        ++overflows_;
    }
    backend_->recover(batch_);
    std::uint32_t flags = ChangeFlags::mustScanSubDirs;
    flags |= isWhole ? 0 : ChangeFlags::kernelDropped;
    flags |= batch.wasDropped ? ChangeFlags::userDropped : 0;
    for (const std::string& root : options_.paths)
        batch_.add(root, flags);
}

void LinuxStream::poll() {
    const std::uint64_t start = steadyNs();
    backend_->poll(batch_);
    const std::uint64_t end = steadyNs();
    nextPoll_ = end + std::max(tickNs, pollRest * (end - start));
}

/// False when a root is gone: nothing else is said then, once or ever.
bool LinuxStream::checkRoots(std::uint64_t id) {
    if (rootsAreGone_)
        batch_.clear();
    if (rootsAreGone_ || rootsAreIntact())
        return !rootsAreGone_;
    rootsAreGone_ = true;
    batch_.clear();
    for (std::size_t i = 0; i < options_.paths.size(); ++i) {
        const std::optional<RootIdentity> now = rootIdentity(options_.paths[i]);
        if (now && now == rootIdentities_[i])
            continue;
        const bool isUnmounted =
            now && rootIdentities_[i] && now->mount != rootIdentities_[i]->mount;
        batch_.add(options_.paths[i],
                   ChangeFlags::rootChanged | (isUnmounted ? ChangeFlags::unmount : 0));
    }
    deliver(batch_.take(id));
    return false;
}

void LinuxStream::deliver(std::vector<ChangeEvent> events) {
    MutexLock held(deliverLock_);
    if (deliver_ && !events.empty())
        deliver_(std::move(events));
}

} // namespace quarrydex
