/// The text of /proc/self/mountinfo as rows of the mount table.
/// Threads: any; no state. Fails: never; lines that are none are left out.
#pragma once

#include "QuarrydexCore/platform/MountTable.h"

#include <string_view>
#include <vector>

namespace quarrydex {

/// All but Mount::serial, which does not stand there.
[[nodiscard]] std::vector<Mount> parseMountInfo(std::string_view text);

} // namespace quarrydex
