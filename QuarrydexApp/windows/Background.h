/// What a window asks the disk, without waiting for it.
///
/// Tasks of all windows run one after the other on one thread of the program. A task returns what
/// is to be done with its answer, which happens on the main thread, unless the object is gone by
/// then; nobody waits for a task whose asker is gone.
///
/// Threads: the main thread; a task captures by value, and nothing that may be gone before the
/// program ends. Fails: never; tasks do not throw.
#pragma once

#include "QuarrydexApp/model/QtMainQueue.h"
#include "QuarrydexCore/base/Mutex.h"

#include <functional>
#include <memory>

namespace quarrydex {

class Background {
  public:
    using Answer = std::function<void()>;

    Background();
    ~Background();
    Background(const Background&) = delete;
    Background& operator=(const Background&) = delete;

    void run(std::function<Answer()> task);

    /// How other threads reach the main one. Whoever uses it must end before this object.
    [[nodiscard]] QtMainQueue& mainQueue() { return main_; }

  private:
    /// What tasks hold instead of this object.
    struct Door {
        Mutex lock;
        QtMainQueue* main QDX_GUARDED_BY(lock) = nullptr;
    };

    QtMainQueue main_;
    const std::shared_ptr<Door> door_ = std::make_shared<Door>();
};

} // namespace quarrydex
