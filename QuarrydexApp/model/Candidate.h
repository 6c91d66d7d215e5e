/// Drives that may be indexed.
///
/// Threads: any; asks drives for their identities, so not the main thread. Failure: a drive that
/// does not answer has the identity of its path.
#pragma once

#include "QuarrydexCore/platform/Platform.h"

#include <string>
#include <vector>

namespace quarrydex {

/// A mounted drive offered for indexing.
struct Candidate {
    std::string identity;
    std::string name;
    std::string root;
    bool isInternal{};

    bool operator==(const Candidate&) const = default;
};

/// `candidates`: the system's own drives, "/" first, then those of `externalVolumes`.
[[nodiscard]] std::vector<Candidate> findCandidates(const Platform& platform, bool withDiskImages);

} // namespace quarrydex
