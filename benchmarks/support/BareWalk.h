/// The least that a parallel walk of a tree can cost: open, getdents64 and one statx an entry, as a
/// scan makes them, with nothing kept but the paths of folders yet to be read.
#pragma once

#include <cstddef>
#include <string>

namespace quarrydex::bench {

/// Walks everything below `root` that lies on its device. Returns the number of entries seen.
std::size_t bareWalk(const std::string& root, unsigned threads);

} // namespace quarrydex::bench
