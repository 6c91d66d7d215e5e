/// RIFF WAVE: the format chunk, the size of the data, texts from a LIST INFO chunk and from an ID3
/// tag in a chunk of its own.
/// Threads: any; no state. Fails: what has no audio of a known length gives false.
#pragma once

#include "QuarrydexAudio/tags/Reader.h"
#include "QuarrydexCore/audio/AudioMeta.h"

namespace quarrydex {

class WAV {
  public:
    /// `parse(reader, into:)`.
    [[nodiscard]] static bool parse(const Reader& reader, AudioMeta& into);

    /// `listInfo(bytes, into:)`: the sub-chunks that follow "INFO".
    static void listInfo(Bytes bytes, AudioMeta& into);
};

} // namespace quarrydex
