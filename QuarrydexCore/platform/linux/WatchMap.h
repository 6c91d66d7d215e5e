/// Which folder an inotify watch stands for. One watch has one path and one path one watch; what
/// was said last holds.
///
/// Threads: one at a time.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace quarrydex {

class WatchMap {
  public:
    /// The watch stands for the path from now on. Returns the watch that stood for it before, or
    /// -1 for none.
    int set(int watch, std::string path);

    /// The folder of a watch; null for none. Valid until the next change.
    [[nodiscard]] const std::string* path(int watch) const;

    [[nodiscard]] bool contains(std::string_view path) const;

    /// Forgets one watch.
    void erase(int watch);

    /// Forgets the folder and everything below it; returns their watches.
    [[nodiscard]] std::vector<int> detach(std::string_view folder);

    [[nodiscard]] std::size_t size() const { return watches_.size(); }

  private:
    using Paths = std::map<std::string, int, std::less<>>;

    Paths paths_;
    std::unordered_map<int, Paths::iterator> watches_;
};

/// Calls f(it) for the folder's own element and each below it in a map by path; f returns the
/// element to go on with.
template <typename Map, typename F> void forSubtree(Map& map, std::string_view folder, F f) {
    if (auto own = map.find(folder); own != map.end())
        f(own);
    std::string below(folder);
    if (!below.ends_with('/'))
        below += '/';
    for (auto it = map.lower_bound(below); it != map.end() && it->first.starts_with(below);)
        it = f(it);
}

template <typename Map> void eraseSubtree(Map& map, std::string_view folder) {
    forSubtree(map, folder, [&](auto it) { return map.erase(it); });
}

} // namespace quarrydex
