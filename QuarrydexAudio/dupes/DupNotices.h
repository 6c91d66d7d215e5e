/// What is said of a duplicate run besides its groups, in the language in effect.
/// Threads: any; no state. Fails: never.
#pragma once

#include "QuarrydexAudio/dupes/Candidates.h"
#include "QuarrydexAudio/dupes/StageRun.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quarrydex {

/// A sentence for each reason for which files did not take part.
[[nodiscard]] std::vector<std::string> notices(const LeftOut& leftOut);

/// That a drive does not take part. `drive`: its display name.
[[nodiscard]] std::string notConnectedNotice(std::string_view drive);

/// That so many files are not in a playlist (DupExport::unlistable); empty for none.
[[nodiscard]] std::string notListedNotice(std::size_t count);

} // namespace quarrydex
