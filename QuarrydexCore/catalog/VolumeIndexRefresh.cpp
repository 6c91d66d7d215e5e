#include "QuarrydexCore/catalog/FolderSweep.h"
#include "QuarrydexCore/catalog/RefreshPass.h"
#include "QuarrydexCore/catalog/VolumeIndex.h"

#include <utility>

namespace quarrydex {

RefreshStats VolumeIndex::refresh(std::span<const std::string> dirs, RefreshOptions options) {
    RefreshPass pass(*this, *base_, std::move(options));
    pass.request(dirs);
    while (pass.hasWork()) {
        const MutexLock whole(roundLock_);
        if (pass.runRound())
            noteChange();
    }
    return pass.stats();
}

RefreshStats VolumeIndex::reconcileByFolderMtime(ReconcileOptions options) {
    std::vector<std::string> dirs;
    std::vector<std::string> subtrees;
    bool isWhole = true;
    const auto note = [&](const std::string& folder, bool isReplaced) {
        (isReplaced ? subtrees : dirs).push_back(folder);
    };
    const auto mayGoOn = [&] { return isWhole = !options.mayGoOn || options.mayGoOn(); };
    FolderSweep(*this, {.reference = options.reference, .threads = options.threads})
        .run({.enter = {}, .differs = note, .mayGoOn = mayGoOn});
    if (!isWhole)
        return {.rootMissing = true};
    return refresh(dirs, {.recursive = false,
                          .threads = options.threads,
                          .subtrees = subtrees,
                          .mayGoOn = std::move(options.mayGoOn)});
}

} // namespace quarrydex
