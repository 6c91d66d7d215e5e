/// --list: prints the hits of one query.
#pragma once

#include "QuarrydexApp/headless/Session.h"

namespace quarrydex {

[[nodiscard]] ExitStatus runList(const Options& options);

} // namespace quarrydex
