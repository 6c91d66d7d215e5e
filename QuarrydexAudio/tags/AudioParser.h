/// One audio file into one record: MP3, FLAC, WAV, AIFF and MP4, told apart by their contents.
///
/// Reads headers and tags by a few positioned reads, never the audio.
/// Threads: any; no state. Fails: never; a file that cannot be read or understood gives nothing.
#pragma once

#include "QuarrydexAudio/tags/Reader.h"
#include "QuarrydexCore/audio/AudioMeta.h"

#include <optional>
#include <string>
#include <string_view>

namespace quarrydex {

class AudioParser {
  public:
    /// `parse(path:ext:)`: the extension in lower case, without the dot. It matters only where the
    /// contents tell nothing: "mp3" and "mp2" have the audio searched for.
    [[nodiscard]] static std::optional<AudioMeta> parse(const std::string& path,
                                                        std::string_view ext);

    /// The same of a file that is open.
    [[nodiscard]] static std::optional<AudioMeta> parse(const Reader& reader, std::string_view ext);
};

} // namespace quarrydex
