/// The program without a window and without a task: keeps catalogues current until it is told to
/// end.
#pragma once

#include "QuarrydexApp/headless/Session.h"

namespace quarrydex {

/// Until SIGTERM, SIGINT or SIGHUP; saves everything then.
[[nodiscard]] ExitStatus runWatch(const Options& options);

} // namespace quarrydex
