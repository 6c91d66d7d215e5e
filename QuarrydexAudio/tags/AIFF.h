/// AIFF and AIFF-C: the common chunk, texts from chunks of their own and from an ID3 tag in one.
/// Threads: any; no state. Fails: what has no audio of a known length gives false.
#pragma once

#include "QuarrydexAudio/tags/Reader.h"
#include "QuarrydexCore/audio/AudioMeta.h"

#include <cstddef>

namespace quarrydex {

class AIFF {
  public:
    /// `extended(bytes, at)`: an 80-bit floating-point number without its sign; 0 beyond the bytes,
    /// infinity for what a double cannot hold.
    [[nodiscard]] static double extended(Bytes bytes, std::size_t at);

    /// `parse(reader, into:)`.
    [[nodiscard]] static bool parse(const Reader& reader, AudioMeta& into);
};

} // namespace quarrydex
