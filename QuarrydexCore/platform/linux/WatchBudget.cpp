#include "QuarrydexCore/platform/linux/WatchBudget.h"

#include <fstream>

namespace quarrydex {

std::size_t WatchBudget::systemLimit() {
    std::size_t most = 8192;
    std::ifstream("/proc/sys/fs/inotify/max_user_watches") >> most;
    return most / 2;
}

bool WatchBudget::take() {
    if (used_.fetch_add(1, std::memory_order_relaxed) < limit_)
        return true;
    give(1);
    return false;
}

} // namespace quarrydex
