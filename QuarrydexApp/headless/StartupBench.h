/// --startup-bench: how long it takes from the start of main() to the first rows.
#pragma once

#include "QuarrydexApp/headless/Session.h"

namespace quarrydex {

/// Prints one line; gives up waiting after a minute.
[[nodiscard]] ExitStatus runStartupBench(const Options& options);

} // namespace quarrydex
