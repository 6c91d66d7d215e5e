/// Questions to something that may never answer.
///
/// The question runs on a thread of its own, which is left behind when the time is up: it ends when
/// the system lets it go. So a question captures by value and touches nothing that may be gone.
///
/// Threads: any. Failure: no answer. When too many questions are still open, a further one is not
/// asked and has none either.
#pragma once

#include "QuarrydexCore/base/Mutex.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace quarrydex {

/// Runs the task on a thread that nobody waits for. False when it was not begun.
[[nodiscard]] bool runLoose(std::function<void()> task);

template <typename T> class TimedAnswer {
  public:
    static std::optional<T> ask(std::function<T()> question, std::chrono::milliseconds limit) {
        const auto until = std::chrono::steady_clock::now() + limit;
        const auto slot = std::make_shared<TimedAnswer>();
        if (!runLoose([slot, question = std::move(question)] { slot->put(question()); }))
            return std::nullopt;
        return slot->take(until);
    }

  private:
    void put(T value) {
        const MutexLock held(lock_);
        value_ = std::move(value);
        given_.notifyAll();
    }

    std::optional<T> take(std::chrono::steady_clock::time_point until) {
        const MutexLock held(lock_);
        while (!value_ && std::chrono::steady_clock::now() < until)
            given_.waitUntil(lock_, until);
        return std::exchange(value_, std::nullopt);
    }

    Mutex lock_;
    CondVar given_;
    std::optional<T> value_ QDX_GUARDED_BY(lock_);
};

/// The answer, or nothing when it took longer than `limit`.
template <typename Question> auto askWithin(std::chrono::milliseconds limit, Question question) {
    return TimedAnswer<decltype(question())>::ask(std::move(question), limit);
}

} // namespace quarrydex
