/// A background queue: tasks run one at a time, in the order posted, on a thread of its own.
#pragma once

#include "QuarrydexCore/base/Mutex.h"

#include <deque>
#include <functional>
#include <thread>

namespace quarrydex {

class SerialQueue {
  public:
    SerialQueue();

    /// Drops tasks that have not begun, waits for the running one.
    ~SerialQueue();

    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    /// Appends a task. Any thread. REQUIRES: the task does not throw.
    void post(std::function<void()> task);

    /// Returns when every task posted before the call has run. Not from a task of this queue.
    void drain();

  private:
    void run();

    Mutex lock_;
    CondVar wake_;
    std::deque<std::function<void()>> tasks_ QDX_GUARDED_BY(lock_);
    bool stopping_ QDX_GUARDED_BY(lock_) = false;
    std::thread thread_;
};

} // namespace quarrydex
