#include "QuarrydexApp/platform/linux/GioLoop.h"

#include <algorithm>

namespace quarrydex {

namespace {

constexpr int soonMs = 1;
constexpr int atLeastEveryMs = 128;

/// Makes the context the one that asynchronous calls of this thread report to.
class Scope {
  public:
    explicit Scope(GMainContext* context) : context_(context) {
        g_main_context_push_thread_default(context_);
    }

    ~Scope() { g_main_context_pop_thread_default(context_); }

    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

  private:
    GMainContext* context_;
};

} // namespace

GioLoop::GioLoop() : context_(g_main_context_new()) {
    timer_.setSingleShot(true);
    timer_.callOnTimeout(&timer_, [this] { look(); });
}

void GioLoop::start(const std::function<void()>& call) {
    const Scope scope(context_.get());
    ++underWay_;
    call();
    timer_.start(soonMs);
}

void GioLoop::finished() {
    --underWay_;
    timer_.setInterval(soonMs);
}

void GioLoop::look() {
    // An answer that is long in coming is looked for less and less often.
    const int next = std::min(timer_.interval() * 2, atLeastEveryMs);
    timer_.setInterval(next);
    {
        const Scope scope(context_.get());
        while (g_main_context_iteration(context_.get(), FALSE) != FALSE) {
        }
    }
    if (underWay_ != 0)
        timer_.start();
}

} // namespace quarrydex
