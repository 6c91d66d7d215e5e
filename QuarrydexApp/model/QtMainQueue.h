/// MainQueue over Qt's event loop: closures run on the thread that made the queue.
///
/// The closures wait in a queue of this object's own; an event of Qt's only says that there is one
/// more. So what a closure carries passes between threads under a lock that tools can see.
///
/// Threads: post from any, while the queue lives. Ownership: closures that have not run when the
/// queue is destroyed are dropped. Whoever owns threads that post must end them first.
#pragma once

#include "QuarrydexCore/base/MainQueue.h"
#include "QuarrydexCore/base/Mutex.h"

#include <QObject>

#include <deque>

namespace quarrydex {

class QtMainQueue : public MainQueue {
  public:
    QtMainQueue() : receiver_(*this) {}

    void post(std::function<void()> closure) override QDX_EXCLUDES(lock_);

  private:
    /// Lives on the main thread; gets one event for each closure.
    class Receiver : public QObject {
      public:
        explicit Receiver(QtMainQueue& queue) : queue_(queue) {}

      protected:
        void customEvent(QEvent*) override { queue_.runNext(); }

      private:
        QtMainQueue& queue_;
    };

    void runNext() QDX_EXCLUDES(lock_);

    Mutex lock_;
    std::deque<std::function<void()>> closures_ QDX_GUARDED_BY(lock_);
    Receiver receiver_;
};

} // namespace quarrydex
