#include "QuarrydexCore/platform/linux/ChangeBatch.h"

#include <algorithm>
#include <utility>

namespace quarrydex {

bool isWithin(std::string_view path, std::string_view folder) {
    if (!path.starts_with(folder))
        return false;
    return path.size() == folder.size() || folder.ends_with('/') || path[folder.size()] == '/';
}

ChangeBatch::ChangeBatch(std::vector<std::string> roots, std::vector<std::string> ignored)
    : roots_(std::move(roots)), ignored_(std::move(ignored)) {}

void ChangeBatch::add(std::string path, std::uint32_t flags) {
    const auto holds = [&](const std::string& root) { return isWithin(path, root); };
    if (std::any_of(roots_.begin(), roots_.end(), holds) && !isIgnored(path))
        flags_[std::move(path)] |= flags;
}

bool ChangeBatch::isIgnored(std::string_view path) const {
    return std::any_of(ignored_.begin(), ignored_.end(),
                       [&](const std::string& folder) { return isWithin(path, folder); });
}

std::vector<ChangeEvent> ChangeBatch::take(std::uint64_t id) {
    std::vector<ChangeEvent> events;
    events.reserve(flags_.size());
    for (const auto& [path, flags] : flags_)
        events.push_back({.path = path, .flags = flags, .id = id});
    flags_.clear();
    return events;
}

} // namespace quarrydex
