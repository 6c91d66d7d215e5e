/// What the desktop's own search asks of the catalogues. Whoever has the model implements it.
///
/// Threads: the main thread. Failure: an answer without items.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace quarrydex {

struct FoundItem {
    std::string path; ///< raw bytes, absolute, no "/" at the end
    bool isFolder = false;
};

class NameSearch {
  public:
    using Answer = std::function<void(std::vector<FoundItem> items)>;

    virtual ~NameSearch() = default;

    /// Finds what the text, as typed, would find: the best `limit` items, best first. Returns at
    /// once and answers later, or at once. A newer search may end an older one: its answer is then
    /// called with nothing, or dropped without being called.
    virtual void find(const std::string& text, std::size_t limit, Answer answer) = 0;
};

} // namespace quarrydex
