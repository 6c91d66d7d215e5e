/// A whole file of the program's own: an audio table (".aud") or a kept order (".ord").
/// Threads: any. Failure: results; the old file then stays as it was.
#pragma once

#include <optional>
#include <string>

namespace quarrydex {

struct CacheFile {
    std::string bytes;

    /// `writeCache(to:)`: replaces the file by fidx_write_file, under its path rule. False when it
    /// was refused or failed (errno kept).
    [[nodiscard]] bool writeCache(const std::string& path) const;

    /// The file as it is, or nothing when it cannot be read whole.
    [[nodiscard]] static std::optional<CacheFile> read(const std::string& path);
};

} // namespace quarrydex
