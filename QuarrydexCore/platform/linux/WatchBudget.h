/// How many inotify watches this process may still take. They are counted per user and shared with
/// the user's other programs, so half of them is left to those.
///
/// Threads: any.
#pragma once

#include <atomic>
#include <cstddef>

namespace quarrydex {

class WatchBudget {
  public:
    explicit WatchBudget(std::size_t limit) : limit_(limit) {}

    /// Half of what the user may have.
    [[nodiscard]] static std::size_t systemLimit();

    [[nodiscard]] std::size_t limit() const { return limit_; }

    /// Takes one; false when there is none left.
    [[nodiscard]] bool take();

    void give(std::size_t n) { used_.fetch_sub(n, std::memory_order_relaxed); }

  private:
    const std::size_t limit_;
    std::atomic<std::size_t> used_{0};
};

} // namespace quarrydex
