#include "QuarrydexCore/catalog/DeepPass.h"

#include <algorithm>
#include <utility>

namespace quarrydex {

DeepPass::DeepPass(VolumeIndex& index) : index_(index) {
    for (EntryId id : index.folderIds(index.count()).ids)
        if ((index.flags(id) & EntryFlags::deleted) == 0)
            folders_.push_back(id);
    // The times may change while they are sorted by: each is read once.
    std::vector<std::pair<std::uint32_t, EntryId>> keyed;
    keyed.reserve(folders_.size());
    for (EntryId id : folders_)
        keyed.emplace_back(~index.mtime(id), id);
    std::sort(keyed.begin(), keyed.end());
    std::transform(keyed.begin(), keyed.end(), folders_.begin(),
                   [](const auto& pair) { return pair.second; });
}

RefreshStats DeepPass::step(RefreshOptions options) {
    std::vector<std::string> paths;
    const std::size_t end = std::min(next_ + slice, folders_.size());
    for (; next_ < end; ++next_)
        if ((index_.flags(folders_[next_]) & EntryFlags::deleted) == 0)
            paths.push_back(index_.path(folders_[next_]));
    return index_.refresh(paths, std::move(options));
}

} // namespace quarrydex
