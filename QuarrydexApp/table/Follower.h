/// Follows rows from one long result to the next in the background (FollowRows.h), and gives back
/// the memory of long results there: both take tens of milliseconds that no frame has.
///
/// Volumes belong to the main thread, so whatever holds them is let go there.
///
/// Threads: the main thread, whose event loop must run. Ownership: owns its thread; the destructor
/// waits for what it is doing. Fails: never.
#pragma once

#include "QuarrydexApp/model/QtMainQueue.h"
#include "QuarrydexApp/table/FollowRows.h"
#include "QuarrydexApp/table/ShownResults.h"
#include "QuarrydexCore/base/SerialQueue.h"

#include <functional>
#include <list>
#include <memory>

namespace quarrydex {

class Follower {
  public:
    struct Step {
        ShownResults from;
        ShownResults to;
        Places before;
        Places after{};
    };

    using Done = std::function<void(Step&)>;

    /// Calls `done` when `after` is known, unless it is cancelled.
    void start(Step step, Done done);

    /// What was started last is not wanted any more.
    void cancel() { wanted_ = nullptr; }

    [[nodiscard]] bool isBusy() const { return wanted_ != nullptr; }

    /// Lets go of a result that was shown.
    void dispose(const ShownResults& results);

  private:
    std::list<Step> steps_;                                     ///< that the thread may look at
    std::list<std::vector<std::shared_ptr<VolumeState>>> held_; ///< until their rows are gone
    const Step* wanted_ = nullptr;
    QtMainQueue mainQueue_;
    SerialQueue queue_; ///< last: ends before what its tasks use
};

} // namespace quarrydex
