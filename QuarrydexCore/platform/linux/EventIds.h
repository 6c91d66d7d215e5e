/// Gives out event ids: the clock in nanoseconds, moved up so that no id comes twice or falls.
/// Threads: any.
#pragma once

#include <atomic>
#include <cstdint>

namespace quarrydex {

class EventIds {
  public:
    /// A new id, above all before it.
    [[nodiscard]] std::uint64_t next();

    /// Ids from here on are above this one, such as one stored before the clock was set back.
    void raiseTo(std::uint64_t id);

  private:
    std::atomic<std::uint64_t> last_{0};
};

} // namespace quarrydex
