/// What the program is called on the session bus. The desktop's files (.desktop, .service, search
/// provider, runner) name the same.
#pragma once

namespace quarrydex::busNames {

inline constexpr char service[] = "io.github.quarrydex.Quarrydex";
inline constexpr char path[] = "/io/github/quarrydex/Quarrydex";
inline constexpr char searchProviderPath[] = "/io/github/quarrydex/Quarrydex/SearchProvider";
inline constexpr char runnerPath[] = "/io/github/quarrydex/Quarrydex/Runner";

} // namespace quarrydex::busNames
