/// The mount table of the kernel, /proc/self/mountinfo, and its notices of change.
///
/// Each observation has a thread that sleeps until the kernel reports a change (well under a
/// millisecond after it) and then compares two readings.
#pragma once

#include "QuarrydexCore/platform/MountTable.h"

#include <memory>
#include <vector>

namespace quarrydex {

class LinuxMountTable final : public MountTable {
  public:
    [[nodiscard]] std::vector<Mount> mounts() const override;
    [[nodiscard]] std::unique_ptr<Subscription> observe(Observer observer) override;
};

} // namespace quarrydex
