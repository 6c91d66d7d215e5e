/// --duplicates: finds duplicate music below the roots and prints a list of it.
#pragma once

#include "QuarrydexApp/headless/Session.h"

namespace quarrydex {

/// Success when there are duplicates. Interrupted, it prints the groups found so far and says so.
[[nodiscard]] ExitStatus runDuplicates(const Options& options);

} // namespace quarrydex
