/// The clocks of the machine, and one thread, started at the first use, that waits for moments to
/// come. Any thread.
#pragma once

#include "QuarrydexCore/base/Mutex.h"
#include "QuarrydexCore/platform/Clock.h"

#include <functional>
#include <map>
#include <thread>

namespace quarrydex {

class SystemClock final : public Clock {
  public:
    SystemClock() = default;

    /// Drops what is still waiting.
    ~SystemClock() override;
    SystemClock(const SystemClock&) = delete;
    SystemClock& operator=(const SystemClock&) = delete;

    [[nodiscard]] std::int64_t now() const override;
    [[nodiscard]] std::uint64_t monotonicNs() const override;
    void callAfter(std::uint64_t delayNs, std::function<void()> closure) const override;

  private:
    void run() const;

    mutable Mutex lock_;
    mutable CondVar changed_;
    mutable std::multimap<std::uint64_t, std::function<void()>> waiting_ QDX_GUARDED_BY(lock_);
    mutable bool stopping_ QDX_GUARDED_BY(lock_) = false;
    mutable std::thread thread_ QDX_GUARDED_BY(lock_);
};

} // namespace quarrydex
