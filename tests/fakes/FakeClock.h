/// A clock that a test sets: time stands still until advance() moves it, and what waits for a
/// moment runs within the call that passes it, on the caller's thread.
///
/// Threads: any.
#pragma once

#include "QuarrydexCore/base/Mutex.h"
#include "QuarrydexCore/platform/Clock.h"

#include <cstddef>
#include <map>
#include <utility>

namespace quarrydex {

class FakeClock final : public Clock {
  public:
    [[nodiscard]] std::int64_t now() const override {
        return static_cast<std::int64_t>(monotonicNs() / 1'000'000'000);
    }

    [[nodiscard]] std::uint64_t monotonicNs() const override {
        MutexLock held(lock_);
        return ns_;
    }

    void callAfter(std::uint64_t delayNs, std::function<void()> closure) const override {
        MutexLock held(lock_);
        waiting_.emplace(ns_ + delayNs, std::move(closure));
    }

    void advance(double seconds) {
        const std::uint64_t target = monotonicNs() + static_cast<std::uint64_t>(seconds * 1e9);
        while (runNextUntil(target)) {
        }
    }

    [[nodiscard]] std::size_t waiting() const {
        MutexLock held(lock_);
        return waiting_.size();
    }

  private:
    bool runNextUntil(std::uint64_t target) {
        std::function<void()> due;
        {
            MutexLock held(lock_);
            if (waiting_.empty() || waiting_.begin()->first > target) {
                ns_ = target;
                return false;
            }
            ns_ = std::max(ns_, waiting_.begin()->first);
            due = std::move(waiting_.begin()->second);
            waiting_.erase(waiting_.begin());
        }
        due();
        return true;
    }

    mutable Mutex lock_;
    std::uint64_t ns_ QDX_GUARDED_BY(lock_) = 1'700'000'000'000'000'000;
    mutable std::multimap<std::uint64_t, std::function<void()>> waiting_ QDX_GUARDED_BY(lock_);
};

} // namespace quarrydex
