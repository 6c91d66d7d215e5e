#include "QuarrydexApp/table/Follower.h"

#include <utility>

namespace quarrydex {

namespace {

/// Fewer rows are given back in no time.
constexpr std::size_t manyRows = 100'000;

} // namespace

void Follower::start(Step step, Done done) {
    const auto running = steps_.insert(steps_.end(), std::move(step));
    wanted_ = &*running;
    queue_.post([this, running, done = std::move(done)] {
        running->after = follow(RowsOf(running->from), RowsOf(running->to), running->before);
        mainQueue_.post([this, running, done] {
            Step finished = std::move(*running);
            const bool isWanted = wanted_ == &*running;
            steps_.erase(running);
            if (!isWanted)
                return;
            wanted_ = nullptr;
            done(finished);
        });
    });
}

void Follower::dispose(const ShownResults& results) {
    if (results.rows().size() < manyRows)
        return;
    const auto held = held_.insert(held_.end(), results.set()->vols);
    queue_.post([this, held, set = results.set()]() mutable {
        set.reset();
        mainQueue_.post([this, held] { held_.erase(held); });
    });
}

} // namespace quarrydex
