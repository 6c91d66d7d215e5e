/// Keeps one catalogue current: collects the folders that the change stream reports and, after a
/// short quiet period, has the catalogue read them again.
///
/// Quiet period: an apply waits until nothing was reported for `debounce` seconds, but never longer
/// than `maxDelay` after the first report, so that a program that writes without end does not keep
/// its files out of the results.
///
/// Starting: with `since`, what changed since that event id is caught up with first. Without it the
/// watcher reports from now on; made with `isHeld` before a scan, it collects what happens during
/// the scan and applies it after release(), so that nothing is lost in between.
///
/// In-place writes while nobody watches leave a folder's time as it is. With `deepPass` the
/// watcher reads every folder again after catching up, in slices that take a twentieth of one
/// core, whenever it has nothing else to do.
///
/// Threads: events, timers, applies and all callbacks run on the watcher's own queue; the rest may
/// be called by any thread except from a callback (lastEventID, isCaughtUp and status may).
/// Destroying waits for a running apply, which stops at its next chunk of folders.
/// Failure: a root that is gone or is another folder now ends the watching with onNeedsRescan{};
/// nothing is removed from the catalogue then.
#pragma once

#include "QuarrydexCore/base/Mutex.h"
#include "QuarrydexCore/base/SerialQueue.h"
#include "QuarrydexCore/catalog/DeepPass.h"
#include "QuarrydexCore/catalog/VolumeIndex.h"
#include "QuarrydexCore/platform/ChangeStream.h"
#include "QuarrydexCore/platform/Clock.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace quarrydex {

struct WatchStatus {
    StreamStatus stream;
    bool isCaughtUp{};
    std::size_t deepPassDone{};  ///< folders
    std::size_t deepPassTotal{}; ///< 0 before the pass has begun
};

class VolumeWatcher {
  public:
    struct Options {
        std::string root{};
        std::vector<std::string> scopes{};    ///< watched instead of the root when not empty
        std::optional<std::uint64_t> since{}; ///< event id to replay from; absent: from now
        /// Folders whose known time is this or later (seconds since 1970, less 2) are read again in
        /// the replay whatever their time now: it may be the time of a change within the second in
        /// which they were read. Absent: the moment of `since`.
        std::optional<std::int64_t> reference{};
        double debounce = 0.5; ///< seconds
        double maxDelay = 2.0; ///< seconds
        int threads = 2;       ///< of applies and sweeps
        bool isHeld = false;   ///< collect only, until release()
        bool deepPass = false;
        std::vector<std::string> ignored{}; ///< folders not watched; the program's own
        std::string dataPrefix = "/System/Volumes/Data";
        StreamOptions stream{}; ///< tuning only: paths, ignored, since and sweep are filled in
    };

    struct Callbacks {
        std::function<void(const RefreshStats&)> onApplied{};
        std::function<void()> onCaughtUp{}; ///< once, after the first apply behind the history
        std::function<void(bool rootMissing)>
            onNeedsRescan{};                ///< once; nothing is applied any more
        std::function<void()> onAttached{}; ///< when reports of what happens now come in
        std::function<void()> onDeepPassDone{};
    };

    /// `init(index:root:scopes:since:debounce:)`. The streams and the clock outlive the watcher.
    VolumeWatcher(std::shared_ptr<VolumeIndex> index,
                  Options options,
                  Callbacks callbacks,
                  ChangeStreams& streams,
                  const Clock& clock);

    /// Stops.
    ~VolumeWatcher();
    VolumeWatcher(const VolumeWatcher&) = delete;
    VolumeWatcher& operator=(const VolumeWatcher&) = delete;

    /// Opens the stream if there is none. If the history has been replayed already, what is pending
    /// is applied at once.
    void start();

    /// Ends the stream; what is pending stays pending. A later start() goes on where it ended.
    void stop();

    /// Ends the hold.
    void release();

    /// Applies all that happened before the call, once the history has been replayed; before that,
    /// what has been reported so far. Returns when it is applied.
    void flush();

    /// Returns when what was delivered before the call has been noted; applies nothing.
    void settle() { q_.drain(); }

    /// Reads every folder again, in the background; begins anew when it is under way.
    void startDeepPass();

    /// The event id up to which the catalogue is current.
    [[nodiscard]] std::uint64_t lastEventID() const;

    [[nodiscard]] bool isCaughtUp() const;

    [[nodiscard]] WatchStatus status() const;

  private:
    /// How timers and streams, which may outlive the watcher, reach its queue.
    struct Gate {
        Mutex lock;
        SerialQueue* queue QDX_GUARDED_BY(lock) = nullptr;

        void post(std::function<void()> task);
    };

    void open();
    void handle(const std::vector<ChangeEvent>& events);
    void handleOne(const ChangeEvent& event);
    [[nodiscard]] std::string mappedBack(const std::string& path) const;
    [[nodiscard]] bool hasPending() const;
    void scheduleApply(bool atOnce);
    void applyPending();
    void finishApply(const RefreshStats& stats);
    void reportRootChange();
    void needRescan(bool rootMissing);
    void scheduleDeepSlice(std::uint64_t delayNs);
    void deepSlice();
    void after(std::uint64_t delayNs, std::function<void()> task);
    [[nodiscard]] std::shared_ptr<ChangeStream> stream() const;
    [[nodiscard]] bool wasStopped(const std::shared_ptr<ChangeStream>& since) const;
    [[nodiscard]] RefreshOptions refreshOptions(const std::shared_ptr<ChangeStream>& stream,
                                                int threads) const;

    // Set at construction.
    const std::string root_;
    const std::vector<std::string> scopes_;
    const Callbacks callbacks_;
    const std::shared_ptr<VolumeIndex> index_;
    const Options options_;
    const std::string dataPrefix_;
    const double debounce_; ///< seconds
    const bool verbose_;    ///< QUARRYDEX_VERBOSE is set
    ChangeStreams& streams_;
    const Clock& clock_;

    // Used on the queue only.
    std::set<std::string> dirs_; ///< folders to be read again
    std::set<std::string> rec_;  ///< and these with everything below
    std::uint32_t rootFlags_ = 0;
    bool historyDone_ = false;
    bool isHeld_;
    bool isOver_ = false; ///< onNeedsRescan was called
    std::uint64_t timerGen_ = 0;
    std::optional<std::uint64_t> firstPendingNs_; ///< clock time of the oldest pending report
    std::unique_ptr<DeepPass> deepPass_;
    bool isSliceScheduled_ = false;

    std::atomic<bool> isStopping_{false};

    mutable Mutex idLock_;
    std::uint64_t maxID_ QDX_GUARDED_BY(idLock_);
    std::uint64_t applied_ QDX_GUARDED_BY(idLock_);
    bool caughtUp_ QDX_GUARDED_BY(idLock_) = false;
    WatchStatus deepStatus_ QDX_GUARDED_BY(idLock_); ///< the deep pass's part of it
    std::shared_ptr<ChangeStream> stream_ QDX_GUARDED_BY(idLock_);

    const std::shared_ptr<Gate> gate_;
    SerialQueue q_; ///< last: its thread ends before what its tasks use
};

} // namespace quarrydex
