/// From the folders that a user names to the trees that are scanned, so that every file under them
/// is catalogued once.
///
/// Fails: never; a folder that does not exist is kept as it was named, and fails when scanned.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace quarrydex {

/// One tree to be scanned.
struct ScanRoot {
    std::string path;                  ///< absolute; links in it stay as the user named them
    std::vector<std::string> excludes; ///< folders below it, by paths beginning with `path`
};

/// The path as an absolute one without ".", doubled "/" and "/" at its end. A ".." leads out of the
/// folder that a link before it points at, as the system takes it. The empty path stays empty.
[[nodiscard]] std::string cleanPath(const std::string& typed);

/// The path of `path` as a scan of `root` would spell it, or empty when it does not lie in that
/// tree. Both are clean; the folders' real places decide.
[[nodiscard]] std::string pathBelow(const std::string& root, const std::string& path);

/// The trees for these folders, in the order given. A folder named twice counts once. A folder
/// inside another one stays a tree of its own (it may be hidden, or lie on another drive, there)
/// and is left out of the outer one.
[[nodiscard]] std::vector<ScanRoot> scanRoots(std::span<const std::string> folders,
                                              std::span<const std::string> excludes);

} // namespace quarrydex
