/// The program's name and version, in the one place that the build fills in.
#pragma once

namespace quarrydex {

inline constexpr const char* appName = "Quarrydex";
inline constexpr const char* appVersion = QDX_VERSION;

} // namespace quarrydex
