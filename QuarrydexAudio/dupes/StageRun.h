/// The loop inside a stage: many items on several threads, progress told, stopped between items.
///
/// Threads: made and used on the thread of the run, which works too and is the only one that calls
/// the progress function; bodies run on any. Fails: never.
#pragma once

#include "QuarrydexAudio/dupes/DupTypes.h"

#include <atomic>
#include <cstddef>
#include <functional>
#include <stop_token>
#include <thread>

namespace quarrydex {

/// How far a run is.
struct DupProgress {
    DupStage stage = DupStage::size;
    std::size_t done{};   ///< items of the stage
    std::size_t total{};  ///< items of the stage
    std::size_t groups{}; ///< found so far
    bool lacksFpcalc{};   ///< the stage is left out because there is no fpcalc

    /// The stage's title for the progress line, with what keeps it from running.
    [[nodiscard]] std::string title() const;
};

/// What all stages of a run share. The referred-to outlive the run.
struct RunContext {
    const std::function<void(const DupProgress&)>& progress; ///< may be empty
    std::stop_token stop;
    unsigned threads = 1;
    std::size_t groups = 0; ///< found so far
};

class StageRun {
  public:
    /// Tells of a stage that begins with `total` items before it.
    StageRun(const RunContext& context, DupStage stage, std::size_t total);

    /// body(i) for each i below n, unless stopped before. Each call counts as one item done, and
    /// some hundred times a stage the progress is told.
    /// REQUIRES: body does not throw.
    void forEach(std::size_t n, const std::function<void(std::size_t)>& body);

    /// The same for many cheap items: body(begin, end) for each chunk of them.
    void forEachChunk(std::size_t n,
                      std::size_t chunk,
                      const std::function<void(std::size_t, std::size_t)>& body);

    /// body(i) for each i below n, unless stopped before, without counting.
    void prepare(std::size_t n, const std::function<void(std::size_t)>& body) const;

    [[nodiscard]] bool isStopped() const { return context_.stop.stop_requested(); }

    [[nodiscard]] const std::stop_token& stop() const { return context_.stop; }

    /// Tells that the stage is over. What is not counted by now is counted as done, unless stopped.
    void finish(std::size_t groups);

  private:
    void tell() const;

    const RunContext& context_;
    DupProgress now_;
    std::atomic<std::size_t> done_{0};
    const std::thread::id teller_ = std::this_thread::get_id();
};

} // namespace quarrydex
