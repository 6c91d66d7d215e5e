/// The clocks of the machine. Any thread; no state.
#pragma once

#include "QuarrydexCore/platform/Clock.h"

namespace quarrydex {

class SystemClock final : public Clock {
  public:
    [[nodiscard]] std::int64_t now() const override;
    [[nodiscard]] std::uint64_t monotonicNs() const override;
};

} // namespace quarrydex
