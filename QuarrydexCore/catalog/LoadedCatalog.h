/// A catalogue with what its snapshot file said about it: the result of VolumeIndex::load.
#pragma once

#include "QuarrydexCore/catalog/SnapshotInfo.h"
#include "QuarrydexCore/catalog/VolumeIndex.h"

#include <memory>

namespace quarrydex {

struct LoadedCatalog {
    std::unique_ptr<VolumeIndex> index; ///< not null
    SnapshotInfo info;
};

} // namespace quarrydex
