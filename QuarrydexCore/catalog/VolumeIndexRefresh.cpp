#include "QuarrydexCore/catalog/RefreshPass.h"
#include "QuarrydexCore/catalog/VolumeIndex.h"

namespace quarrydex {

RefreshStats VolumeIndex::refresh(std::span<const std::string> dirs, RefreshOptions options) {
    RefreshPass pass(*this, *base_, options);
    pass.request(dirs);
    while (pass.hasWork())
        if (pass.runRound())
            noteChange();
    return pass.stats();
}

} // namespace quarrydex
