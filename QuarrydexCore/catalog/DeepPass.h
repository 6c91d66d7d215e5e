/// Reads every folder of a catalogue again, a slice at a time, the most recently changed ones
/// first. It finds what comparing folder times cannot: files that were written in place.
///
/// Threads: one, the one that refreshes the catalogue. Folders that come into being after the
/// construction are not part of it.
#pragma once

#include "QuarrydexCore/catalog/VolumeIndex.h"

#include <cstddef>
#include <vector>

namespace quarrydex {

class DeepPass {
  public:
    /// Folders a slice. Finding a slice's children is one pass over the catalogue, so slices must
    /// not be small; nor large, since changes that are reported meanwhile wait for its end.
    static constexpr std::size_t slice = 256;

    explicit DeepPass(VolumeIndex& index);

    [[nodiscard]] std::size_t total() const { return folders_.size(); }

    [[nodiscard]] std::size_t done() const { return next_; }

    [[nodiscard]] bool isDone() const { return next_ == folders_.size(); }

    /// Reads the next folders.
    RefreshStats step(RefreshOptions options);

  private:
    VolumeIndex& index_;
    std::vector<EntryId> folders_;
    std::size_t next_ = 0;
};

} // namespace quarrydex
