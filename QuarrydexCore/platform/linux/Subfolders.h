/// Names of the folders in a folder, without the cost of examining its files.
#pragma once

#include <string>
#include <vector>

namespace quarrydex {

/// Folders on which something else is mounted are left out: nothing below them is the tree's. The
/// path itself may be a link when `followLink`. Returns 0 or an errno; any thread.
[[nodiscard]] int
listSubfolders(const std::string& path, bool followLink, std::vector<std::string>& out);

} // namespace quarrydex
