/// MainQueue over Qt's event loop: closures run on the thread that made the queue.
///
/// Threads: post from any, while the queue lives. Ownership: closures that have not run when the
/// queue is destroyed are dropped. Whoever owns threads that post must end them first.
#pragma once

#include "QuarrydexCore/base/MainQueue.h"

#include <QObject>

namespace quarrydex {

class QtMainQueue : public MainQueue {
  public:
    void post(std::function<void()> closure) override;

  private:
    QObject receiver_; ///< lives on the main thread; the events of posted closures go to it
};

} // namespace quarrydex
