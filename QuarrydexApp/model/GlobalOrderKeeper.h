/// Keeps a GlobalOrder for the model's volumes: loads the saved one, builds another when volumes or
/// names have become too different, and saves that.
///
/// Threads: the main thread; loading and building run on the queue that is passed in, which must
/// end before this. Ownership: results hold the order they were made with.
/// Failure: without an order results are merged volume by volume; one that cannot be saved is built
/// again at the next start.
#pragma once

#include "QuarrydexApp/model/GlobalOrder.h"
#include "QuarrydexApp/model/VolumeState.h"
#include "QuarrydexCore/base/MainQueue.h"
#include "QuarrydexCore/base/SerialQueue.h"
#include "QuarrydexCore/platform/AppFolders.h"

#include <memory>
#include <span>

namespace quarrydex {

class GlobalOrderKeeper {
  public:
    using Volumes = std::span<const std::shared_ptr<VolumeState>>;

    struct Options {
        bool builds = true; ///< off where one search is all there will be
        bool persists = false;
    };

    /// The folders and the main thread's queue outlive this.
    GlobalOrderKeeper(Options options, const AppFolders& folders, MainQueue& main)
        : options_(options), folders_(folders), main_(main) {}

    /// The newest; null while there is none.
    [[nodiscard]] const std::shared_ptr<const GlobalOrder>& order() const { return order_; }

    /// Has an order made on `queue` if these volumes lack one that serves and none is being made.
    /// To be called now and then; true once for each new order. REQUIRES: no volume is scanned.
    bool maintain(Volumes volumes, SerialQueue& queue);

  private:
    void make(Volumes volumes, SerialQueue& queue);

    const Options options_;
    const AppFolders& folders_;
    MainQueue& main_;
    std::shared_ptr<const GlobalOrder> order_;
    bool isBeingMade_ = false;
    bool isNew_ = false; ///< since the last maintain()
};

} // namespace quarrydex
