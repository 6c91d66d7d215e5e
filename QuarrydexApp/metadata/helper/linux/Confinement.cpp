#include "QuarrydexApp/metadata/helper/Confinement.h"

#include <csignal>

#include <sys/prctl.h>
#include <sys/resource.h>
#include <time.h>

namespace quarrydex {

namespace {

void limit(__rlimit_resource what, rlim_t most) {
    const rlimit value{most, most};
    static_cast<void>(::setrlimit(what, &value));
}

} // namespace

void confine() {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    limit(RLIMIT_CORE, 0);
    limit(RLIMIT_NOFILE, 64);
    // Writing to a file fails instead of killing: libraries keep caches where they can.
    std::signal(SIGXFSZ, SIG_IGN);
    limit(RLIMIT_FSIZE, 0);
#ifdef QDX_LIMIT_MEMORY
    limit(RLIMIT_AS, rlim_t{1} << 30);
#endif
    // Not the idle class: under a scan that keeps every processor busy no answer would come in
    // time.
    constexpr int politeness = 10;
    static_cast<void>(::setpriority(PRIO_PROCESS, 0, politeness));
}

void allowProcessorTime(unsigned seconds) {
    timespec used{};
    rlimit value{};
    if (::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used) != 0 ||
        ::getrlimit(RLIMIT_CPU, &value) != 0)
        return;
    value.rlim_cur = static_cast<rlim_t>(used.tv_sec) + 1 + seconds;
    static_cast<void>(::setrlimit(RLIMIT_CPU, &value));
}

} // namespace quarrydex
