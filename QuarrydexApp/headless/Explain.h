/// --explain: says why a path is found by a plain search, or why it is not.
#pragma once

#include "QuarrydexApp/headless/Session.h"

namespace quarrydex {

/// Success when a plain search finds the path.
[[nodiscard]] ExitStatus runExplain(const Options& options);

} // namespace quarrydex
