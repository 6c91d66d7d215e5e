/// Small files read whole, and the folders that files stand in. AtomicFile writes.
/// Threads: any; no state. Failure: errno values as results, 0 for success.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quarrydex {

/// Reads the file, EFBIG when it is longer than `limit` bytes. `out` is only changed on success.
[[nodiscard]] int readFile(const std::string& path, std::size_t limit, std::string& out);

/// Makes the folder and those above it, for the user alone, where they are missing.
[[nodiscard]] int makeFolders(const std::string& path);

/// What stands before the last "/": "/" for "/a", "." for "a".
[[nodiscard]] std::string folderOf(const std::string& path);

/// The path without slashes at its end; "/" stays.
[[nodiscard]] std::string_view withoutEndSlashes(std::string_view path);

/// `name` in the folder; "/a" for "a" in "/".
[[nodiscard]] std::string childPath(std::string_view folder, std::string_view name);

} // namespace quarrydex
