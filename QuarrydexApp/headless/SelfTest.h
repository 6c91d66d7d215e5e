/// --selftest: scans the folders and times the given queries under every order.
///
/// Its lines are read by scripts: they are not translated.
#pragma once

#include "QuarrydexApp/headless/Session.h"

namespace quarrydex {

[[nodiscard]] ExitStatus runSelfTest(const Options& options);

} // namespace quarrydex
