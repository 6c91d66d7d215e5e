#include "QuarrydexCore/platform/linux/SystemClock.h"

#include <chrono>
#include <utility>

namespace quarrydex {

using namespace std::chrono;

SystemClock::~SystemClock() {
    std::thread thread;
    {
        MutexLock held(lock_);
        stopping_ = true;
        thread = std::move(thread_);
    }
    changed_.notifyAll();
    if (thread.joinable())
        thread.join();
}

std::int64_t SystemClock::now() const {
    return floor<seconds>(system_clock::now().time_since_epoch()).count();
}

std::uint64_t SystemClock::monotonicNs() const {
    const auto time = steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(duration_cast<nanoseconds>(time).count());
}

void SystemClock::callAfter(std::uint64_t delayNs, std::function<void()> closure) const {
    const std::uint64_t moment = monotonicNs() + delayNs;
    {
        MutexLock held(lock_);
        waiting_.emplace(moment, std::move(closure));
        if (!thread_.joinable())
            thread_ = std::thread([this] { run(); });
    }
    changed_.notifyOne();
}

void SystemClock::run() const {
    for (;;) {
        std::function<void()> due;
        {
            MutexLock held(lock_);
            for (;;) {
                if (stopping_)
                    return;
                if (waiting_.empty()) {
                    changed_.wait(lock_);
                    continue;
                }
                const std::uint64_t moment = waiting_.begin()->first;
                if (moment <= monotonicNs())
                    break;
                changed_.waitUntil(lock_, steady_clock::time_point(nanoseconds(moment)));
            }
            due = std::move(waiting_.begin()->second);
            waiting_.erase(waiting_.begin());
        }
        due();
    }
}

} // namespace quarrydex
