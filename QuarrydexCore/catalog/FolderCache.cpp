#include "QuarrydexCore/catalog/FolderCache.h"

#include <algorithm>
#include <utility>

namespace quarrydex {

FolderIds FolderCache::upTo(std::uint32_t end, const Entries& entries) {
    for (; examined_ < end; ++examined_) {
        if ((entries.flags(examined_) & EntryFlags::dir) == 0)
            continue;
        if (ids_->size() == ids_->capacity()) {
            // Views of the list stay valid: a longer list is a new one.
            auto longer = std::make_shared<std::vector<EntryId>>();
            longer->reserve(ids_->size() + ids_->size() / 4 + 1024);
            longer->assign(ids_->begin(), ids_->end());
            ids_ = std::move(longer);
        }
        ids_->push_back(examined_);
    }
    const std::span<const EntryId> all = *ids_;
    const auto last = std::lower_bound(all.begin(), all.end(), end);
    return {all.first(static_cast<std::size_t>(last - all.begin())), ids_};
}

} // namespace quarrydex
