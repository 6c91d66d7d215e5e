#include "QuarrydexCore/platform/ThreadPriority.h"

#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace quarrydex {

namespace {

// ioprio_set(2), which the C library has no wrapper and no names for.
constexpr int processWhich = 1; ///< IOPRIO_WHO_PROCESS; id 0 is the calling thread
constexpr int bestEffort = 2;   ///< IOPRIO_CLASS_BE: the idle class can be starved for good
constexpr int lowest = 7;
constexpr int classShift = 13;

} // namespace

void yieldToOthers() {
    const sched_param none{};
    static_cast<void>(::sched_setscheduler(0, SCHED_IDLE, &none));
    static_cast<void>(
        ::syscall(SYS_ioprio_set, processWhich, 0, bestEffort << classShift | lowest));
}

} // namespace quarrydex
