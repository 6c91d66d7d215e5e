#include "QuarrydexCore/platform/linux/TimedAnswer.h"

#include "QuarrydexCore/base/Log.h"

#include <atomic>
#include <system_error>
#include <thread>

namespace quarrydex {

bool runLoose(std::function<void()> task) {
    constexpr int maxOpen = 16;
    static std::atomic<int> open{0};
    if (open.fetch_add(1) >= maxOpen) {
        open.fetch_sub(1);
        logLine("volumes: too many questions without an answer");
        return false;
    }
    try {
        std::thread([task = std::move(task)]() mutable {
            task();
            task = nullptr; // before others may begin
            open.fetch_sub(1);
        }).detach();
    } catch (const std::system_error&) {
        open.fetch_sub(1);
        return false;
    }
    return true;
}

} // namespace quarrydex
