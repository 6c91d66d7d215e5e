/// A program that runs until it is stopped: how a test holds a run at one place.
/// Threads: any number of runs at once.
#pragma once

#include "QuarrydexAudio/platform/ProcessLauncher.h"

#include <atomic>
#include <stop_token>

namespace quarrydex::testing {

class BlockingLauncher final : public ProcessLauncher {
  public:
    [[nodiscard]] ProcessOutcome run(const Command&, std::stop_token stop) const override {
        isRunning_ = true;
        std::atomic<bool> isStopped = false;
        const std::stop_callback whenStopped(stop, [&] {
            isStopped = true;
            isStopped.notify_all();
        });
        isStopped.wait(false);
        return {Ending::stopped, -1, {}};
    }

    [[nodiscard]] bool isRunning() const { return isRunning_; }

  private:
    mutable std::atomic<bool> isRunning_ = false;
};

} // namespace quarrydex::testing
