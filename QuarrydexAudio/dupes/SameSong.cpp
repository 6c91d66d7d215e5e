#include "QuarrydexAudio/dupes/SameSong.h"

#include "QuarrydexAudio/dupes/Hasher.h"

#include <algorithm>
#include <cstddef>

namespace quarrydex {

Digest128 songDigest(std::string_view key) {
    Hasher hasher;
    hasher.update(key.data(), key.size());
    return hasher.digest();
}

void dropLoneKeys(std::vector<SongFile>& files) {
    std::sort(files.begin(), files.end());
    std::size_t kept = 0;
    for (std::size_t i = 0; i < files.size(); ++i) {
        const bool isShared = (i > 0 && files[i].key == files[i - 1].key) ||
                              (i + 1 < files.size() && files[i].key == files[i + 1].key);
        // The one before is still needed for comparing, so it is not written over: kept ≤ i.
        if (isShared)
            files[kept++] = files[i];
    }
    files.resize(kept);
}

std::vector<std::vector<std::uint32_t>> clusterSongs(std::vector<SongFile> files,
                                                     std::uint32_t toleranceMs) {
    std::sort(files.begin(), files.end());
    std::vector<std::vector<std::uint32_t>> clusters;
    for (std::size_t begin = 0; begin < files.size();) {
        const SongFile& first = files[begin];
        std::size_t end = begin;
        while (end < files.size() && files[end].key == first.key &&
               (first.durationMs == 0) == (files[end].durationMs == 0) &&
               files[end].durationMs - first.durationMs <= toleranceMs)
            ++end;
        if (end - begin >= 2) {
            std::vector<std::uint32_t>& cluster = clusters.emplace_back();
            for (std::size_t i = begin; i < end; ++i)
                cluster.push_back(files[i].cand);
            std::sort(cluster.begin(), cluster.end());
        }
        begin = end;
    }
    std::sort(clusters.begin(), clusters.end());
    return clusters;
}

} // namespace quarrydex
