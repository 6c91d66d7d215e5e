#include "QuarrydexAudio/dupes/StageRun.h"

#include "QuarrydexCore/base/ParallelFor.h"
#include "QuarrydexCore/text/tr.h"

#include <algorithm>

namespace quarrydex {

std::string DupProgress::title() const {
    std::string text = quarrydex::title(stage);
    return lacksFpcalc ? tr("{stage} — fpcalc not installed", {{"stage", text}}) : text;
}

StageRun::StageRun(const RunContext& context, DupStage stage, std::size_t total)
    : context_(context), now_{.stage = stage, .total = total, .groups = context.groups} {
    tell();
}

void StageRun::forEach(std::size_t n, const std::function<void(std::size_t)>& body) {
    forEachChunk(n, 1, [&](std::size_t i, std::size_t) { body(i); });
}

void StageRun::forEachChunk(std::size_t n,
                            std::size_t chunk,
                            const std::function<void(std::size_t, std::size_t)>& body) {
    constexpr std::size_t timesTold = 200;
    const std::size_t step = std::max<std::size_t>(now_.total / timesTold, 1);
    prepare((n + chunk - 1) / chunk, [&](std::size_t i) {
        const std::size_t begin = i * chunk;
        const std::size_t end = std::min(begin + chunk, n);
        body(begin, end);
        const std::size_t done =
            done_.fetch_add(end - begin, std::memory_order_relaxed) + end - begin;
        if (std::this_thread::get_id() == teller_ && done >= now_.done + step) {
            now_.done = done;
            tell();
        }
    });
}

void StageRun::prepare(std::size_t n, const std::function<void(std::size_t)>& body) const {
    parallelFor(n, context_.threads, [&](std::size_t i) {
        if (!isStopped())
            body(i);
    });
}

void StageRun::finish(std::size_t groups) {
    now_.done = isStopped() ? done_.load(std::memory_order_relaxed) : now_.total;
    now_.groups = groups;
    tell();
}

void StageRun::tell() const {
    if (context_.progress)
        context_.progress(now_);
}

} // namespace quarrydex
