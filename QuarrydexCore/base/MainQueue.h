/// The way from a background thread to the main thread.
#pragma once

#include <functional>

namespace quarrydex {

class MainQueue {
  public:
    virtual ~MainQueue() = default;

    /// Runs the closure on the main thread, after those posted before it. Any thread.
    virtual void post(std::function<void()> closure) = 0;
};

} // namespace quarrydex
