/// Why a path is in a catalogue and found there, or what keeps it out.
/// Threads: any, after the scan. Asks the file system about the path.
#pragma once

#include "QuarrydexCore/base/EntryId.h"
#include "QuarrydexCore/platform/DirReader.h"

#include <string>
#include <vector>

namespace quarrydex {

struct VolumeState;

struct Explanation {
    bool isFound = false;           ///< by a plain search: neither hidden nor junk
    std::vector<std::string> lines; ///< the verdict, then what there is to say about it
};

/// `path` lies in the volume's tree, spelled as its catalogue spells it.
[[nodiscard]] Explanation
explain(const std::string& path, const VolumeState& volume, const DirReader& reader);

} // namespace quarrydex
