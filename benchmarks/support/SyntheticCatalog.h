/// A large made-up catalogue for measuring: names recombined from the file names of this machine,
/// in a tree of realistic shape. The same seed on the same machine gives the same catalogue.
///
///   names    about 19 bytes in the mean; 5 % hold non-ASCII letters, 3 % are hidden, 1 % junk
///   folders  every tenth entry, to a depth of 12; few hold most of the files
///   sizes    spread over the powers of two, many equal; times over ten years, many equal
///   deleted  0.5 % of the files
#pragma once

#include "QuarrydexCore/catalog/VolumeIndex.h"

#include <cstddef>
#include <memory>

namespace quarrydex::bench {

/// A catalogue of `entries` entries (its root "/synthetic" included), made at the first call for
/// that number and kept for the life of the process. REQUIRES: 1,000 ≤ entries. Main thread.
[[nodiscard]] std::shared_ptr<VolumeIndex> syntheticCatalog(std::size_t entries);

} // namespace quarrydex::bench
