/// Keeps the program alive when a file that is mapped becomes shorter, or its disk fails.
///
/// Touching such a page raises SIGBUS. A handler, installed with the first guard, looks whether the
/// address lies in a guarded range: then zeros take the place of the range from that page to its
/// end, the range is marked as hit, and the reader goes on with zeros. Every other SIGBUS takes the
/// way it took before. Readers of mapped files therefore bound every walk, and what looks after
/// them asks wasHit() and discards what it loaded.
///
/// Zeros go to the end of the range rather than on one page, since a file that was cut would fault
/// on page after page, and each would cost a mapping of its own.
///
/// Threads: watch and release by one at a time; wasHit() by any. The handler allocates nothing and
/// takes no lock: it walks a list whose nodes are reused and never freed. Fails: never.
#pragma once

#include <cstddef>
#include <utility>

namespace quarrydex {

/// One guarded range; move-only. The mapping belongs to someone else.
class FaultGuard {
  public:
    FaultGuard() = default;

    FaultGuard(FaultGuard&& other) noexcept : slot_(std::exchange(other.slot_, nullptr)) {}

    FaultGuard& operator=(FaultGuard&& other) noexcept {
        std::swap(slot_, other.slot_);
        return *this;
    }

    ~FaultGuard();

    /// Guards these pages, in place of others before them; what was hit stays hit. To be called
    /// before they are touched. `begin` is the beginning of a page.
    void watch(void* begin, std::size_t bytes);

    /// True once zeros took the place of a part of the range.
    [[nodiscard]] bool wasHit() const;

    struct Slot;

  private:
    Slot* slot_ = nullptr;
};

} // namespace quarrydex
