/// Extension lists as the preferences show them: "*.mp3;*.flac".
/// Threads: any; no state. Fails: never; what is not understood is returned as such.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quarrydex {

struct ExtPatterns {
    std::vector<std::string> exts;     ///< lower case, without dots, each once, as first met
    std::vector<std::string> rejected; ///< pieces that are no extension, as typed

    /// Pieces stand between ";", "," and white space, as "*.mp3", ".mp3" or "mp3".
    [[nodiscard]] static ExtPatterns parse(std::string_view text);

    [[nodiscard]] static std::string format(std::span<const std::string> exts);
};

} // namespace quarrydex
