#include "QuarrydexCore/platform/linux/EventIds.h"

#include <algorithm>
#include <chrono>

namespace quarrydex {

std::uint64_t EventIds::next() {
    using namespace std::chrono;
    const auto since1970 = duration_cast<nanoseconds>(system_clock::now().time_since_epoch());
    const auto clock = static_cast<std::uint64_t>(std::max<std::int64_t>(since1970.count(), 1));
    std::uint64_t last = last_.load(std::memory_order_relaxed);
    std::uint64_t id = 0;
    do {
        id = std::max(clock, last + 1);
    } while (!last_.compare_exchange_weak(last, id, std::memory_order_relaxed));
    return id;
}

void EventIds::raiseTo(std::uint64_t id) {
    std::uint64_t last = last_.load(std::memory_order_relaxed);
    while (last < id && !last_.compare_exchange_weak(last, id, std::memory_order_relaxed)) {
    }
}

} // namespace quarrydex
