/// A watch for every folder. Needs no privilege; costs 2.5 µs and about 1.2 KB of kernel memory a
/// folder.
///
/// Which path a watch stands for is kept by replaying the reported moves in order. A folder that
/// appears is watched first and listed afterwards, down through its subfolders, and then reported
/// with everything below it: whatever happened in it before its watch was there is found by
/// reading. Watches of a folder that was moved away are kept until the end of the round, because
/// the folder mostly turns up elsewhere, and are dropped only if nothing has claimed them by then.
///
/// Where watches run out, folders are polled: their own time is compared now and then.
///
/// Not seen: writes to a file through another hard link of it, and through memory mappings.
///
/// Threads: as StreamBackend.
#pragma once

#include "QuarrydexCore/base/Fd.h"
#include "QuarrydexCore/base/Mutex.h"
#include "QuarrydexCore/platform/linux/StreamBackend.h"
#include "QuarrydexCore/platform/linux/WatchBudget.h"
#include "QuarrydexCore/platform/linux/WatchMap.h"

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

struct inotify_event;

namespace quarrydex {

class InotifyBackend final : public StreamBackend {
  public:
    /// Null when the system gives no queue.
    [[nodiscard]] static std::unique_ptr<InotifyBackend> open(const ChangeBatch& scope,
                                                              std::shared_ptr<WatchBudget> budget);

    ~InotifyBackend() override;

    [[nodiscard]] int queue() const override { return queue_.get(); }

    void attach(ChangeBatch& out) override;
    void enter(const std::string& folder) override;
    void settle(std::span<const std::string> differing, ChangeBatch& out) override;
    [[nodiscard]] bool translate(std::string_view bytes, ChangeBatch& out) override;
    void finishRound(ChangeBatch& out) override;
    void recover(ChangeBatch& out) override;
    void poll(ChangeBatch& out) override;
    [[nodiscard]] StreamStatus status() const override;

  private:
    InotifyBackend(Fd queue, const ChangeBatch& scope, std::shared_ptr<WatchBudget> budget);

    [[nodiscard]] bool isRoot(const std::string& folder) const;
    bool watch(const std::string& folder) QDX_REQUIRES(lock_);
    void claim(int watch, const std::string& folder) QDX_REQUIRES(lock_);
    void pollInstead(const std::string& folder) QDX_REQUIRES(lock_);
    bool attachTree(const std::string& folder) QDX_EXCLUDES(lock_);
    void attachNewIn(const std::string& folder, ChangeBatch& out) QDX_EXCLUDES(lock_);
    [[nodiscard]] bool isKnown(const std::string& folder) const QDX_REQUIRES(lock_);
    void translateOne(const inotify_event& event, ChangeBatch& out) QDX_REQUIRES(lock_);
    void translateFolder(const inotify_event& event, const std::string& child, ChangeBatch& out)
        QDX_REQUIRES(lock_);
    void detach(const std::string& folder) QDX_REQUIRES(lock_);
    void dropOrphans() QDX_EXCLUDES(lock_);

    const Fd queue_;
    const ChangeBatch scope_; ///< for its roots and ignored folders
    const std::shared_ptr<WatchBudget> budget_;

    mutable Mutex lock_;
    WatchMap map_ QDX_GUARDED_BY(lock_);
    std::set<int> orphans_ QDX_GUARDED_BY(lock_); ///< watches whose folder was moved away
    std::map<std::string, std::int64_t, std::less<>>
        polled_ QDX_GUARDED_BY(lock_);                  ///< folder → time (ns)
    std::set<std::string> fresh_ QDX_GUARDED_BY(lock_); ///< subfolders reported in this round
    bool limitReached_ QDX_GUARDED_BY(lock_) = false;
};

} // namespace quarrydex
