/// Diagnostics for whoever asks for them: lines on standard error, only while the environment
/// variable QUARRYDEX_VERBOSE is set. Any thread; one call is one write.
#pragma once

#include <string_view>

namespace quarrydex {

/// True when QUARRYDEX_VERBOSE is set; read once, at the first call.
[[nodiscard]] bool isVerbose();

/// Writes the line and a newline to standard error when isVerbose().
void logLine(std::string_view line);

} // namespace quarrydex
