/// FLAC: a stream-info block for the properties, Vorbis comments for the texts.
///
///     "fLaC"  block…            block   last:1 type:7  length:24  data
///
/// Comment blocks are read whole into memory, of all blocks of one file no more than 16 MiB: one
/// block, as the format allows, always fits. Where a file has more, the texts in what was read
/// count.
/// Threads: any; no state. Fails: what is no FLAC file gives false.
#pragma once

#include "QuarrydexAudio/tags/Reader.h"
#include "QuarrydexCore/audio/AudioMeta.h"

#include <cstddef>
#include <cstdint>

namespace quarrydex {

class FLAC {
  public:
    static constexpr int mostBlocks = 64;
    static constexpr int mostComments = 500; ///< a block
    static constexpr std::size_t mostCommentBytes = std::size_t{16} << 20;

    /// `parse(reader, at, into:)`: the stream whose "fLaC" stands at an offset. False without a
    /// stream-info block.
    [[nodiscard]] static bool parse(const Reader& reader, std::uint64_t at, AudioMeta& into);

    /// `vorbisComments(bytes, into:)`: the contents of a comment block, or the first part of it.
    static void vorbisComments(Bytes bytes, AudioMeta& into);
};

} // namespace quarrydex
