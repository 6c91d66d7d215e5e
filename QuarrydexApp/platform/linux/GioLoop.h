/// Brings the answers of GIO's asynchronous calls to the main thread, whichever event loop Qt runs
/// on: the calls belong to a context of their own, which is looked at while any of them is under
/// way.
///
/// Threads: the main thread, with an event loop. Failure: none of its own; an answer that a dead
/// drive withholds costs a look now and then.
#pragma once

#include "QuarrydexApp/platform/linux/Glib.h"

#include <QTimer>

#include <cstddef>
#include <functional>

namespace quarrydex {

class GioLoop {
  public:
    GioLoop();
    GioLoop(const GioLoop&) = delete;
    GioLoop& operator=(const GioLoop&) = delete;

    /// Runs the function, which starts one asynchronous call. The callback of that call says
    /// finished() first; it does not run any more once this object is gone.
    void start(const std::function<void()>& call);

    void finished();

  private:
    void look();

    GlibPtr<GMainContext> context_;
    std::size_t underWay_ = 0; ///< calls started and not finished
    QTimer timer_;
};

} // namespace quarrydex
