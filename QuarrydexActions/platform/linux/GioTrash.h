/// The Trash as the desktop's library keeps it: beside the user's data for what lies on the same
/// file system, else in a folder of the user's own at the top of the volume.
#pragma once

#include "QuarrydexActions/platform/Trash.h"

namespace quarrydex {

class GioTrash final : public Trash {
  public:
    [[nodiscard]] TrashResult take(const Item& item) const override;
};

} // namespace quarrydex
