#include "QuarrydexCore/platform/linux/WatchMap.h"

#include <utility>

namespace quarrydex {

int WatchMap::set(int watch, std::string path) {
    if (const auto known = watches_.find(watch); known != watches_.end()) {
        if (known->second->first == path)
            return -1;
        erase(watch);
    }
    const auto [it, isNew] = paths_.try_emplace(std::move(path), watch);
    const int before = isNew ? -1 : std::exchange(it->second, watch);
    if (before >= 0)
        watches_.erase(before);
    watches_[watch] = it;
    return before;
}

const std::string* WatchMap::path(int watch) const {
    const auto known = watches_.find(watch);
    return known == watches_.end() ? nullptr : &known->second->first;
}

bool WatchMap::contains(std::string_view path) const {
    return paths_.find(path) != paths_.end();
}

void WatchMap::erase(int watch) {
    const auto known = watches_.find(watch);
    if (known == watches_.end())
        return;
    paths_.erase(known->second);
    watches_.erase(known);
}

std::vector<int> WatchMap::detach(std::string_view folder) {
    std::vector<int> detached;
    forSubtree(paths_, folder, [&](Paths::iterator it) {
        detached.push_back(it->second);
        watches_.erase(it->second);
        return paths_.erase(it);
    });
    return detached;
}

} // namespace quarrydex
