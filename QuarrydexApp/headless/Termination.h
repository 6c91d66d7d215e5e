/// The wish to end, as it reaches a program without a window: SIGTERM, SIGINT and SIGHUP.
///
/// A signal handler may do next to nothing, so it only writes a byte to a pipe; the event loop
/// reads that and calls back on the main thread. A second signal of a kind ends the process at
/// once, for a user who will not wait.
///
/// Threads: the main thread, with an event loop. One object at a time; what the signals did before
/// is restored at its end.
#pragma once

#include <functional>
#include <memory>

namespace quarrydex {

class Termination {
  public:
    explicit Termination(std::function<void()> onRequest);
    ~Termination();
    Termination(const Termination&) = delete;
    Termination& operator=(const Termination&) = delete;

  private:
    class Listener;
    std::unique_ptr<Listener> listener_;
};

} // namespace quarrydex
