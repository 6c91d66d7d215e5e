#include "QuarrydexCore/platform/linux/SystemClock.h"

#include <chrono>

namespace quarrydex {

using namespace std::chrono;

std::int64_t SystemClock::now() const {
    return floor<seconds>(system_clock::now().time_since_epoch()).count();
}

std::uint64_t SystemClock::monotonicNs() const {
    const auto time = steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(duration_cast<nanoseconds>(time).count());
}

} // namespace quarrydex
