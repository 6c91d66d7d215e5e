/// The system's file reads, counted, with something happening in between where a test wants it.
///
/// Threads: hooks are set first; then reads on any number of threads.
#pragma once

#include "QuarrydexAudio/platform/FileReads.h"
#include "QuarrydexCore/base/Mutex.h"

#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace quarrydex {

class WatchedReads final : public FileReads {
  public:
    struct Tally {
        int opened{};
        std::uint64_t bytes{};                ///< delivered
        std::vector<std::size_t> asked{};     ///< bytes asked for, call by call
        std::vector<std::uint64_t> offsets{}; ///< the same calls
    };

    using Hook = std::function<void(const std::string& path)>;

    Hook beforeOpen{};
    Hook afterRead{};
    std::function<bool(const std::string& path)> readFails{};

    [[nodiscard]] std::optional<FileState> look(const std::string& path) const override {
        return systemFileReads().look(path);
    }

    [[nodiscard]] Fd open(const std::string& path, ReadPlan plan) const override {
        if (beforeOpen)
            beforeOpen(path);
        Fd fd = systemFileReads().open(path, plan);
        if (fd) {
            const MutexLock held(lock_);
            paths_[fd.get()] = path;
            ++tallies_[path].opened;
            order_.push_back(path);
        }
        return fd;
    }

    [[nodiscard]] std::optional<FileState> state(int fd) const override {
        return systemFileReads().state(fd);
    }

    [[nodiscard]] ssize_t
    read(int fd, void* to, std::size_t bytes, std::uint64_t offset) const override {
        std::string path;
        {
            const MutexLock held(lock_);
            path = paths_[fd];
        }
        if (readFails && readFails(path))
            return -1;
        const ssize_t n = systemFileReads().read(fd, to, bytes, offset);
        {
            const MutexLock held(lock_);
            Tally& tally = tallies_[path];
            tally.bytes += static_cast<std::uint64_t>(std::max<ssize_t>(n, 0));
            tally.asked.push_back(bytes);
            tally.offsets.push_back(offset);
        }
        if (afterRead)
            afterRead(path);
        return n;
    }

    [[nodiscard]] Tally tally(const std::string& path) const {
        const MutexLock held(lock_);
        return tallies_[path];
    }

    /// Paths in the order of opening.
    [[nodiscard]] std::vector<std::string> order() const {
        const MutexLock held(lock_);
        return order_;
    }

  private:
    mutable Mutex lock_;
    mutable std::map<int, std::string> paths_ QDX_GUARDED_BY(lock_); ///< by open descriptor
    mutable std::map<std::string, Tally> tallies_ QDX_GUARDED_BY(lock_);
    mutable std::vector<std::string> order_ QDX_GUARDED_BY(lock_);
};

} // namespace quarrydex
