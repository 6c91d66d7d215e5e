/// A change stream: one thread that empties the kernel's queue (EventReader), and one that does
/// everything else in rounds: translates events, watches new folders, checks the roots, delivers.
///
/// Threads: as ChangeStream. Destroying joins both threads and closes the watches, which takes a
/// tenth of a second for 100,000 of them: LinuxChangeStreams does it on a thread of its own.
/// Locks: deliverLock_ is held during a delivery; lock_ is a leaf.
#pragma once

#include "QuarrydexCore/base/Mutex.h"
#include "QuarrydexCore/base/Subscription.h"
#include "QuarrydexCore/platform/ChangeStream.h"
#include "QuarrydexCore/platform/MountTable.h"
#include "QuarrydexCore/platform/linux/ChangeBatch.h"
#include "QuarrydexCore/platform/linux/EventIds.h"
#include "QuarrydexCore/platform/linux/EventReader.h"
#include "QuarrydexCore/platform/linux/RootIdentity.h"
#include "QuarrydexCore/platform/linux/StreamBackend.h"

#include <memory>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace quarrydex {

class LinuxStream {
  public:
    /// Ids and mounts outlive the stream.
    LinuxStream(StreamOptions options,
                std::unique_ptr<StreamBackend> backend,
                EventIds& ids,
                MountTable& mounts);
    ~LinuxStream();
    LinuxStream(const LinuxStream&) = delete;
    LinuxStream& operator=(const LinuxStream&) = delete;

    void start(ChangeStream::Deliver deliver);
    void flush();
    [[nodiscard]] StreamStatus status() const;
    [[nodiscard]] bool rootsAreIntact() const;

    /// Ends deliveries and makes the threads end; waits for neither.
    void silence();

  private:
    /// What a round is to do.
    struct Work {
        bool isFlush{};
        bool isTick{};
        std::uint64_t flushTarget{};
        std::vector<std::pair<std::string, std::uint32_t>> mounts; ///< path, flags
    };

    void run();
    void replay();
    void sweep();
    [[nodiscard]] std::optional<Work> nextWork();
    void waitForLatency() QDX_REQUIRES(lock_);
    void round(const Work& work);
    void readEvents();
    void poll();
    bool checkRoots(std::uint64_t id);
    void deliver(std::vector<ChangeEvent> events);
    void noteArrival();
    void noteMounts(const std::vector<Mount>& added, const std::vector<Mount>& removed);
    [[nodiscard]] bool isStopping() const;

    const StreamOptions options_;
    EventIds& ids_;
    MountTable& mounts_;
    std::vector<std::optional<RootIdentity>> rootIdentities_; ///< of options_.paths, when opened
    const std::unique_ptr<StreamBackend> backend_;

    ChangeBatch batch_;          ///< worker only
    bool rootsAreGone_ = false;  ///< worker only; said once, and the last thing that is said
    std::uint64_t nextTick_ = 0; ///< worker only; steady clock, ns
    std::uint64_t nextPoll_ = 0; ///< the same

    Mutex deliverLock_;
    ChangeStream::Deliver deliver_ QDX_GUARDED_BY(deliverLock_);

    mutable Mutex lock_;
    CondVar changed_;
    bool stopping_ QDX_GUARDED_BY(lock_) = false;
    bool hasArrived_ QDX_GUARDED_BY(lock_) = false;
    bool isLive_ QDX_GUARDED_BY(lock_) = false; ///< the history is over
    std::uint64_t flushWanted_ QDX_GUARDED_BY(lock_) = 0;
    std::uint64_t flushed_ QDX_GUARDED_BY(lock_) = 0;
    std::uint64_t overflows_ QDX_GUARDED_BY(lock_) = 0;
    std::vector<std::pair<std::string, std::uint32_t>> mountChanges_ QDX_GUARDED_BY(lock_);

    std::unique_ptr<EventReader> reader_;
    std::unique_ptr<Subscription> mountSubscription_;
    std::thread worker_;
};

} // namespace quarrydex
