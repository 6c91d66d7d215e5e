#include "QuarrydexCore/catalog/ChildIndex.h"

#include <algorithm>
#include <utility>

namespace quarrydex {

ChildIndex::ChildIndex(const VolumeIndex& index, std::span<const EntryId> folders) {
    const std::uint32_t count = index.count();
    BitWords isWanted(bitWords(count));
    for (EntryId folder : folders)
        setBit(isWanted, folder);

    std::vector<std::pair<EntryId, EntryId>> pairs; // (folder, child)
    const EntryId* parents = index.base().parent;
    for (EntryId id = 0; id < count; ++id)
        if (parents[id] < count && testBit(isWanted, parents[id]) &&
            (index.flags(id) & EntryFlags::deleted) == 0)
            pairs.emplace_back(parents[id], id);
    std::sort(pairs.begin(), pairs.end());

    children_.reserve(pairs.size());
    parents_.reserve(pairs.size());
    for (const auto& [folder, child] : pairs) {
        parents_.push_back(folder);
        children_.push_back(child);
    }
}

std::span<const EntryId> ChildIndex::of(EntryId folder) const {
    const auto [begin, end] = std::equal_range(parents_.begin(), parents_.end(), folder);
    return std::span(children_).subspan(static_cast<std::size_t>(begin - parents_.begin()),
                                        static_cast<std::size_t>(end - begin));
}

} // namespace quarrydex
