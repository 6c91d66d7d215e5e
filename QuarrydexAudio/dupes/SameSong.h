/// Files with the same song key, parted by their lengths.
///
/// A cluster holds no two files whose durations differ by more than the tolerance: from the
/// shortest file up, each cluster takes everything within the tolerance of its own shortest. Files
/// of unknown length make a cluster of their own, since nothing tells them from each other.
///
/// Threads: any; no state. Cost: one sort. Fails: never.
#pragma once

#include "QuarrydexAudio/dupes/DupTypes.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace quarrydex {

/// A file that takes part.
struct SongFile {
    Digest128 key;              ///< of its song key; a million keys themselves would weigh more
    std::uint32_t durationMs{}; ///< 0: not known
    std::uint32_t cand{};       ///< the caller's number of the file

    auto operator<=>(const SongFile&) const = default; ///< the order of clustering
};

/// What stands for a song key: equal for equal keys, and for no others.
[[nodiscard]] Digest128 songDigest(std::string_view key);

/// Takes out the files that share their key with no other.
void dropLoneKeys(std::vector<SongFile>& files);

/// The clusters of two or more, each with the numbers of its files in ascending order, in the order
/// of their first number.
[[nodiscard]] std::vector<std::vector<std::uint32_t>> clusterSongs(std::vector<SongFile> files,
                                                                   std::uint32_t toleranceMs);

} // namespace quarrydex
