/// Folders of audio files for measuring, made with the usual encoders and removed with the object.
/// Main thread. Fails: without the encoders there are no files.
#pragma once

#include "benchmarks/support/TempFolder.h"

#include <cstddef>
#include <string>
#include <vector>

namespace quarrydex::bench {

class AudioFiles {
  public:
    enum class Size { small, large };

    /// Small: `count` files of 1 to 3 seconds, MP3, FLAC, WAV, AIFF and M4A in turn, tagged. Large:
    /// one of each kind, of 30 MB and more; `count` is not used.
    AudioFiles(Size size, std::size_t count);
    AudioFiles(const AudioFiles&) = delete;
    AudioFiles& operator=(const AudioFiles&) = delete;

    /// Full paths; empty when they could not be made.
    [[nodiscard]] const std::vector<std::string>& paths() const { return paths_; }

  private:
    [[nodiscard]] std::string path(const std::string& name) const { return folder_.path(name); }

    /// Runs a command of the shell in the folder.
    [[nodiscard]] bool run(const std::string& command) const;

    bool makeSmall(std::size_t count);
    bool makeLarge();

    TempFolder folder_;
    std::vector<std::string> paths_;
};

} // namespace quarrydex::bench
