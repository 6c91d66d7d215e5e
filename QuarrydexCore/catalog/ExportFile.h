/// A list that the user asked for: ".csv", ".tsv", ".m3u" or ".m3u8".
/// Threads: any. Failure: save throws IndexError; the old file then stays as it was.
#pragma once

#include <string>

namespace quarrydex {

struct ExportFile {
    std::string bytes;

    /// `save(to:)`: replaces the file by fidx_export_file. Throws IndexError::cannotSave or
    /// refusedPath.
    void save(const std::string& path) const;
};

} // namespace quarrydex
