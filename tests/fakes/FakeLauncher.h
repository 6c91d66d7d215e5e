/// Programs as a test describes them: what each run prints, by the last argument of its command.
///
/// Threads: filled first; then runs on any number of threads.
#pragma once

#include "QuarrydexAudio/platform/ProcessLauncher.h"
#include "QuarrydexCore/base/Mutex.h"

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace quarrydex {

class FakeLauncher final : public ProcessLauncher {
  public:
    std::map<std::string, ProcessOutcome> outcomes;  ///< others are not started
    std::function<void(const Command&)> beforeRun{}; ///< called outside the lock

    void prints(const std::string& lastArgument, std::string text, int status = 0) {
        outcomes[lastArgument] = {Ending::exited, status, std::move(text)};
    }

    [[nodiscard]] ProcessOutcome run(const Command& command, std::stop_token stop) const override {
        if (beforeRun)
            beforeRun(command);
        {
            const MutexLock held(lock_);
            commands_.push_back(command);
        }
        if (stop.stop_requested())
            return {Ending::stopped, -1, {}};
        const auto found = outcomes.find(command.arguments.back());
        return found == outcomes.end() ? ProcessOutcome{} : found->second;
    }

    /// What was run so far.
    [[nodiscard]] std::vector<Command> commands() const {
        const MutexLock held(lock_);
        return commands_;
    }

  private:
    mutable Mutex lock_;
    mutable std::vector<Command> commands_ QDX_GUARDED_BY(lock_);
};

} // namespace quarrydex
