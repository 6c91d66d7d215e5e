/// The program without a window: every mode that the command line can ask for.
#pragma once

#include "QuarrydexApp/headless/CommandLine.h"

namespace quarrydex {

/// Runs the chosen mode and returns the process's exit status. `argc` and `argv` are main's.
[[nodiscard]] int runHeadless(const Options& options, int argc, char** argv);

} // namespace quarrydex
